// The record engine: what each call finds, changes and says.
#include "platform/store/record_file.h"

#include <gtest/gtest.h>

#include "platform/store_fixture.h"

namespace qob::testing {
namespace {

using namespace store;

TEST_F(StoreFile, FindsWhatWasInsertedByEveryIndex) {
  const FilePointer file = MakeAndOpen();
  const SmallRecord record("Alpha", -7, "word", "rest");
  Entry made;
  ASSERT_EQ(file->Insert(record.bytes, &made), kOk);
  EXPECT_EQ(made.number, 1);
  SmallRecord found;
  Entry entry;
  EXPECT_EQ(file->Find(0, Seek::kEqual, Key(*file, 0, "ALPHA"), &entry, found.bytes), kOk);
  EXPECT_EQ(found, record);
  EXPECT_EQ(entry.key, "alpha");
  EXPECT_EQ(entry.number, made.number);
  EXPECT_EQ(entry.version, made.version);
  found = {};
  EXPECT_EQ(file->Find(1, Seek::kEqual, Key(*file, 1, -7), &entry, found.bytes), kOk);
  EXPECT_EQ(found, record);
  EXPECT_EQ(file->Find(2, Seek::kEqual, "word", &entry, found.bytes), kOk);
  EXPECT_EQ(file->Find(2, Seek::kEqual, "Word", &entry, found.bytes), kNotFound);
}

TEST_F(StoreFile, WalksDuplicatesInOrderOfInsertion) {
  const FilePointer file = MakeAndOpen();
  const char* texts[] = {"b", "a", "b", "c", "b", "a"};
  Entry made;
  for (int i = 0; i < 6; ++i) {
    ASSERT_EQ(file->Insert(SmallRecord(texts[i], i).bytes, &made), kOk);
  }
  std::vector<int> order;
  SmallRecord record;
  Entry entry;
  Status status = file->Find(0, Seek::kFirst, {}, &entry, record.bytes);
  while (status == kOk) {
    order.push_back(record.number());
    status = file->Next(0, entry.key, entry.number, &entry, record.bytes);
  }
  EXPECT_EQ(status, kEndOfFile);
  EXPECT_EQ(order, (std::vector<int>{1, 5, 0, 2, 4, 3}));
}

TEST_F(StoreFile, SeesAChangeByAnotherAsAConflict) {
  const FilePointer file = MakeAndOpen();
  const FilePointer other = OpenIt();
  Entry made;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &made), kOk);
  Entry theirs = made;
  ASSERT_EQ(other->Update(&theirs, SmallRecord("a", 2).bytes), kOk);
  EXPECT_NE(theirs.version, made.version);
  EXPECT_EQ(file->Update(&made, SmallRecord("a", 3).bytes), kConflict);
  EXPECT_EQ(file->Delete(made), kConflict);
  EXPECT_EQ(file->Delete(theirs), kOk);
  EXPECT_EQ(file->Update(&theirs, SmallRecord("a", 4).bytes), kConflict);
  EXPECT_EQ(file->Delete(theirs), kConflict);
}

TEST_F(StoreFile, UndoesATransactionThatDoesNotCommit) {
  const FilePointer file = MakeAndOpen();
  Entry made;
  {
    Transaction transaction(*file);
    ASSERT_EQ(transaction.begun(), kOk);
    ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &made), kOk);
    ASSERT_EQ(file->AddMark("channel", 5), kOk);
  }
  std::int64_t records = -1;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 0);
  bool found = true;
  EXPECT_EQ(file->HasMark(5, &found), kOk);
  EXPECT_FALSE(found);
  {
    Transaction transaction(*file);
    ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &made), kOk);
    ASSERT_EQ(transaction.Commit(), kOk);
  }
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

TEST_F(StoreFile, ShowsEveryRecordInOrderOfInsertion) {
  const FilePointer file = MakeAndOpen();
  Entry made;
  for (int i = 0; i < 10; ++i) ASSERT_EQ(file->Insert(SmallRecord("x", i).bytes, &made), kOk);
  int next = 0;
  EXPECT_EQ(file->Snapshot([&](const RecordFile::Seen& seen) {
    SmallRecord record;
    EXPECT_TRUE(seen.ok);
    std::memcpy(record.bytes, seen.record.data(), seen.record.size());
    EXPECT_EQ(record.number(), next++);
    return true;
  }),
            kOk);
  EXPECT_EQ(next, 10);
}

}  // namespace
}  // namespace qob::testing
