// BTRCALL on a disk that fails at any call, and without memory at any allocation: a status that
// says so, what was acknowledged is there once, nothing is there twice or half.
#include <sqlite3.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "btrieve_support.h"
#include "crash/fault_layer.h"
#include "platform/store/record_file.h"
#include "support/failing_allocator.h"
#include "support/two_processes.h"

namespace {

using namespace qob::testing;
using qob::crash::FaultLayer;
using qob::crash::Op;

// Exit codes of a trial.
constexpr int kUndisturbed = 0;
constexpr int kAsPlanned = 78;
constexpr int kWrong = 1;

struct Mishap {
  const char* name;
  Op op;
  int error;
  std::set<int> statuses;  // of the call that met it
};

const std::vector<Mishap>& Mishaps() {
  static const std::vector<Mishap> all = {
      {"open", Op::kOpen, SQLITE_CANTOPEN, {2, 12, 46}},
      {"read", Op::kRead, SQLITE_IOERR_READ, {2, 30}},
      {"write", Op::kWrite, SQLITE_IOERR_WRITE, {2}},
      {"write to a full disk", Op::kWrite, SQLITE_FULL, {18}},
      {"truncate", Op::kTruncate, SQLITE_IOERR_TRUNCATE, {2}},
      {"sync", Op::kSync, SQLITE_IOERR_FSYNC, {2}},
      {"size", Op::kSize, SQLITE_IOERR_FSTAT, {2, 30}},
      {"lock", Op::kLock, SQLITE_IOERR_LOCK, {2}},
      {"lock held", Op::kLock, SQLITE_BUSY, {84}},
      {"map", Op::kShmMap, SQLITE_IOERR_SHMMAP, {2}},
      {"map without memory", Op::kShmMap, SQLITE_NOMEM, {2, 101}},
      {"map lock", Op::kShmLock, SQLITE_IOERR_SHMLOCK, {2}},
      {"map lock held", Op::kShmLock, SQLITE_BUSY, {84}},
      {"delete", Op::kDelete, SQLITE_IOERR_DELETE, {2}},
      {"access", Op::kAccess, SQLITE_IOERR_ACCESS, {2}},
      {"name", Op::kName, EIO, {2}},
      {"flush", Op::kFlush, EIO, {2}},
  };
  return all;
}

// What must and what may be there afterwards, by the tags of the records.
struct Ledger {
  std::set<std::uint32_t> there;
  std::set<std::uint32_t> perhaps;
};

class Trial {
 public:
  Trial(const Mishap& mishap, std::uint64_t nth, bool from_then_on)
      : mishap_(mishap), nth_(nth), from_then_on_(from_then_on) {}

  int Run() {
    spool_.SetIni("");
    path_ = spool_.queue() + "/faults.btr";
    FaultLayer::Install(spool_.queue());
    qob::store::SetWaitMs(1);
    FaultLayer::FailAt(mishap_.op, nth_, from_then_on_, mishap_.error);
    Work();
    const bool failed = FaultLayer::HasFailed();
    FaultLayer::FailNoMore();
    machine_.Do(CloseFile(0));
    if (!Audit()) return kWrong;
    return failed ? kAsPlanned : kUndisturbed;
  }

 private:
  // A failure has one of the mishap's statuses; what follows from an earlier one is 3, 4, 7, 8, 9
  // or 12.
  int Do(const Command& command) {
    const int status = machine_.Do(command).status;
    static const std::set<int> consequences = {0, 3, 4, 7, 8, 9, 12};
    if (consequences.count(status) == 0 && mishap_.statuses.count(status) == 0) {
      std::fprintf(stderr, "operation %d gave %d\n", command.operation, status);
      wrong_ = true;
    }
    return status;
  }
  void Insert(std::uint32_t tag) {
    const int status = Do(InsertRecord(0, Named(tag)));
    (status == 0 ? ledger_.there : ledger_.perhaps).insert(tag);
  }
  static std::string Named(std::uint32_t tag) {
    return TestRecord("k" + std::to_string(tag % 10), static_cast<std::int32_t>(tag), "text", tag);
  }
  // Reads the record and replaces it by another.
  void Replace(std::uint32_t tag, std::uint32_t by) {
    if (Do(GetRecord(B_GET_EQUAL, 0, 1, NumberKey(static_cast<std::int32_t>(tag)))) != 0) return;
    const int status = Do(UpdateRecord(0, Named(by)));
    ledger_.there.erase(tag);
    ledger_.perhaps.insert(by);
    if (status == 0) ledger_.there.insert(by);
    if (status != 0) ledger_.perhaps.insert(tag);
  }
  void Remove(std::uint32_t tag) {
    if (Do(GetRecord(B_GET_EQUAL, 0, 1, NumberKey(static_cast<std::int32_t>(tag)))) != 0) return;
    ledger_.there.erase(tag);
    if (Do(DeleteRecord(0)) != 0) ledger_.perhaps.insert(tag);
  }
  void Work() {
    Do(CreateFile(path_));
    Do(OpenFile(0, path_));
    for (const std::uint32_t tag : {11U, 12U, 21U, 13U}) Insert(tag);
    Replace(12, 32);
    Do(GetRecord(B_GET_FIRST, 0, 2));
    while (Do(NextRecord(0, 2)) == 0) {
    }
    Remove(21);
    Do({.operation = B_STAT, .cursor = 0, .room = 64});
    Do(GetRecord(B_GET_GREATER, 0, 0, "k1"));
    Do(CloseFile(0));
    Do(OpenFile(0, path_));
    Insert(14);
    Replace(11, 41);
    Do(GetRecord(B_GET_GREATER_OR_EQUAL, 0, 0, "k1"));
  }

