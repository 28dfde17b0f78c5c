// Submissions through the message queue on a machine whose power goes, whose process is killed and
// whose disk fails, at every single operation: what was acknowledged is there once, by every way of
// finding it and with all its bytes; what was refused is not there; the rest is there wholly or not
// at all, and what is left over is found by `qob queue check` and mended.
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>

#include "crash/fault_layer.h"
#include "crash/ledger.h"
#include "crash/queue_check.h"
#include "crash/submission.h"
#include "platform/store/record_file.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

namespace fs = std::filesystem;

constexpr int kBefore = 1;       // submitted before the trial
constexpr int kSubmissions = 5;  // with those
constexpr int kLogLimit = 10;    // the log is moved into the file once on the way
constexpr std::uint64_t kSeed = 20261122;
constexpr std::uint64_t kMostOperations = 2000;

constexpr int kRanToItsEnd = 0;
constexpr int kFailedAsPlanned = 78;
constexpr int kWrong = 1;

struct Shared {
  std::array<Submission, kSubmissions> submissions;
};

int Wrong(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return kWrong;
}

// A spool whose queue directory every trial starts from. No flush reaches the disk: memory serves.
class Bench {
 public:
  Bench() : memory_(UseMemory()) {
    EXPECT_EQ(testing::InChild([&] {
                FaultLayer::Install(spool_.queue());
                if (InitQOBDll("before") != 1) return kWrong;
                for (int i = 0; i < kBefore; ++i) {
                  Submit(i, &before_->submissions[static_cast<std::size_t>(i)]);
                }
                MQTerminate();
                return kRanToItsEnd;
              }),
              0);
    fs::copy(spool_.queue(), spool_.path("start"));
  }
  // The queue as it was, and nothing of trials before.
  void Begin(Shared& shared) {
    shared = *before_;
    fs::remove_all(Images());
    Put(spool_.path("start"));
  }
  // Puts that directory in the queue's place.
  void Put(const std::string& directory) {
    fs::remove_all(spool_.queue());
    fs::copy(directory, spool_.queue());
  }
  std::string Images() const { return spool_.path("images"); }
  std::string Image(Loss loss) const { return Images() + "/" + NameOf(loss); }
  const testing::TempSpool& spool() const { return spool_; }

 private:
  static bool UseMemory() {
    return access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 1) == 0;
  }
  const bool memory_;
  testing::TempSpool spool_;
  SharedMemory<Shared> before_;
};

bool StartWork(const Bench& bench) {
  store::SetLogLimitPages(kLogLimit);
  FaultLayer::Install(bench.spool().queue());
  return InitQOBDll("submit") == 1;
}

bool SubmitAll(Shared& shared) {
  bool all = true;
  for (int i = kBefore; i < kSubmissions; ++i) {
    Submission& one = shared.submissions[static_cast<std::size_t>(i)];
    Submit(i, &one);
    all = all && one.told == Told::kAcknowledged;
    if (one.told == Told::kAcknowledged && FaultLayer::UnflushedLogWrites() != 0) {
      Wrong("acknowledged before its flush");
      _exit(kWrong);
    }
  }
  MQTerminate();
  return all;
}

// ---- afterwards

std::multiset<std::string> RunCheck(const Bench& bench, const char* options) {
  return RunQueueCheck(bench.spool().config(), bench.spool().root(), options);
}

