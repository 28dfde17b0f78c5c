// Writers are killed at any moment, and nothing that was acknowledged may be missing afterwards.
//
//   crash_store_kill [--rounds N] [--seed S] [--seconds T] [--directory D]
//
// Each round two committers and one who forces checkpoints work on one store; one of them is killed
// while the others go on, then all of them, at random moments (SIGKILL, in random order). A fresh
// process opens the store, audits it against the ledgers and carries on from what it found. The
// store lives through all rounds. Exit code 0, or 1 with what is wrong; the seed is printed.
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "crash/ledger.h"
#include "crash/trial_options.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

constexpr int kWriters = 2;
constexpr int kProcesses = kWriters + 1;
constexpr int kFailed = 1;
constexpr int kLogLimit = 24;

struct Shared {
  std::array<Ledger, kWriters> ledgers;
  std::array<std::atomic<int>, kProcesses> running{};
  std::atomic<std::int64_t> checkpoints{0};
  std::int64_t highest_number = 0;  // ever met by an audit
};

int Complain(const char* who, int status) {
  std::fprintf(stderr, "%s: status %d\n", who, status);
  return kFailed;
}

store::Status Open(const std::string& path, std::shared_ptr<store::RecordFile>* file) {
  return store::RecordFile::Open(path, {}, file);
}

int Write(const std::string& path, int writer, std::uint64_t seed, Shared& shared) {
  store::SetLogLimitPages(kLogLimit);
  std::shared_ptr<store::RecordFile> file;
  if (const store::Status status = Open(path, &file); status != store::kOk) {
    return Complain("writer opens", status);
  }
  Ledger& ledger = shared.ledgers[static_cast<std::size_t>(writer)];
  Dice dice(seed);
  for (;;) {
    const store::Status status = Do(*file, writer, Invent(dice, ledger), &ledger);
    if (status != store::kOk) return Complain("writer", status);
    shared.running[static_cast<std::size_t>(writer)] = 1;
  }
}

int ForceCheckpoints(const std::string& path, Shared& shared) {
  std::shared_ptr<store::RecordFile> file;
  if (const store::Status status = Open(path, &file); status != store::kOk) {
    return Complain("checkpointer opens", status);
  }
  for (;;) {
    // Busy: a reader or a writer was in the way of the last pages.
    const store::Status status = file->Checkpoint();
    if (status != store::kOk && status != store::kBusy) return Complain("checkpointer", status);
    shared.running[kWriters] = 1;
    ++shared.checkpoints;
    usleep(300);
  }
}

// In a process of its own, as after a restart.
int AuditStore(const std::string& path, Shared& shared) {
  std::shared_ptr<store::RecordFile> file;
  if (const store::Status status = Open(path, &file); status != store::kOk) {
    return Complain("auditor opens", status);
  }
  std::array<Standing, kWriters> found{};
  std::string wrong = Audit(*file, found);
  for (std::size_t i = 0; i < kWriters && wrong.empty(); ++i) {
    wrong = Settle(found[i], &shared.ledgers[i]);
    if (!wrong.empty()) wrong = "writer " + std::to_string(i) + ": " + wrong;
  }
  if (wrong.empty()) return 0;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  return kFailed;
}

// A number that a dead record had, or that a killed writer drew, is never given again.
int DrawANumber(const std::string& path, Shared& shared) {
  std::shared_ptr<store::RecordFile> file;
  if (Open(path, &file) != store::kOk) return kFailed;
  store::Entry entry;
  const auto record = RecordOf(0, kSlots, 1);
  store::Status status = file->Insert(record, &entry);
  if (status == store::kOk) status = file->Delete(entry);
  if (status != store::kOk) return Complain("number", status);
  std::int64_t highest = shared.highest_number;
  for (const Ledger& ledger : shared.ledgers) highest = std::max(highest, ledger.last_number);
  shared.highest_number = entry.number;
  if (entry.number > highest) return 0;
  std::fprintf(stderr, "number %lld was given again\n", static_cast<long long>(entry.number));
  return kFailed;
}

// True when it was ours that ended it.
bool End(pid_t child) {
  kill(child, SIGKILL);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFSIGNALED(status);
}

bool Round(const std::string& path, Dice& dice, Shared& shared) {
  for (auto& one : shared.running) one = 0;
  std::array<pid_t, kProcesses> children{};
  for (int i = 0; i < kProcesses; ++i) {
    const std::uint64_t seed = dice.Next();
    children[static_cast<std::size_t>(i)] = testing::Spawn([&, i] {
      return i < kWriters ? Write(path, i, seed, shared) : ForceCheckpoints(path, shared);
    });
  }
  // Every fourth round is cut while they open the store, the others once all are at work.
  if (dice.Below(4) != 0) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::any_of(shared.running.begin(), shared.running.end(),
                       [](const auto& one) { return one == 0; }) &&
           std::chrono::steady_clock::now() < limit) {
      usleep(100);
    }
  }
  for (int i = kProcesses - 1; i > 0; --i) {
    std::swap(children[static_cast<std::size_t>(i)],
              children[static_cast<std::size_t>(dice.Below(i + 1))]);
  }
  bool good = true;
  for (pid_t child : children) {
    usleep(static_cast<useconds_t>(dice.Below(8000)));
    good = End(child) && good;
  }
  return good;
}

int Run(const TrialOptions& options) {
  const std::string path = options.directory + "/trial.btr";
  if (const store::Status status = store::RecordFile::Create(path, TrialDescription(), {});
      status != store::kOk) {
    return Complain("create", status);
  }
  const SharedMemory<Shared> shared;
  Dice dice(options.seed);
  Clock clock(options.seconds);
  int round = 0;
  for (; round < options.rounds && !clock.IsOver(); ++round) {
    if (!Round(path, dice, *shared) ||
        testing::InChild([&] { return AuditStore(path, *shared); }) != 0 ||
        testing::InChild([&] { return DrawANumber(path, *shared); }) != 0) {
      std::fprintf(stderr, "round %d of seed %llu: see %s\n", round,
                   static_cast<unsigned long long>(options.seed), options.directory.c_str());
      return kFailed;
    }
  }
  std::printf("%d rounds, %llu works acknowledged, %lld checkpoints forced, none lost\n", round,
              static_cast<unsigned long long>(shared->ledgers[0].acknowledged +
                                              shared->ledgers[1].acknowledged),
              static_cast<long long>(shared->checkpoints));
  return 0;
}

}  // namespace
}  // namespace qob::crash

int main(int argc, char** argv) { return qob::crash::RunTrials(argc, argv, qob::crash::Run); }
