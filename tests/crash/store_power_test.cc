// The store on a file layer that fails and whose power goes: acknowledged means durable, a failure
// is reported, and the store opens again.
//
// One writer does a fixed list of work. Each trial is a process of its own that starts from the
// same files and meets its mishap at the n-th operation; n goes up until the work ends without it.
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "crash/fault_layer.h"
#include "crash/ledger.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

namespace fs = std::filesystem;
using store::Durability;
using store::RecordFile;
using store::Status;

constexpr int kWorks = 24;
constexpr int kReopenAfter = 15;
constexpr int kLogLimit = 10;
constexpr int kWriters = 2;
constexpr std::uint64_t kSeed = 20261121;
constexpr std::uint64_t kMostOperations = 5000;

// Exit codes of a trial's process.
constexpr int kRanToItsEnd = 0;
constexpr int kFailedAsPlanned = 78;
constexpr int kWrong = 1;

struct Shared {
  std::array<Ledger, kWriters> ledgers;
  // What stood after so many works of the first writer.
  std::array<Standing, kWorks + 2> history{};
  int works = 0;
};

int Wrong(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return kWrong;
}

// Files that every trial starts from, and room for one trial after the other. No flush reaches the
// disk, so memory serves.
class Bench {
 public:
  Bench() : memory_(UseMemory()), start_(spool_.path("start")) {
    fs::create_directory(start_);
    EXPECT_EQ(
        testing::InChild([&] {
          return static_cast<int>(RecordFile::Create(start_ + "/x.btr", TrialDescription(), {}));
        }),
        0);
  }
  // A fresh copy of the first files.
  std::string Place() {
    const std::string place = spool_.path("place");
    fs::remove_all(place);
    fs::remove_all(Images());
    fs::copy(start_, place);
    return place;
  }
  std::string EmptyPlace() {
    const std::string place = spool_.path("place");
    fs::remove_all(place);
    fs::remove_all(Images());
    fs::create_directory(place);
    return place;
  }
  std::string Images() const { return spool_.path("images"); }
  std::string Image(Loss loss) const { return Images() + "/" + NameOf(loss); }

 private:
  static bool UseMemory() {
    return access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 1) == 0;
  }
  const bool memory_;
  testing::TempSpool spool_;
  std::string start_;
};

std::string StoreIn(const std::string& directory) { return directory + "/x.btr"; }

// Does the works, the store opened anew on the way; the status of the first call that failed.
Status Work(const std::string& directory, Durability durability, Shared& shared,
            std::shared_ptr<RecordFile>* file) {
  Dice dice(kSeed);
  Ledger& ledger = shared.ledgers[0];
  for (int i = 0; i < kWorks; ++i) {
    if (i == 0 || i == kReopenAfter) {
      file->reset();
      const Status status = RecordFile::Open(StoreIn(directory), {durability, false}, file);
      if (status != store::kOk) return status;
    }
    const Status status = Do(**file, 0, Invent(dice, ledger), &ledger);
    if (status != store::kOk) return status;
    shared.history[static_cast<std::size_t>(++shared.works)] = ledger.standing;
    if (durability == Durability::kCommit && FaultLayer::UnflushedLogWrites() != 0) {
      Wrong("acknowledged before its flush");
      _exit(kWrong);
    }
  }
  file->reset();
  return store::kOk;
}

// Opens what is there and lets `judge` compare, then goes on from there. The layer only spares the
// disk its flushes.
template <class Judge>
std::string AuditDirectory(const std::string& directory, Judge&& judge) {
  FaultLayer::Install(directory);
  std::shared_ptr<RecordFile> file;
  const Status opened = RecordFile::Open(StoreIn(directory), {}, &file);
  if (opened != store::kOk) return "open gives " + std::to_string(opened);
  std::array<Standing, kWriters> found{};
  std::string wrong = Audit(*file, found);
  if (wrong.empty()) wrong = judge(found);
  if (!wrong.empty()) return wrong;
  Ledger next;
  Dice dice(kSeed + 1);
  next.standing = found[0];
  next.version = 1000;
  for (int i = 0; i < 2; ++i) {
    const Status status = Do(*file, 0, Invent(dice, next), &next);
    if (status != store::kOk) return "does not go on: " + std::to_string(status);
  }
  return "";
}

