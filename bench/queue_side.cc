// What every side of the queue's benchmarks does, and the clock.
#include "queue_side.h"

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kUsage =
    "usage: PROGRAM fill DIRECTORY MESSAGES         make a database of that many messages\n"
    "       PROGRAM insert DIRECTORY PROCESSES MS   commit record after record for that long\n"
    "       PROGRAM find DIRECTORY MESSAGES MS      look up keys of the set, drawn\n"
    "       PROGRAM next DIRECTORY MESSAGES MS      walk on from drawn places, a hundred steps "
    "each\n"
    "       PROGRAM open DIRECTORY TIMES [held]     open and close it; held: beside one that stays "
    "open\n"
    "fill, find and next: a last word \"scattered\" is a set whose ids do not ascend\n";

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Wall-clock and CPU time of the calls made until `ms` have passed; step returns how many it made.
template <typename Step>
void PrintRate(int ms, Step step) {
  std::int64_t calls = 0;
  // A tenth of the time brings files, memory and processor to the state that is measured.
  for (const auto start = Clock::now(); SecondsSince(start) * 10'000 < ms;) step();
  const auto start = Clock::now();
  const double cpu = CpuSeconds();
  while (SecondsSince(start) * 1000 < ms) calls += step();
  const double seconds = SecondsSince(start);
  std::printf("{\"rate\": %.1f, \"cpu_rate\": %.1f}\n", static_cast<double>(calls) / seconds,
              static_cast<double>(calls) / (CpuSeconds() - cpu));
}

struct Set {
  std::uint32_t messages;
  Order order;
};

void DrawKey(Sequence* sequence, const Set& set, char (&key)[16]) {
  const std::uint64_t drawn = sequence->Next();
  const auto message = static_cast<std::uint32_t>(drawn % set.messages);
  std::snprintf(key, sizeof key, "%08x%c", IdOf(message, set.order),
                (drawn >> 40) % kRecordsPerMessage == 0 ? 'f' : 'r');
}

void Find(QueueSide* side, const Set& set, int ms) {
  Sequence sequence(1);
  MesgRecord record;
  char key[16];
  PrintRate(ms, [&] {
    for (int i = 0; i < 100; ++i) {
      DrawKey(&sequence, set, key);
      side->Find(key, &record);
      if (std::strcmp(record.key, key) != 0) throw std::runtime_error("another record was found");
    }
    return 100;
  });
}

void Next(QueueSide* side, const Set& set, int ms) {
  Sequence sequence(2);
  MesgRecord record;
  char key[16];
  PrintRate(ms, [&] {
    DrawKey(&sequence, set, key);
    side->Find(key, &record);
    int steps = 0;
    while (steps < 100 && side->Next(&record)) ++steps;
    return steps;
  });
}

// What one writing process tells its parent.
struct WriterReport {
  double rate = 0;
  std::int64_t commits = 0;
  std::int64_t p999_us = 0;
  std::int64_t worst_us = 0;
  std::int64_t longest_checkpoint_us = 0;
};

WriterReport Write(QueueSide* side, std::uint64_t first_record, int ms) {
  std::vector<std::int32_t> microseconds;
  microseconds.reserve(1'000'000);
  MesgRecord record;
  const auto start = Clock::now();
  auto before = start;
  while (SecondsSince(start) * 1000 < ms) {
    ComposeRecord(first_record + microseconds.size(), Order::kAscending, &record);
    side->Insert(&record);
    const auto after = Clock::now();
    microseconds.push_back(static_cast<std::int32_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(after - before).count()));
    before = after;
  }
  WriterReport report;
  report.commits = static_cast<std::int64_t>(microseconds.size());
  report.rate = static_cast<double>(report.commits) / SecondsSince(start);
  std::sort(microseconds.begin(), microseconds.end());
  report.p999_us = microseconds[microseconds.size() * 999 / 1000];
  report.worst_us = microseconds.back();
  report.longest_checkpoint_us = side->LongestCheckpointUs();
  return report;
}

void MustRead(int from, void* bytes, std::size_t size) {
  if (read(from, bytes, size) != static_cast<ssize_t>(size))
    throw std::runtime_error("a writer ended early");
}