// Leftovers are found, go to "corrupt", and nothing else does.
std::string JudgeLeftovers(const Bench& bench, const QueueView& view, const Shared& shared) {
  std::set<std::uint32_t> left = view.ids();
  std::map<std::uint32_t, int> whole;
  for (int i = 0; i < kSubmissions; ++i) {
    const Submission& one = shared.submissions[static_cast<std::size_t>(i)];
    if (!one.begun || !view.JudgeWhole(one.id, i).empty()) continue;
    whole[one.id] = i;
    left.erase(one.id);
  }
  if (left.empty()) return "";
  std::multiset<std::string> expected;
  for (std::size_t i = 0; i < left.size(); ++i) expected.insert("orphan-file");
  if (RunCheck(bench, "") != expected) return "check does not find what is left over";
  if (RunCheck(bench, "--repair") != expected || !RunCheck(bench, "").empty()) {
    return "repair leaves something";
  }
  QueueView after(bench.spool().queue());
  std::string wrong = after.Read();
  for (const auto& [id, number] : whole) {
    if (wrong.empty()) wrong = after.JudgeWhole(id, number);
  }
  return wrong.empty() && after.ids().size() != whole.size() ? "repair leaves it in the queue"
                                                             : wrong;
}

// The queue as a fresh process finds it behind a boot.
std::string JudgeQueue(const Bench& bench, const Shared& shared, bool checks) {
  const std::string queue = bench.spool().queue();
  FaultLayer::Install(queue);
  if (InitQOBDll("judge") != 1) return "no start";
  UnlockAllMessage(queue.c_str());
  QueueView view(queue);
  std::string wrong = view.Read();
  std::set<std::uint32_t> known;
  for (int i = 0; i < kSubmissions; ++i) {
    const Submission& one = shared.submissions[static_cast<std::size_t>(i)];
    if (wrong.empty()) wrong = view.Judge(one, i);
    if (one.begun) known.insert(one.id);
  }
  for (const std::uint32_t id : view.ids()) {
    if (wrong.empty() && !known.contains(id)) wrong = "an id that nobody was given";
  }
  if (wrong.empty() && checks) wrong = JudgeLeftovers(bench, view, shared);
  // The counter may be set back by the cut as well.
  fs::remove(bench.spool().temp() + "/unique.$$$");
  Submission next;
  if (wrong.empty()) Submit(kSubmissions, &next);
  if (wrong.empty() && next.told != Told::kAcknowledged) wrong = "does not go on";
  if (wrong.empty() && view.ids().contains(next.id) && !checks) wrong = "an id is given again";
  MQTerminate();
  TerminateQOBDll();
  return wrong;
}

int JudgeImages(Bench& bench, const Shared& shared, std::span<const Loss> losses) {
  return testing::InChild([&] {
    for (const Loss loss : losses) {
      bench.Put(bench.Image(loss));
      const bool checks = loss == Loss::kAll;
      const std::string wrong = JudgeQueue(bench, shared, checks);
      if (!wrong.empty()) return Wrong(std::string("loss ") + NameOf(loss) + ": " + wrong);
    }
    return 0;
  });
}

TEST(SubmissionPowerCut, LosesNothingThatWasAcknowledged) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const SharedMemory<Shared> shared;
    bench.Begin(*shared);
    const int result = testing::InChild([&] {
      if (!StartWork(bench)) return Wrong("no start");
      FaultLayer::CutAt(nth, kSeed + nth, bench.Images());
      return SubmitAll(*shared) ? kRanToItsEnd : Wrong("refused by itself");
    });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, kCutExit) << nth;
    ASSERT_EQ(JudgeImages(bench, *shared, kLosses), 0) << "cut before operation " << nth;
  }
  std::printf("%llu operations\n", static_cast<unsigned long long>(nth - 1));
  EXPECT_GT(nth, 50u);
  EXPECT_LT(nth, kMostOperations);
}

TEST(SubmissionKill, AtEveryOperationLosesNothing) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const SharedMemory<Shared> shared;
    bench.Begin(*shared);
    const int result = testing::InChild([&] {
      if (!StartWork(bench)) return Wrong("no start");
      FaultLayer::KillAt(nth);
      return SubmitAll(*shared) ? kRanToItsEnd : Wrong("refused by itself");
    });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, -1) << nth;
    ASSERT_EQ(testing::InChild([&] {
                const std::string wrong = JudgeQueue(bench, *shared, true);
                return wrong.empty() ? 0 : Wrong(wrong);
              }),
              0)
        << "killed before operation " << nth;
  }
  EXPECT_GT(nth, 50u);
  EXPECT_LT(nth, kMostOperations);
}