template <class Judge>
int AuditIn(const std::string& directory, Judge&& judge) {
  return testing::InChild([&] {
    const std::string wrong = AuditDirectory(directory, judge);
    return wrong.empty() ? 0 : Wrong(wrong);
  });
}

// Ways of losing, each judged by itself.
template <class Judge>
int AuditImages(const Bench& bench, std::span<const Loss> losses, Judge&& judge) {
  return testing::InChild([&] {
    for (Loss loss : losses) {
      const std::string wrong = AuditDirectory(bench.Image(loss), judge);
      if (!wrong.empty()) return Wrong(std::string("loss ") + NameOf(loss) + ": " + wrong);
    }
    return 0;
  });
}

std::string JudgeAcknowledged(const std::array<Standing, kWriters>& found, const Shared& shared) {
  for (std::size_t i = 0; i < kWriters; ++i) {
    std::string wrong = Compare(found[i], shared.ledgers[i]);
    if (!wrong.empty()) return wrong;
  }
  return "";
}

// A prefix of the works, the one that was going on included.
std::string JudgePrefix(const std::array<Standing, kWriters>& found, const Shared& shared) {
  const Ledger& ledger = shared.ledgers[0];
  for (int i = 0; i <= shared.works; ++i) {
    if (found[0] == shared.history[static_cast<std::size_t>(i)]) return "";
  }
  Standing after = ledger.standing;
  if (ledger.has_pending) Apply(ledger.pending, &after);
  return found[0] == after ? "" : "no prefix of the works";
}

void CutEverywhere(Durability durability) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const std::string place = bench.Place();
    const SharedMemory<Shared> shared;
    const int result = testing::InChild([&] {
      store::SetLogLimitPages(kLogLimit);
      FaultLayer::Install(place);
      FaultLayer::CutAt(nth, kSeed + nth, bench.Images());
      std::shared_ptr<RecordFile> file;
      const Status status = Work(place, durability, *shared, &file);
      return status == store::kOk ? kRanToItsEnd : Wrong("status " + std::to_string(status));
    });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, kCutExit) << nth;
    const auto judge = durability == Durability::kCommit ? JudgeAcknowledged : JudgePrefix;
    ASSERT_EQ(AuditImages(bench, kLosses, [&](const auto& found) { return judge(found, *shared); }),
              0)
        << "cut before operation " << nth;
  }
  std::printf("%llu operations\n", static_cast<unsigned long long>(nth - 1));
  EXPECT_GT(nth, 100u) << "the work does not change much";
  EXPECT_LT(nth, kMostOperations);
}

TEST(PowerCut, LosesNothingThatWasAcknowledged) { CutEverywhere(Durability::kCommit); }
TEST(PowerCut, LeavesAPrefixWhereOnlyTheSystemIsTrusted) { CutEverywhere(Durability::kSystem); }

// Killed, not cut: the files stay as they are, with the index, the locks and the gate.
TEST(Kill, AtEveryOperationLosesNothing) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const std::string place = bench.Place();
    const SharedMemory<Shared> shared;
    const int result = testing::InChild([&] {
      store::SetLogLimitPages(kLogLimit);
      FaultLayer::Install(place);
      FaultLayer::KillAt(nth);
      std::shared_ptr<RecordFile> file;
      return Work(place, Durability::kCommit, *shared, &file) == store::kOk ? kRanToItsEnd : kWrong;
    });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, -1) << nth;  // by the signal
    ASSERT_EQ(AuditIn(place, [&](const auto& found) { return JudgeAcknowledged(found, *shared); }),
              0)
        << "killed before operation " << nth;
  }
  EXPECT_GT(nth, 100u);
  EXPECT_LT(nth, kMostOperations);
}

