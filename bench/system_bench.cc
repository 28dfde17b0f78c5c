// The side of the small peers: POSIX getline, sharutils' uudecode, macutils' hexbin, nkf, and iconv
// as a call and as a program.
//
// The programs run as programs: their start and their writing count, as a user meets them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <iconv.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// A sample through iconv(3) to a new file, block by block, which is then removed.
void ConvertByCall(const std::string& from, const std::string& to, const char* charset,
                   const char* new_charset) {
  constexpr std::size_t kBlock = 65536;
  const iconv_t converter = iconv_open(new_charset, charset);
  const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (in < 0 || out < 0) throw std::runtime_error("cannot open " + from);
  std::vector<char> text(2 * kBlock);
  std::vector<char> converted(4 * kBlock);
  std::size_t kept = 0;
  for (;;) {
    const ssize_t got = read(in, text.data() + kept, kBlock);
    char* next = text.data();
    std::size_t left = kept + static_cast<std::size_t>(got);
    char* to_next = converted.data();
    std::size_t room = converted.size();
    // What is left over is a character that the block cuts.
    iconv(converter, got == 0 ? nullptr : &next, &left, &to_next, &room);
    const std::size_t size = converted.size() - room;
    if (write(out, converted.data(), size) != static_cast<ssize_t>(size)) {
      throw std::runtime_error("cannot write " + to);
    }
    if (got == 0) break;
    kept = left;
    if (kept > 4) throw std::runtime_error("iconv refuses " + from);
    std::copy(next, next + kept, text.data());
  }
  iconv_close(converter);
  close(in);
  close(out);
}

void IconvCall(benchmark::State& state, const char* sample, const char* charset,
               const char* new_charset) {
  const std::string from = (DataDirectory() / sample).string();
  const std::string to = (bench::OutputDirectory() / "peer.txt").string();
  for (auto _ : state) {
    ConvertByCall(from, to, charset, new_charset);
    MustRemove("peer.txt");
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(from)));
}

void ToJisCall(benchmark::State& state) {
  IconvCall(state, "shift_jis.txt", "SHIFT_JIS", "ISO-2022-JP");
}
void ToJisProgram(benchmark::State& state) {
  RunOnSample(state, "shift_jis.txt",
              {"iconv", "-f", "SHIFT_JIS", "-t", "ISO-2022-JP", "-o", "peer.txt"}, "peer.txt");
}
void ToJisNkf(benchmark::State& state) {
  RunOnSample(state, "shift_jis.txt", {"sh", "-c", "nkf -S -j -x -- \"$0\" >peer.txt"}, "peer.txt");
}
void ToShiftJisCall(benchmark::State& state) {
  IconvCall(state, "jis.txt", "ISO-2022-JP", "SHIFT_JIS");
}
void ToShiftJisProgram(benchmark::State& state) {
  RunOnSample(state, "jis.txt", {"iconv", "-f", "ISO-2022-JP", "-t", "SHIFT_JIS", "-o", "peer.txt"},
              "peer.txt");
}
void ToShiftJisNkf(benchmark::State& state) {
  RunOnSample(state, "jis.txt", {"sh", "-c", "nkf -J -s -x -- \"$0\" >peer.txt"}, "peer.txt");
}

#define QOB_BENCH_ROW(function, name) \
  BENCHMARK(function)->Name(name)->UseRealTime()->Unit(benchmark::kMillisecond)
QOB_BENCH_ROW(ToJisCall, "shift_jis_to_jis_call");
QOB_BENCH_ROW(ToJisProgram, "shift_jis_to_jis_program");
QOB_BENCH_ROW(ToJisNkf, "shift_jis_to_jis_nkf");
QOB_BENCH_ROW(ToShiftJisCall, "jis_to_shift_jis_call");
QOB_BENCH_ROW(ToShiftJisProgram, "jis_to_shift_jis_program");
QOB_BENCH_ROW(ToShiftJisNkf, "jis_to_shift_jis_nkf");
BENCHMARK(Lines)->Name("lines")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Uudecode)->Name("uudecode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BinHex)->Name("binhex")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
