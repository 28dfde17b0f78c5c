// Every allocation and every call of the file layer fails once: what was acknowledged stands, what
// failed said so, and the file opens again.
#include <filesystem>
#include <map>

#include <gtest/gtest.h>

#include "platform/store_fault_layer.h"
#include "platform/store_fixture.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

using namespace store;
namespace fs = std::filesystem;

const bool g_routed = [] {
  RouteSqliteMemory();
  return true;
}();

class StoreFault : public StoreFile {
 protected:
  void SetUp() override {
    ASSERT_TRUE(g_routed);
    RegisterFaultLayer();
    SetBaseLayer(kFaultLayer);
    SetWaitMs(4);
    SetLogLimitPages(12);
  }
  void TearDown() override {
    g_file_plan = {};
    SetBaseLayer(nullptr);
    SetWaitMs(30000);
    SetLogLimitPages(kLogLimitPages);
  }

  // Only the store is disturbed, not the test around it.
  template <class Work>
  static Status Disturbed(Work&& work) {
    SuspendFailing(false);
    try {
      const Status status = work();
      SuspendFailing(true);
      return status;
    } catch (...) {
      SuspendFailing(true);
      throw;
    }
  }

  void Note(Status status) {
    EXPECT_TRUE(status == kOk || status == kIoError || status == kDiskFull || status == kNoMemory ||
                status == kBusy || status == kNoPermission || status == kNotOurFile ||
                status == kNoSuchFile || status == kTooManyOpen)
        << status;
    if (status != kOk) ++failures_;
  }

  // A day's work; what was acknowledged is remembered.
  void Work() {
    SuspendFailing(true);
    failures_ = 0;
    WorkDisturbed();
    SuspendFailing(false);
  }
  void WorkDisturbed() {
    const std::string path = Path();
    FilePointer file;
    Status status = Disturbed([&] { return RecordFile::Open(path, {}, &file); });
    Note(status);
    if (status != kOk) return;
    for (int i = 0; i < 4; ++i) {
      ++round_;
      Entry entry;
      const SmallRecord record("text", round_, "word");
      status = Disturbed([&] { return file->Insert(record.bytes, &entry); });
      Note(status);
      unsure_.insert(round_);
      if (status == kOk) standing_[round_] = entry;
    }
    Change(*file);
    Look(*file);
    Both(*file);
  }

  void Change(RecordFile& file) {
    if (standing_.size() < 3) return;
    auto& [number, entry] = *standing_.begin();
    const SmallRecord record("text", number, "again");
    Note(Disturbed([&, &known = entry] { return file.Update(&known, record.bytes); }));
    const auto last = std::prev(standing_.end());
    const Status removed = Disturbed([&] { return file.Delete(last->second); });
    Note(removed);
    unsure_.insert(last->first);
    if (removed == kOk) unsure_.erase(last->first);
    standing_.erase(last);  // not known any more, if the removing failed
  }

  void Look(RecordFile& file) {
    Entry entry;
    SmallRecord record;
    Status status = Disturbed([&] { return file.Find(0, Seek::kFirst, {}, &entry, record.bytes); });
    while (status == kOk) {
      status =
          Disturbed([&] { return file.Next(0, entry.key, entry.number, &entry, record.bytes); });
    }
    if (status != kEndOfFile) Note(status);
    std::int64_t records = 0;
    Note(Disturbed([&] { return file.Count(&records); }));
    Note(Disturbed([&] { return file.Snapshot([](const auto&) { return true; }); }));
  }

  void Both(RecordFile& file) {
    Transaction transaction(file);
    Note(transaction.begun());
    if (transaction.begun() != kOk) return;
    Entry entries[2];
    Status status = kOk;
    for (Entry& entry : entries) {
      ++round_;
      unsure_.insert(round_);
      const SmallRecord record("both", round_);
      if (status == kOk) status = Disturbed([&] { return file.Insert(record.bytes, &entry); });
    }
    if (status == kOk) status = Disturbed([&] { return transaction.Commit(); });
    Note(status);
    if (status != kOk) return;
    standing_[round_ - 1] = entries[0];
    standing_[round_] = entries[1];
  }

  // With nothing failing: the file opens and holds what was acknowledged, each once.
  void Audit() {
    const FilePlan plan = g_file_plan;
    g_file_plan = {};
    FilePointer file;
    ASSERT_EQ(RecordFile::Open(Path(), {}, &file), kOk);
    std::map<std::int64_t, std::int64_t> found;  // number of the record, place
    ASSERT_EQ(file->Snapshot([&](const RecordFile::Seen& seen) {
      SmallRecord record;
      EXPECT_TRUE(seen.ok);
      if (seen.ok) std::memcpy(record.bytes, seen.record.data(), kSmallRecord);
      EXPECT_TRUE(found.emplace(record.number(), seen.number).second);
      return true;
    }),
              kOk);
    for (const auto& [number, entry] : standing_) {
      const auto at = found.find(number);
      ASSERT_TRUE(at != found.end() && at->second == entry.number) << number;
    }
    for (const auto& [number, place] : found) {
      EXPECT_TRUE(standing_.contains(static_cast<int>(number)) ||
                  unsure_.contains(static_cast<int>(number)))
          << number;
    }
    std::string problem;
    EXPECT_EQ(file->Check(&problem, {}), kOk);
    EXPECT_EQ(problem, "");
    g_file_plan = plan;
  }