// After a cut while the file was made: it stands whole, or another can be made in its place.
std::string JudgeMaking(const std::string& image, bool was_made) {
  const bool stands = fs::exists(StoreIn(image));
  if (was_made && !stands) return "made, but gone";
  FaultLayer::Install(image);
  if (!stands) {
    const Status status = RecordFile::Create(StoreIn(image), TrialDescription(), {});
    if (status != store::kOk) return "cannot be made again: " + std::to_string(status);
  }
  return AuditDirectory(image, [](const auto&) { return std::string(); });
}

TEST(PowerCut, WhileAFileIsMadeLeavesItWholeOrMissing) {
  Bench bench;
  bool ended = false;
  std::uint64_t nth = 1;
  for (; !ended && nth < kMostOperations; ++nth) {
    const std::string place = bench.EmptyPlace();
    const int result = testing::InChild([&] {
      FaultLayer::Install(place);
      FaultLayer::CutAt(nth, kSeed + nth, bench.Images());
      const Status status = RecordFile::Create(StoreIn(place), TrialDescription(), {});
      if (status != store::kOk) return Wrong("create gives " + std::to_string(status));
      FaultLayer::Cut(kSeed, bench.Images());
      return kRanToItsEnd;
    });
    ended = result == kRanToItsEnd;
    ASSERT_TRUE(ended || result == kCutExit);
    ASSERT_EQ(testing::InChild([&] {
                for (Loss loss : kLosses) {
                  const std::string wrong = JudgeMaking(bench.Image(loss), ended);
                  if (!wrong.empty())
                    return Wrong(std::string("loss ") + NameOf(loss) + ": " + wrong);
                }
                return 0;
              }),
              0)
        << nth;
  }
  EXPECT_GT(nth, 5u);
  EXPECT_TRUE(ended);
}

// ---- operations that fail

struct Failure {
  const char* name;
  Op op;
  int error;        // SQLite's; see FaultLayer::FailAt
  Status reported;  // what the call says
};

constexpr Loss kLossesAfterAFailure[] = {Loss::kAll, Loss::kSome};

class FailingDisk : public ::testing::TestWithParam<Failure> {};

// Everything about one failure, in its own process: the failure is reported or nothing failed; with
// the trouble over the store opens, holds what was acknowledged and goes on; what it acknowledges
// then outlives a power cut.
int FailOnce(const Bench& bench, const std::string& place, const Failure& failure,
             std::uint64_t nth, bool from_then_on, Shared& shared) {
  store::SetLogLimitPages(kLogLimit);
  FaultLayer::Install(place);
  FaultLayer::FailAt(failure.op, nth, from_then_on, failure.error);
  std::shared_ptr<RecordFile> file;
  const Status status = Work(place, Durability::kCommit, shared, &file);
  const bool failed = FaultLayer::HasFailed();
  if (!failed) return status == store::kOk ? kRanToItsEnd : Wrong("fails by itself");
  if (status != store::kOk && status != failure.reported) {
    return Wrong("reported as " + std::to_string(status));
  }
  if (failure.op == Op::kSync && status != store::kOk && file != nullptr) {
    // Its handle writes no more: neither the same bytes again nor others behind them.
    const std::size_t before = FaultLayer::Log().size();
    Dice dice(kSeed + 2);
    for (int i = 0; i < 3; ++i) {
      Ledger& other = shared.ledgers[1];
      if (Do(*file, 1, Invent(dice, other), &other) != store::kIoError) {
        return Wrong("writes on after a failed flush");
      }
    }
    for (std::size_t i = before; i < FaultLayer::Log().size(); ++i) {
      const Op op = FaultLayer::Log()[i].op;
      if (op == Op::kWrite || op == Op::kSync || op == Op::kTruncate) {
        return Wrong("touches the disk after a failed flush");
      }
    }
  }
  file.reset();
  FaultLayer::FailNoMore();
  const Status opened = RecordFile::Open(StoreIn(place), {}, &file);
  if (opened != store::kOk) return Wrong("does not open again: " + std::to_string(opened));
  std::array<Standing, kWriters> found{};
  std::string wrong = Audit(*file, found);
  for (std::size_t i = 0; i < kWriters && wrong.empty(); ++i) {
    wrong = Settle(found[i], &shared.ledgers[i]);
  }
  if (!wrong.empty()) return Wrong(wrong);
  Dice dice(kSeed + 3);
  for (int i = 0; i < 10; ++i) {
    const Status more = Do(*file, 0, Invent(dice, shared.ledgers[0]), &shared.ledgers[0]);
    if (more != store::kOk) return Wrong("does not go on: " + std::to_string(more));
  }
  FaultLayer::Cut(kSeed + nth, bench.Images());
  return kFailedAsPlanned;
}

