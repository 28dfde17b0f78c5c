// A connection does not survive a fork; the file behind it does.
#include <unistd.h>

#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "platform/store_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;

constexpr OpenOptions kQuick{Durability::kSystem, false};

class StoreFork : public StoreFile {
 protected:
  // `count` records of that text, each on its own.
  static int Write(RecordFile& file, const char* text, int count) {
    for (int i = 0; i < count; ++i) {
      Entry entry;
      if (file.Insert(SmallRecord(text, i).bytes, &entry) != kOk) return 1;
    }
    return 0;
  }
  // What a process finds that has nothing to do with the others.
  void ExpectAll(int of_parent, int of_child) const {
    EXPECT_EQ(InChild([&] {
                FilePointer file;
                if (RecordFile::Open(Path(), {}, &file) != kOk) return 1;
                std::map<std::string, std::map<int, int>> seen;
                const Status status = file->Snapshot([&](const RecordFile::Seen& one) {
                  SmallRecord record;
                  if (one.ok) std::memcpy(record.bytes, one.record.data(), kSmallRecord);
                  ++seen[record.text()][record.number()];
                  return true;
                });
                std::string problem;
                if (status != kOk || file->Check(&problem, {}) != kOk || !problem.empty()) return 2;
                if (seen["parent"].size() != static_cast<std::size_t>(of_parent)) return 3;
                if (seen["child"].size() != static_cast<std::size_t>(of_child)) return 4;
                std::int64_t records = 0;
                return file->Count(&records) == kOk && records == of_parent + of_child ? 0 : 5;
              }),
              0);
  }
};

