// The side of the small peers: POSIX getline, sharutils' uudecode and macutils' hexbin.
//
// The two programs run as programs: their start and their writing count, as a user meets them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "workload.h"

extern char** environ;  // NOLINT: POSIX's own name

namespace {

using bench::DataDirectory;

void Lines(benchmark::State& state) {
  const std::string path = (DataDirectory() / "lines.txt").string();
  for (auto _ : state) {
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) throw std::runtime_error("cannot open " + path);
    char* line = nullptr;
    std::size_t room = 0;
    while (getline(&line, &room, file) > 0) benchmark::DoNotOptimize(line);
    free(line);
    fclose(file);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

// Runs a program in the output directory and waits for its good end.
void Run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, bench::OutputDirectory().c_str());
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (error != 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("the program failed: " + words[0]);
  }
}

void MustRemove(const std::string& name) {
  if (!std::filesystem::remove(bench::OutputDirectory() / name))
    throw std::runtime_error("no output: " + name);
}

void RunOnSample(benchmark::State& state, const char* sample, std::vector<std::string> words,
                 const char* output) {
  const std::filesystem::path path = DataDirectory() / sample;
  words.push_back(path.string());
  for (auto _ : state) {
    Run(words);
    MustRemove(output);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

void Uudecode(benchmark::State& state) {
  RunOnSample(state, "sample.uu", {"uudecode", "-o", "peer.bin"}, "peer.bin");
}
void BinHex(benchmark::State& state) { RunOnSample(state, "sample.hqx", {"hexbin"}, "sample.bin"); }

BENCHMARK(Lines)->Name("lines")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Uudecode)->Name("uudecode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BinHex)->Name("binhex")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
