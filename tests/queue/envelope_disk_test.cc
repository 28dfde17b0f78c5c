// The disk fails beneath the envelope calls: a call that said yes has written, one that said no has
// written all or nothing, and the database opens again.
#include <sqlite3.h>

#include <map>

#include "crash/fault_layer.h"
#include "queue/envelope_calls.h"

namespace qob::testing {
namespace {

using crash::FaultLayer;
using crash::Op;

class EnvelopeDisk : public EnvelopeCallsTest {
 protected:
  void SetUp() override {
    FaultLayer::Install(spool_.queue());
    EnvelopeCallsTest::SetUp();
  }
  void OpenAnew() {
    ASSERT_EQ(CloseMesgFile(&db_), 0);
    db_ = {};
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  }
  // A line that the call has for a failing operation, whatever status came of the disk.
  bool IsLineOf(const CallRow& row, const LogLine& line) const {
    return std::any_of(row.failures.begin(), row.failures.end(), [&](const Failure& failure) {
      const std::string start = Filled(failure.line, path_, "");
      return *failure.line != '\0' && line.level == failure.level && line.module == "env" &&
             line.text.starts_with(start) && line.text.size() > start.size();
    });
  }
  void Judge(const CallRow& row, std::int32_t result, const std::vector<std::string>& wanted) {
    const std::vector<LogLine> lines = log_.lines();
    EXPECT_LE(lines.size(), 1u);
    for (const LogLine& line : lines) EXPECT_TRUE(IsLineOf(row, line)) << line.text;
    ASSERT_NO_FATAL_FAILURE(OpenAnew());
    const std::vector<std::string> after = Bytes();
    if (result == row.success && lines.empty()) {
      EXPECT_EQ(after, wanted);
    } else {
      EXPECT_TRUE(after == before_ || after == wanted) << "neither as before nor as wanted";
    }
    if (after != before_) Fill();
    log_.Clear();
  }
};

struct Fault {
  const char* name;
  Op op;
  int error;
  bool from_then_on;
};

constexpr Fault kFaults[] = {
    {"one write", Op::kWrite, SQLITE_IOERR_WRITE, false},
    {"a full disk", Op::kWrite, SQLITE_FULL, true},
    {"one flush", Op::kSync, SQLITE_IOERR_FSYNC, false},
    {"all flushes", Op::kSync, SQLITE_IOERR_FSYNC, true},
    {"one read", Op::kRead, SQLITE_IOERR_READ, false},
    {"all reads", Op::kRead, SQLITE_IOERR_READ, true},
    {"one lock of the index", Op::kShmLock, SQLITE_IOERR_SHMLOCK, false},
    {"all locks of the index", Op::kShmLock, SQLITE_IOERR_SHMLOCK, true},
    {"one lock", Op::kLock, SQLITE_IOERR_LOCK, false},
    {"one mapping", Op::kShmMap, SQLITE_IOERR_SHMMAP, false},
    {"one size", Op::kSize, SQLITE_IOERR_FSTAT, false},
};

TEST_F(EnvelopeDisk, WhatFailsIsToldAndWhatIsPromisedIsThere) {
  std::map<std::string, int> met;
  for (const CallRow& row : Rows()) {
    const std::vector<std::string> wanted = Wanted(row);
    for (const Fault& fault : kFaults) {
      for (std::uint64_t nth = 1;; ++nth) {
        SCOPED_TRACE(::testing::Message() << row.name << ", " << fault.name << " " << nth);
        ASSERT_LT(nth, 100u);
        StandAtTheEnd();
        FaultLayer::FailAt(fault.op, nth, fault.from_then_on, fault.error);
        const std::int32_t result = row.call(path_.c_str(), &db_);
        const bool failed = FaultLayer::HasFailed();
        FaultLayer::FailNoMore();
        if (!failed) {
          EXPECT_EQ(result, row.success);
          EXPECT_TRUE(log_.lines().empty());
        }
        ASSERT_NO_FATAL_FAILURE(Judge(row, result, wanted));
        if (!failed) break;
        ++met[fault.name];
      }
    }
  }
  // The layer was there: commits write and flush, reads take the lock of the index.
  for (const char* fault : {"one write", "one flush", "one lock of the index"}) {
    EXPECT_GT(met[fault], 0) << fault;
  }
}

TEST_F(EnvelopeDisk, AFullDiskIsNamedInTheLine) {
  FaultLayer::FailAt(Op::kWrite, 1, true, SQLITE_FULL);
  EXPECT_EQ(UpdateMessageStatus(path_.c_str(), "mine", &db_), -1);
  FaultLayer::FailNoMore();
  EXPECT_EQ(log_.texts(6), Texts{"UpdateMessageStatus failed, " + path_ + ": The disk is full."});
  ASSERT_NO_FATAL_FAILURE(OpenAnew());
  EXPECT_EQ(Bytes(), before_);
  EXPECT_EQ(UpdateMessageStatus(path_.c_str(), "mine", &db_), 0);
}

}  // namespace
}  // namespace qob::testing