TEST_F(StoreFork, EveryCallOnAnOldHandleSaysItIsNotOpen) {
  const FilePointer file = MakeAndOpen();
  Entry entry;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
  EXPECT_EQ(InChild([&] {
              SmallRecord record;
              std::int64_t records = 0;
              Mark mark;
              bool found = false;
              std::string text;
              const auto seen = [](const RecordFile::Seen&) { return true; };
              const auto marked = [](const Mark&) { return true; };
              const Status statuses[] = {file->Find(0, Seek::kFirst, {}, &entry, record.bytes),
                                         file->Next(0, "a", 1, &entry, record.bytes),
                                         file->Read(1, 0, &entry, record.bytes),
                                         file->Insert(record.bytes, &entry),
                                         file->Update(&entry, record.bytes),
                                         file->Delete(entry),
                                         file->Count(&records),
                                         file->Snapshot(seen),
                                         file->AddMark("a", 1),
                                         file->RemoveMark("a", 1),
                                         file->NextMark("a", 0, &mark),
                                         file->HasMark(1, &found),
                                         file->AllMarks(marked),
                                         file->PutNote(1, "a"),
                                         file->GetNote(1, &text),
                                         file->RemoveNote(1),
                                         file->Check(&text, {}),
                                         file->Checkpoint(),
                                         Transaction(*file).begun()};
              for (const Status status : statuses) {
                if (status != kNotOpen) return 1;
              }
              return 0;
            }),
            0);
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

TEST_F(StoreFork, EndsATransactionInTheParentAlone) {
  const FilePointer file = MakeAndOpen();
  {
    Transaction transaction(*file);
    ASSERT_EQ(Write(*file, "parent", 5), 0);
    EXPECT_EQ(InChild([&] { return transaction.Commit() == kNotOpen ? 0 : 1; }), 0);
    ASSERT_EQ(transaction.Commit(), kOk);
  }
  ExpectAll(5, 0);
}

TEST_F(StoreFork, LeavesTheFileToTheParentWhenTheChildLetsItsHandleGo) {
  FilePointer file = MakeAndOpen();
  ASSERT_EQ(Write(*file, "parent", 5), 0);
  EXPECT_EQ(InChild([&] {
              file.reset();
              return 0;
            }),
            0);
  ASSERT_EQ(Write(*file, "parent", 3), 0);
}

// Locks of a process are lost when it closes any descriptor of the file, and a child has its
// parent's; both must go on excluding each other.
TEST_F(StoreFork, ParentAndChildWriteAlternately) {
  MakeAndOpen();
  FilePointer file = OpenIt(kQuick);
  SetLogLimitPages(50);
  ASSERT_EQ(Write(*file, "before", 3), 0);
  const pid_t child = Spawn([&] {
    if (file->Checkpoint() != kNotOpen) return 1;
    FilePointer own;
    if (RecordFile::Open(Path(), kQuick, &own) != kOk) return 2;
    file.reset();
    return Write(*own, "child", 2000);
  });
  EXPECT_EQ(Write(*file, "parent", 2000), 0);
  EXPECT_EQ(Wait(child), 0);
  SetLogLimitPages(kLogLimitPages);
  for (int i = 0; i < 3; ++i) {
    Entry entry;
    SmallRecord record;
    ASSERT_EQ(file->Find(0, Seek::kEqual, "before", &entry, record.bytes), kOk);
    ASSERT_EQ(file->Delete(entry), kOk);
  }
  file.reset();
  ExpectAll(2000, 2000);
}

TEST_F(StoreFork, AChildWaitsForItsParentsTransaction) {
  const FilePointer file = MakeAndOpen();
  Transaction transaction(*file);
  ASSERT_EQ(Write(*file, "parent", 1), 0);
  EXPECT_EQ(InChild([&] {
              FilePointer own;
              if (RecordFile::Open(Path(), {}, &own) != kOk) return 1;
              SetWaitMs(50);
              Entry entry;
              if (own->Insert(SmallRecord("child", 1).bytes, &entry) != kBusy) return 2;
              std::int64_t records = -1;
              return own->Count(&records) == kOk && records == 0 ? 0 : 3;
            }),
            0);
  ASSERT_EQ(transaction.Commit(), kOk);
}

// Locks that the child believed to have from its parent would end with the parent: whoever comes
// and goes then would think that he was the last, and take the log away.
TEST_F(StoreFork, AChildGoesOnWhenItsParentHasGoneAndAnotherComesAndGoes) {
  MakeAndOpen();
  int from_child[2];
  int to_child[2];
  ASSERT_EQ(pipe(from_child), 0);
  ASSERT_EQ(pipe(to_child), 0);
  const auto tell = [](int to, int what) {
    const char byte = static_cast<char>(what);
    return write(to, &byte, 1) == 1;
  };
  const auto hear = [](int from) {
    char byte = 99;
    return read(from, &byte, 1) == 1 ? byte : 98;
  };
  EXPECT_EQ(InChild([&] {
              FilePointer file;
              if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 1;
              if (Write(*file, "parent", 100) != 0) return 2;
              const pid_t parent = getpid();
              const pid_t grandchild = fork();
              if (grandchild != 0) return grandchild > 0 ? 0 : 3;
              FilePointer own;
              int result = RecordFile::Open(Path(), kQuick, &own) == kOk ? 0 : 1;
              if (result == 0) result = Write(*own, "before", 100);
              while (getppid() == parent) std::this_thread::sleep_for(std::chrono::milliseconds(1));
              tell(from_child[1], result);
              hear(to_child[0]);
              if (result == 0) result = Write(*own, "child", 100);
              own.reset();
              _exit(tell(from_child[1], result) ? 0 : 1);
            }),
            0);
  EXPECT_EQ(hear(from_child[0]), 0);
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, "SELECT * FROM records", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(sqlite3_close(db), SQLITE_OK);
  EXPECT_TRUE(tell(to_child[1], 0));
  EXPECT_EQ(hear(from_child[0]), 0);
  for (const int end : {from_child[0], from_child[1], to_child[0], to_child[1]}) close(end);
  const FilePointer file = OpenIt();
  std::map<std::string, std::map<int, int>> seen;
  EXPECT_EQ(file->Snapshot([&](const RecordFile::Seen& one) {
    SmallRecord record;
    std::memcpy(record.bytes, one.record.data(), kSmallRecord);
    EXPECT_EQ(++seen[record.text()][record.number()], 1);
    return one.ok;
  }),
            kOk);
  for (const char* text : {"parent", "before", "child"}) EXPECT_EQ(seen[text].size(), 100U) << text;
  std::string problem;
  EXPECT_EQ(file->Check(&problem, {}), kOk);
  EXPECT_EQ(problem, "");
}

TEST_F(StoreFork, AGrandchildOpensItAnewToo) {
  FilePointer file = MakeAndOpen();
  EXPECT_EQ(InChild([&] {
              FilePointer child;
              if (RecordFile::Open(Path(), {}, &child) != kOk) return 1;
              return InChild([&] {
                if (Write(*file, "x", 1) != 1 || Write(*child, "x", 1) != 1) return 2;
                FilePointer grandchild;
                if (RecordFile::Open(Path(), {}, &grandchild) != kOk) return 3;
                return Write(*grandchild, "child", 10);
              });
            }),
            0);
  ExpectAll(0, 10);
}

}  // namespace
}  // namespace qob::testing