// The child opens the database by itself, says so, and starts when the pipe `start` is closed.
[[noreturn]] void RunWriter(const QueueMaker& maker, const std::string& directory, int number,
                            int ms, int start, int report_to) {
  try {
    const std::unique_ptr<QueueSide> side = maker.open(directory);
    char byte = 0;
    if (write(report_to, &byte, 1) != 1 || read(start, &byte, 1) != 0) std::_Exit(70);
    const WriterReport report =
        Write(side.get(), static_cast<std::uint64_t>(number) * 50'000'000, ms);
    std::_Exit(write(report_to, &report, sizeof report) == sizeof report ? 0 : 70);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "writer %d: %s\n", number, error.what());
    std::_Exit(70);
  }
}

void Insert(const QueueMaker& maker, const std::string& directory, int processes, int ms) {
  maker.create(directory);
  std::array<int, 2> start{};
  if (pipe(start.data()) != 0) throw std::runtime_error("no pipe");
  std::vector<int> reports;
  for (int i = 0; i < processes; ++i) {
    std::array<int, 2> report{};
    if (pipe(report.data()) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process");
    if (child == 0) {
      close(start[1]);
      RunWriter(maker, directory, i, ms, start[0], report[1]);
    }
    close(report[1]);
    reports.push_back(report[0]);
  }
  char ready = 0;
  for (const int report : reports) MustRead(report, &ready, 1);
  close(start[1]);
  std::printf("{\"writers\": [");
  for (std::size_t i = 0; i < reports.size(); ++i) {
    WriterReport report;
    MustRead(reports[i], &report, sizeof report);
    std::printf(
        "%s{\"rate\": %.1f, \"commits\": %lld, \"p999_us\": %lld, \"worst_us\": %lld, "
        "\"longest_checkpoint_us\": %lld}",
        i == 0 ? "" : ", ", report.rate, static_cast<long long>(report.commits),
        static_cast<long long>(report.p999_us), static_cast<long long>(report.worst_us),
        static_cast<long long>(report.longest_checkpoint_us));
  }
  std::printf("]}\n");
  for (int status = 0; wait(&status) > 0;) {
    if (status != 0) throw std::runtime_error("a writer failed");
  }
}

void OpenAndClose(const QueueMaker& maker, const std::string& directory, int times, bool held) {
  const std::unique_ptr<QueueSide> first = held ? maker.open(directory) : nullptr;
  const auto start = Clock::now();
  for (int i = 0; i < times; ++i) maker.open(directory);
  std::printf("{\"us\": %.2f}\n", SecondsSince(start) * 1e6 / times);
}

int NumberAt(int argc, char** argv, int at) {
  const int number = at < argc ? std::atoi(argv[at]) : 0;
  if (number < 1) throw std::invalid_argument(kUsage);
  return number;
}

void Run(int argc, char** argv, const QueueMaker& maker) {
  const std::string_view command = argc > 2 ? argv[1] : "";
  const std::string directory = argc > 2 ? argv[2] : "";
  const bool scattered = argc > 4 && std::string_view(argv[argc - 1]) == "scattered";
  const auto set = [&] {
    return Set{static_cast<std::uint32_t>(NumberAt(argc, argv, 3)),
               scattered ? Order::kScattered : Order::kAscending};
  };
  if (command == "fill" && maker.fill) {
    maker.fill(directory, set().messages, set().order);
  } else if (command == "insert") {
    Insert(maker, directory, NumberAt(argc, argv, 3), NumberAt(argc, argv, 4));
  } else if (command == "find" || command == "next") {
    const auto side = maker.open(directory);
    (command == "find" ? Find : Next)(side.get(), set(), NumberAt(argc, argv, 4));
  } else if (command == "open") {
    OpenAndClose(maker, directory, NumberAt(argc, argv, 3), argc > 4);
  } else {
    throw std::invalid_argument(kUsage);
  }
}

}  // namespace

int RunQueueBench(int argc, char** argv, const QueueMaker& maker) {
  try {
    Run(argc, argv, maker);
    return 0;
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "%s", error.what());
    return 64;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 70;
  }
}

}  // namespace bench