void FailEverywhere(const Failure& failure, bool from_then_on) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const std::string place = bench.Place();
    const SharedMemory<Shared> shared;
    const int result = testing::InChild(
        [&] { return FailOnce(bench, place, failure, nth, from_then_on, *shared); });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, kFailedAsPlanned) << failure.name << " " << nth;
    ASSERT_EQ(AuditImages(bench, kLossesAfterAFailure,
                          [&](const auto& found) { return JudgeAcknowledged(found, *shared); }),
              0)
        << failure.name << " " << nth << ", then a cut";
  }
  std::printf("%llu operations\n", static_cast<unsigned long long>(nth - 1));
  EXPECT_GT(nth, 1u) << "nothing failed";
  EXPECT_LT(nth, kMostOperations);
}

TEST_P(FailingDisk, OnceIsReportedAndGotOver) { FailEverywhere(GetParam(), false); }
TEST_P(FailingDisk, FromThenOnIsReportedAndGotOver) { FailEverywhere(GetParam(), true); }

INSTANTIATE_TEST_SUITE_P(
    Failure, FailingDisk,
    ::testing::Values(Failure{"Write", Op::kWrite, SQLITE_IOERR_WRITE, store::kIoError},
                      Failure{"FullDisk", Op::kWrite, SQLITE_FULL, store::kDiskFull},
                      Failure{"Flush", Op::kSync, SQLITE_IOERR_FSYNC, store::kIoError},
                      Failure{"Read", Op::kRead, SQLITE_IOERR_READ, store::kIoError},
                      Failure{"Truncate", Op::kTruncate, SQLITE_IOERR_TRUNCATE, store::kIoError},
                      Failure{"Size", Op::kSize, SQLITE_IOERR_FSTAT, store::kIoError},
                      Failure{"IndexMap", Op::kShmMap, SQLITE_IOERR_SHMMAP, store::kIoError},
                      Failure{"IndexLock", Op::kShmLock, SQLITE_IOERR_SHMLOCK, store::kIoError},
                      Failure{"Lock", Op::kLock, SQLITE_IOERR_LOCK, store::kIoError}),
    [](const auto& of) { return of.param.name; });

// ---- making a file on a failing disk

class FailingMaking : public ::testing::TestWithParam<Failure> {};

// Reported, and nothing stands in the way of a second try; what is acknowledged in the file then
// outlives a power cut, the file's name included.
int MakeOnce(const Bench& bench, const std::string& place, const Failure& failure,
             std::uint64_t nth, bool from_then_on, Shared& shared) {
  FaultLayer::Install(place);
  FaultLayer::FailAt(failure.op, nth, from_then_on, failure.error);
  Status status = RecordFile::Create(StoreIn(place), TrialDescription(), {});
  if (!FaultLayer::HasFailed()) return status == store::kOk ? kRanToItsEnd : kWrong;
  FaultLayer::FailNoMore();
  if (status != store::kOk) status = RecordFile::Create(StoreIn(place), TrialDescription(), {});
  // The failed one may have come as far as the name; then what stands there is whole.
  if (status != store::kOk && status != store::kFileExists) {
    return Wrong("cannot be made again: " + std::to_string(status));
  }
  std::shared_ptr<RecordFile> file;
  status = Work(place, Durability::kCommit, shared, &file);
  if (status != store::kOk) return Wrong("cannot be used: " + std::to_string(status));
  FaultLayer::Cut(kSeed + nth, bench.Images());
  return kFailedAsPlanned;
}