// ---- operations that fail

struct Failure {
  const char* name;
  Op op;
  int error;  // SQLite's; see FaultLayer::FailAt
  bool writes_all = false;
};

class FailingSubmission : public ::testing::TestWithParam<Failure> {};

// What is refused for a failure must not come to life by a power cut that follows.
int FailOnce(Bench& bench, const Failure& failure, std::uint64_t nth, bool from_then_on,
             Shared& shared) {
  if (!StartWork(bench)) return Wrong("no start");
  FaultLayer::FailAt(failure.op, nth, from_then_on, failure.error);
  if (failure.writes_all) FaultLayer::FailedFlushesWriteAll();
  const bool all = SubmitAll(shared);
  const bool failed = FaultLayer::HasFailed();
  if (!failed) return all ? kRanToItsEnd : Wrong("refused by itself");
  FaultLayer::FailNoMore();
  for (const Submission& one : shared.submissions) {
    char name[16];
    std::snprintf(name, sizeof name, "%08X", one.id);
    const std::string base = bench.spool().queue() + "/" + name;
    const bool names_fail = failure.op == Op::kName;
    if (one.begun && one.told == Told::kRefused && !names_fail &&
        (fs::exists(base + ".msg") || fs::exists(base + ".lck"))) {
      return Wrong("refused, but its files stand");
    }
    if (one.told == Told::kUnknown && !(fs::exists(base + ".msg") && fs::exists(base + ".lck"))) {
      return Wrong("not known, but its files are gone");
    }
  }
  FaultLayer::Cut(kSeed + nth, bench.Images());
  return kFailedAsPlanned;
}

void FailEverywhere(const Failure& failure, bool from_then_on) {
  constexpr Loss kLossesAfterAFailure[] = {Loss::kAll, Loss::kNone, Loss::kSome};
  Bench bench;
  int unknown = 0;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const SharedMemory<Shared> shared;
    bench.Begin(*shared);
    const int result =
        testing::InChild([&] { return FailOnce(bench, failure, nth, from_then_on, *shared); });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, kFailedAsPlanned) << failure.name << " " << nth;
    for (const Submission& one : shared->submissions) unknown += one.told == Told::kUnknown ? 1 : 0;
    ASSERT_EQ(JudgeImages(bench, *shared, kLossesAfterAFailure), 0)
        << failure.name << " " << nth << ", then a cut";
  }
  std::printf("%llu operations, %d of unknown outcome\n", static_cast<unsigned long long>(nth - 1),
              unknown);
  EXPECT_GT(nth, 1u) << "nothing failed";
  EXPECT_LT(nth, kMostOperations);
  // A single failure can be undone.
  if (!from_then_on) {
    EXPECT_EQ(unknown, 0);
  }
}

TEST_P(FailingSubmission, OnceIsRefusedAndUndone) { FailEverywhere(GetParam(), false); }
TEST_P(FailingSubmission, FromThenOnIsRefusedOrSaidToBeUnknown) {
  FailEverywhere(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(
    Failure, FailingSubmission,
    ::testing::Values(Failure{"Write", Op::kWrite, SQLITE_IOERR_WRITE},
                      Failure{"FullDisk", Op::kWrite, SQLITE_FULL},
                      Failure{"LogFlush", Op::kSync, SQLITE_IOERR_FSYNC},
                      Failure{"LateFlush", Op::kSync, SQLITE_IOERR_FSYNC, true},
                      Failure{"Flush", Op::kFlush, 0}, Failure{"Name", Op::kName, 0},
                      Failure{"Read", Op::kRead, SQLITE_IOERR_READ},
                      Failure{"IndexLock", Op::kShmLock, SQLITE_IOERR_SHMLOCK}),
    [](const auto& of) { return of.param.name; });

}  // namespace
}  // namespace qob::crash