  // Everything that stands, thrown away, so that the file stays small.
  void Clear() {
    FilePointer file;
    ASSERT_EQ(RecordFile::Open(Path(), {}, &file), kOk);
    Transaction transaction(*file);
    Entry entry;
    SmallRecord record;
    while (file->Find(0, Seek::kFirst, {}, &entry, record.bytes) == kOk) {
      ASSERT_EQ(file->Delete(entry), kOk);
    }
    ASSERT_EQ(transaction.Commit(), kOk);
    standing_.clear();
    unsure_.clear();
  }

  int failures_ = 0;

 private:
  int round_ = 0;
  std::map<int, Entry> standing_;
  std::set<int> unsure_;
};

TEST_F(StoreFault, LosesNothingWhicheverFileCallFails) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  for (const FileCall call : kFileCalls) {
    std::vector<int> results{SQLITE_IOERR};
    if (call == FileCall::kWrite) results = {SQLITE_IOERR_WRITE, SQLITE_FULL};
    if (call == FileCall::kSync) results = {SQLITE_IOERR_FSYNC};
    if (call == FileCall::kShmLock || call == FileCall::kLock)
      results = {SQLITE_BUSY, SQLITE_IOERR};
    for (const int result : results) {
      for (const bool from_then_on : {false, true}) {
        // SQLite waits ten seconds of its own before it believes that a log is held for ever.
        if (result == SQLITE_BUSY && from_then_on) continue;
        for (int nth = 1; nth < 2000; ++nth) {
          g_file_plan = {call, nth, from_then_on, result};
          Work();
          const bool triggered = g_file_plan.triggered;
          EXPECT_TRUE(triggered || failures_ == 0);
          g_file_plan = {};
          Audit();
          if (HasFailure()) {
            FAIL() << "call " << static_cast<int>(call) << " nth " << nth << " result " << result;
          }
          if (nth % 5 == 0) Clear();
          if (!triggered) break;
          ASSERT_LT(nth, 1999) << static_cast<int>(call) << " " << result << " " << from_then_on;
        }
      }
    }
  }
}

TEST_F(StoreFault, MakesAWholeFileOrNoneWhicheverFileCallFails) {
  for (const FileCall call : kFileCalls) {
    for (int nth = 1; nth < 1000; ++nth) {
      const std::string path = Path(("c" + std::to_string(nth)).c_str());
      g_file_plan = {call, nth, true, call == FileCall::kWrite ? SQLITE_FULL : SQLITE_IOERR};
      const Status created = RecordFile::Create(path, SmallDescription(), {});
      const bool triggered = g_file_plan.triggered;
      g_file_plan = {};
      // What fails after the file has its name is the making of its log, which can wait.
      FilePointer file;
      ASSERT_EQ(RecordFile::Open(path, {}, &file), created == kOk ? kOk : kNoSuchFile)
          << static_cast<int>(call) << " " << nth;
      ASSERT_TRUE(triggered || created == kOk);
      file.reset();
      for (const auto& entry : fs::directory_iterator(spool_.queue())) {
        ASSERT_EQ(entry.path().string().find("-new"), std::string::npos) << entry.path();
      }
      fs::remove_all(spool_.queue());
      fs::create_directory(spool_.queue());
      if (!triggered) break;
    }
  }
}

TEST_F(StoreFault, MakesAWholeFileOrNoneWhicheverSystemCallFails) {
  for (const os::Call call :
       {os::Call::kOpen, os::Call::kClose, os::Call::kWrite, os::Call::kStat, os::Call::kFlush,
        os::Call::kRename, os::Call::kRemove, os::Call::kLock, os::Call::kMode, os::Call::kRead}) {
    Status created = kOk;
    FailEachCall(
        call,
        [&] {
          fs::remove_all(spool_.queue());
          fs::create_directory(spool_.queue());
          created = RecordFile::Create(Path(), SmallDescription(), {"root"});
        },
        [&](bool triggered) {
          ASSERT_TRUE(triggered || created == kOk);
          FilePointer file;
          const Status opened = RecordFile::Open(Path(), {}, &file);
          // The name may stand although the directory could not be flushed.
          ASSERT_TRUE(opened == kOk || (opened == kNoSuchFile && created != kOk))
              << static_cast<int>(call) << " " << created << " " << opened;
        });
  }
}

