// How a trial program is told what to do: --rounds N --seed S --seconds T --directory D.
#pragma once
#include <sys/random.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace qob::crash {

struct TrialOptions {
  int rounds = 200;
  std::uint64_t seed = 0;
  int seconds = 45;       // no new round is begun behind them; 0 = no limit
  std::string directory;  // made for the trial and removed after a good end
};

class Clock {
 public:
  explicit Clock(int seconds) : seconds_(seconds) {}
  bool IsOver() const {
    return seconds_ > 0 &&
           std::chrono::steady_clock::now() - start_ >= std::chrono::seconds(seconds_);
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int seconds_;
};

inline bool ReadOptions(int argc, char** argv, TrialOptions* options) {
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (i + 1 == argc) return false;
    const char* value = argv[i + 1];
    if (name == "--rounds") {
      options->rounds = std::atoi(value);
    } else if (name == "--seed") {
      options->seed = std::strtoull(value, nullptr, 10);
    } else if (name == "--seconds") {
      options->seconds = std::atoi(value);
    } else if (name == "--directory") {
      options->directory = value;
    } else {
      return false;
    }
  }
  return options->rounds > 0;
}

// Without a seed every run is another; the seed that is printed brings it back as far as the
// scheduler lets it.
template <class Trials>
int RunTrials(int argc, char** argv, Trials&& trials) {
  TrialOptions options;
  if (!ReadOptions(argc, argv, &options)) {
    std::fprintf(stderr, "usage: %s [--rounds N] [--seed S] [--seconds T] [--directory D]\n",
                 argv[0]);
    return 64;
  }
  if (options.seed == 0 && getrandom(&options.seed, sizeof options.seed, 0) < 0) return 71;
  if (options.directory.empty()) {
    options.directory = (std::filesystem::temp_directory_path() / "qobcrash-XXXXXX").string();
    if (mkdtemp(options.directory.data()) == nullptr) return 73;
  } else {
    std::filesystem::create_directories(options.directory);
  }
  std::printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
  std::fflush(stdout);
  const int result = trials(options);
  if (result == 0) std::filesystem::remove_all(options.directory);
  return result;
}

}  // namespace qob::crash