  bool Audit() {
    const int created = machine_.Do(CreateFile(path_)).status;
    const int opened = machine_.Do(OpenFile(0, path_)).status;
    if ((created != 0 && created != 59) || opened != 0) {
      std::fprintf(stderr, "afterwards create gave %d, open %d\n", created, opened);
      return false;
    }
    for (int index = 0; index < 3; ++index) {
      std::map<std::uint32_t, int> met;
      Answer answer = machine_.Do(GetRecord(B_GET_FIRST, 0, index));
      for (; answer.status == 0; answer = machine_.Do(NextRecord(0, index))) {
        const std::uint32_t tag = TagOf(answer);
        if (answer.data != Named(tag)) return Say("a record of other bytes", tag);
        ++met[tag];
      }
      if (answer.status != 9)
        return Say("the walk ended with", static_cast<unsigned>(answer.status));
      for (const auto& [tag, times] : met) {
        if (times != 1) return Say("met more than once", tag);
        if (ledger_.there.count(tag) + ledger_.perhaps.count(tag) == 0) {
          return Say("never written or gone for good", tag);
        }
      }
      for (const std::uint32_t tag : ledger_.there) {
        if (met.count(tag) == 0) return Say("acknowledged and lost", tag);
      }
    }
    return !wrong_;
  }
  static bool Say(const char* what, unsigned number) {
    std::fprintf(stderr, "%s: %u\n", what, number);
    return false;
  }