TEST_F(StoreFault, SaysThatMemoryIsShortAndLosesNothing) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  int rounds = 0;
  FailEachAllocation([&] { Work(); },
                     [&](bool triggered) {
                       EXPECT_TRUE(triggered || failures_ == 0);
                       Audit();
                       if (++rounds % 10 == 0) Clear();
                       ASSERT_FALSE(HasFailure()) << rounds;
                     });
}

TEST_F(StoreFault, MakesAWholeFileOrNoneWhenMemoryIsShort) {
  Status created = kOk;
  const std::string path = Path();
  const FileDescription description = SmallDescription();
  FailEachAllocation(
      [&] { created = RecordFile::Create(path, description, {}); },
      [&](bool triggered) {
        ASSERT_TRUE(triggered || created == kOk);
        // SQLite may keep to its journal without a word when it has no memory for a log.
        ASSERT_TRUE(created == kOk || created == kNoMemory || created == kIoError) << created;
        FilePointer file;
        ASSERT_EQ(RecordFile::Open(Path(), {}, &file), created == kOk ? kOk : kNoSuchFile);
        file.reset();
        fs::remove_all(spool_.queue());
        fs::create_directory(spool_.queue());
      });
}

// What the system did with unsynced bytes is unknown, and a second sync would not tell.
TEST_F(StoreFault, WritesNoMoreAfterAFailedSyncUntilOpenedAnew) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  FilePointer file = OpenIt();
  Entry entry;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
  g_file_plan = {FileCall::kSync, 1, false, SQLITE_IOERR_FSYNC};
  EXPECT_EQ(file->Insert(SmallRecord("b", 2).bytes, &entry), kIoError);
  g_file_plan = {};
  EXPECT_EQ(file->Insert(SmallRecord("c", 3).bytes, &entry), kIoError);
  EXPECT_EQ(file->AddMark("c", 3), kIoError);
  SmallRecord record;
  EXPECT_EQ(file->Find(0, Seek::kEqual, "a", &entry, record.bytes), kOk);
  const FilePointer fresh = OpenIt();
  EXPECT_EQ(file->Insert(SmallRecord("d", 4).bytes, &entry), kIoError);
  EXPECT_EQ(fresh->Insert(SmallRecord("e", 5).bytes, &entry), kOk);
  EXPECT_EQ(fresh->Find(0, Seek::kEqual, "a", &entry, record.bytes), kOk);
}

TEST_F(StoreFault, SaysThatTheDiskIsFullAndGoesOnWhenItIsNot) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  const FilePointer file = OpenIt();
  Entry entry;
  g_file_plan = {FileCall::kWrite, 1, true, SQLITE_FULL};
  EXPECT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kDiskFull);
  g_file_plan = {};
  EXPECT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

TEST_F(StoreFault, IsDamagedForEverOnceFoundSo) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  FilePointer file = OpenIt();
  Entry entry;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
  g_file_plan = {FileCall::kShmMap, 1, false, SQLITE_CORRUPT};
  g_file_plan.call = FileCall::kShmLock;
  EXPECT_EQ(file->Insert(SmallRecord("b", 2).bytes, &entry), kNotOurFile);
  g_file_plan = {};
  SmallRecord record;
  std::int64_t records = 0;
  EXPECT_EQ(file->Find(0, Seek::kFirst, {}, &entry, record.bytes), kNotOurFile);
  EXPECT_EQ(file->Count(&records), kNotOurFile);
  const std::string log = TempSpool::Read(Path() + "-wal");
  EXPECT_EQ(file->Insert(record.bytes, &entry), kNotOurFile);
  EXPECT_EQ(file->Delete(entry), kNotOurFile);
  EXPECT_EQ(Transaction(*file).begun(), kNotOurFile);
  EXPECT_EQ(file->Checkpoint(), kNotOurFile);
  EXPECT_TRUE(TempSpool::Read(Path() + "-wal") == log);
  file.reset();
  EXPECT_EQ(OpenIt()->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

// After some errors SQLite undoes all of a transaction by itself; what follows must not stand
// alone.
TEST_F(StoreFault, DoesNotCommitTheRestOfABrokenTransaction) {
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {}), kOk);
  const FilePointer file = OpenIt();
  Entry entry;
  {
    Transaction transaction(*file);
    ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
    g_file_plan = {FileCall::kWrite, 1, false, SQLITE_FULL};
    EXPECT_EQ(transaction.Commit(), kDiskFull);
    g_file_plan = {};
    EXPECT_EQ(file->Insert(SmallRecord("b", 2).bytes, &entry), kOk);  // a change by itself
  }
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

}  // namespace
}  // namespace qob::testing