TEST_P(FailingMaking, IsReportedAndCanBeDoneAgain) {
  Bench bench;
  for (const bool from_then_on : {false, true}) {
    std::uint64_t nth = 1;
    for (; nth < kMostOperations; ++nth) {
      const std::string place = bench.EmptyPlace();
      const SharedMemory<Shared> shared;
      const int result = testing::InChild(
          [&] { return MakeOnce(bench, place, GetParam(), nth, from_then_on, *shared); });
      if (result == kRanToItsEnd) break;
      ASSERT_EQ(result, kFailedAsPlanned) << GetParam().name << " " << nth;
      ASSERT_EQ(AuditImages(bench, kLossesAfterAFailure,
                            [&](const auto& found) { return JudgeAcknowledged(found, *shared); }),
                0)
          << GetParam().name << " " << nth << ", then a cut";
    }
    EXPECT_GT(nth, 1u) << "nothing failed";
    EXPECT_LT(nth, kMostOperations);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Failure, FailingMaking,
    ::testing::Values(Failure{"Open", Op::kOpen, SQLITE_CANTOPEN, store::kNoPermission},
                      Failure{"Write", Op::kWrite, SQLITE_IOERR_WRITE, store::kIoError},
                      Failure{"FullDisk", Op::kWrite, SQLITE_FULL, store::kDiskFull},
                      Failure{"Flush", Op::kSync, SQLITE_IOERR_FSYNC, store::kIoError},
                      Failure{"Name", Op::kName, 0, store::kIoError},
                      Failure{"NameFlush", Op::kFlush, 0, store::kIoError}),
    [](const auto& of) { return of.param.name; });

// ---- reads that come back short

void ReadAll(RecordFile& file) {
  std::array<Standing, kWriters> found{};
  Audit(file, found);
}

// A short read shows bytes that do not stand in the file. Nothing may be written because of them.
TEST(ShortRead, ChangesNothing) {
  Bench bench;
  std::uint64_t nth = 1;
  for (; nth < kMostOperations; ++nth) {
    const std::string place = bench.Place();
    const SharedMemory<Shared> shared;
    const int result = testing::InChild([&] {
      FaultLayer::Install(place);
      std::shared_ptr<RecordFile> file;
      if (Work(place, Durability::kCommit, *shared, &file) != store::kOk) return kWrong;
      file.reset();
      const std::size_t before = FaultLayer::Log().size();
      FaultLayer::FailAt(Op::kRead, nth, false, SQLITE_IOERR_SHORT_READ);
      if (RecordFile::Open(StoreIn(place), {}, &file) == store::kOk) ReadAll(*file);
      file.reset();
      for (std::size_t i = before; i < FaultLayer::Log().size(); ++i) {
        const Op op = FaultLayer::Log()[i].op;
        if (op == Op::kWrite || op == Op::kTruncate) return Wrong("written to");
      }
      return FaultLayer::HasFailed() ? kFailedAsPlanned : kRanToItsEnd;
    });
    if (result == kRanToItsEnd) break;
    ASSERT_EQ(result, kFailedAsPlanned) << nth;
    ASSERT_EQ(AuditIn(place, [&](const auto& found) { return JudgeAcknowledged(found, *shared); }),
              0)
        << nth;
  }
  EXPECT_GT(nth, 10u);
  EXPECT_LT(nth, kMostOperations);
}

}  // namespace
}  // namespace qob::crash