  const Mishap& mishap_;
  const std::uint64_t nth_;
  const bool from_then_on_;
  TempSpool spool_;
  std::string path_;
  Machine machine_{1};
  Ledger ledger_;
  bool wrong_ = false;
};

class BtrcallDisk : public ::testing::TestWithParam<std::size_t> {};

TEST_P(BtrcallDisk, FailsWithAStatusAndLosesNothing) {
  const Mishap& mishap = Mishaps()[GetParam()];
  SCOPED_TRACE(mishap.name);
  for (const bool from_then_on : {false, true}) {
    // SQLite asks for a lock that is held again and again before it gives up: once is enough.
    if (from_then_on && mishap.error == SQLITE_BUSY) break;
    // Behind the first calls the same ones come again and again.
    for (std::uint64_t nth = 1;; nth += nth < 40 ? 1 : 5) {
      const int outcome = InChild([&] { return Trial(mishap, nth, from_then_on).Run(); });
      if (outcome == kUndisturbed) break;
      ASSERT_EQ(outcome, kAsPlanned)
          << "call " << nth << (from_then_on ? " and all behind it" : " alone");
      ASSERT_LT(nth, 1000U);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Mishaps, BtrcallDisk, ::testing::Range<std::size_t>(0, Mishaps().size()));

// BTRCALL with buffers that stand ready: nothing of the test's own allocates.
class BtrcallMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    spool_.SetIni("[Store]\nDurability=system\n");
    path_ = spool_.queue() + "/memory.btr";
    ASSERT_EQ(machine_.Do(CreateFile(path_)).status, 0);
    ASSERT_EQ(machine_.Do(OpenFile(0, path_)).status, 0);
    for (std::uint32_t tag = 1; tag <= 3; ++tag) {
      ASSERT_EQ(machine_.Do(InsertRecord(0, TestRecord("a", 1, kText, tag))).status, 0);
    }
    good_ = machine_.cursor(0);
  }
  int Call(int operation, int index = 0) {
    std::uint32_t length = kTestRecord;
    return BTRCALL(static_cast<std::uint16_t>(operation), machine_.cursor(0).block(), record_,
                   &length, key_, 255, static_cast<std::int8_t>(index));
  }
  std::vector<std::uint32_t> Tags() {
    std::vector<std::uint32_t> tags;
    Machine fresh(1);
    EXPECT_EQ(fresh.Do(OpenFile(0, path_)).status, 0);
    Answer answer = fresh.Do(GetRecord(B_GET_FIRST, 0, 2));
    for (; answer.status == 0; answer = fresh.Do(NextRecord(0, 2))) tags.push_back(TagOf(answer));
    EXPECT_EQ(answer.status, 9);
    return tags;
  }
  // `before` puts things right, `operation` is what runs out of memory; `done` tells what then
  // stands in the file when it went well.
  void FailEach(const std::function<void()>& before, const std::function<int()>& operation,
                const std::vector<std::uint32_t>& undone, const std::vector<std::uint32_t>& done) {
    int status = -1;
    before();
    FailEachAllocation([&] { status = operation(); },
                       [&](bool triggered) {
                         ASSERT_TRUE(status == 0 || (triggered && status == 101)) << status;
                         ASSERT_EQ(Tags(), status == 0 ? done : undone);
                         before();
                       });
  }
  void PlaceAt(const char* key, int index) {
    std::strcpy(key_, key);
    ASSERT_EQ(Call(B_GET_EQUAL, index), 0);
  }

  static inline const std::string kText = std::string(150, 'x');
  TempSpool spool_;
  std::string path_;
  Machine machine_{1};
  Cursor good_;
  char record_[kTestRecord] = {};
  char key_[256] = {};
};

TEST_F(BtrcallMemory, GetsGive101) {
  for (const int operation : {B_GET_EQUAL, B_GET_GREATER_OR_EQUAL, B_GET_FIRST, B_STAT}) {
    FailEach([&] { std::strcpy(key_, kText.c_str()); },
             [&] { return Call(operation, operation == B_STAT ? 0 : 2); }, {1, 2, 3}, {1, 2, 3});
  }
  std::memset(record_, 0, sizeof record_);
  ASSERT_NO_FATAL_FAILURE(PlaceAt(kText.c_str(), 2));
  const Cursor first = machine_.cursor(0);
  FailEach([&] { machine_.cursor(0) = first; }, [&] { return Call(B_GET_NEXT, 2); }, {1, 2, 3},
           {1, 2, 3});
}

TEST_F(BtrcallMemory, InsertAddsOneOrNone) {
  const std::string record = TestRecord("b", 2, "zz", 9);
  FailEach(
      [&] {
        std::strcpy(key_, "b");
        const int found = Call(B_GET_EQUAL);
        ASSERT_TRUE(found == 4 || Call(B_DELETE) == 0);
        std::memcpy(record_, record.data(), record.size());
      },
      [&] { return Call(B_INSERT); }, {1, 2, 3}, {1, 2, 3, 9});
}

TEST_F(BtrcallMemory, UpdateChangesAllOrNothing) {
  FailEach(
      [&] {
        std::strcpy(key_, "a");
        ASSERT_EQ(Call(B_GET_FIRST), 0);
        const std::string old = TestRecord("a", 1, kText, 1);
        std::memcpy(record_, old.data(), old.size());
        ASSERT_EQ(Call(B_UPDATE), 0);
        const std::string changed = TestRecord("a", 1, kText, 7);
        std::memcpy(record_, changed.data(), changed.size());
      },
      [&] { return Call(B_UPDATE); }, {1, 2, 3}, {7, 2, 3});
}

TEST_F(BtrcallMemory, DeleteTakesOneOrNone) {
  FailEach(
      [&] {
        std::strcpy(key_, "b");
        if (Call(B_GET_EQUAL) != 0) {
          const std::string record = TestRecord("b", 2, "zz", 9);
          std::memcpy(record_, record.data(), record.size());
          ASSERT_EQ(Call(B_INSERT), 0);
        }
      },
      [&] { return Call(B_DELETE); }, {1, 2, 3, 9}, {1, 2, 3});
}

TEST_F(BtrcallMemory, OpenAndCloseAndCreate) {
  Cursor cursor;
  int status = -1;
  std::string path = path_;
  FailEachAllocation(
      [&] {
        status = BTRCALL(B_OPEN, cursor.block(), nullptr, nullptr, path.data(), 255, 0);
        if (status == 0) {
          EXPECT_EQ(BTRCALL(B_CLOSE, cursor.block(), nullptr, nullptr, nullptr, 0, 0), 0);
        }
      },
      [&](bool triggered) { ASSERT_TRUE(status == 0 || (triggered && status == 101)) << status; });
  // As the first in the process, which also builds the connection.
  machine_.Do(CloseFile(0));
  FailEachAllocation(
      [&] {
        status = BTRCALL(B_OPEN, cursor.block(), nullptr, nullptr, path.data(), 255, 0);
        if (status == 0) BTRCALL(B_CLOSE, cursor.block(), nullptr, nullptr, nullptr, 0, 0);
      },
      [&](bool triggered) { ASSERT_TRUE(status == 0 || (triggered && status == 101)) << status; });
  EXPECT_EQ(Tags(), (std::vector<std::uint32_t>{1, 2, 3}));
  std::string created = spool_.queue() + "/new.btr";
  std::string description = TestDescription();
  FailEachAllocation(
      [&] {
        auto length = static_cast<std::uint32_t>(description.size());
        status = BTRCALL(B_CREATE, nullptr, description.data(), &length, created.data(), 255, -1);
      },
      [&](bool triggered) {
        ASSERT_TRUE(status == 0 || (triggered && status == 101)) << status;
        const int again = machine_.Do(OpenFile(0, created)).status;
        ASSERT_TRUE(again == 0 || (status != 0 && again == 12)) << "whole or not at all: " << again;
        machine_.Do(CloseFile(0));
        std::filesystem::remove(created);
        std::filesystem::remove(created + "-wal");
        std::filesystem::remove(created + "-shm");
      });
}

}  // namespace
