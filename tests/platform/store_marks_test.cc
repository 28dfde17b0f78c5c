// Marks and notes, and the smaller rules of the calls.
#include <gtest/gtest.h>

#include "platform/store_fixture.h"

namespace qob::testing {
namespace {

using namespace store;

TEST_F(StoreFile, KeepsMarksInTheOrderInWhichTheyWereMade) {
  const FilePointer file = MakeAndOpen();
  ASSERT_EQ(file->AddMark("b", 7), kOk);
  ASSERT_EQ(file->AddMark("a", 9), kOk);
  ASSERT_EQ(file->AddMark("a", 7), kOk);
  ASSERT_EQ(file->AddMark("a", 0xFFFFFFFF), kOk);
  EXPECT_EQ(file->AddMark("a", 7), kDuplicateKey);
  std::vector<std::uint32_t> ids;
  Mark mark;
  Status status;
  while ((status = file->NextMark("a", mark.order, &mark)) == kOk) ids.push_back(mark.id);
  EXPECT_EQ(status, kEndOfFile);
  EXPECT_EQ(ids, (std::vector<std::uint32_t>{9, 7, 0xFFFFFFFF}));
  EXPECT_EQ(file->NextMark("c", 0, &mark), kEndOfFile);
  std::vector<std::string> names;
  EXPECT_EQ(file->AllMarks([&](const Mark& one) {
    names.push_back(one.name + std::to_string(one.id));
    return names.size() < 3;
  }),
            kOk);
  EXPECT_EQ(names, (std::vector<std::string>{"b7", "a9", "a7"}));
}

TEST_F(StoreFile, RemovesOneMarkAndNeverGivesItsOrderAgain) {
  const FilePointer file = MakeAndOpen();
  bool found = false;
  EXPECT_EQ(file->RemoveMark("a", 1), kNotFound);
  ASSERT_EQ(file->AddMark("a", 1), kOk);
  ASSERT_EQ(file->AddMark("b", 1), kOk);
  Mark first;
  ASSERT_EQ(file->NextMark("b", 0, &first), kOk);
  EXPECT_EQ(file->RemoveMark("b", 1), kOk);
  EXPECT_EQ(file->RemoveMark("b", 1), kNotFound);
  EXPECT_EQ(file->HasMark(1, &found), kOk);
  EXPECT_TRUE(found);
  EXPECT_EQ(file->RemoveMark("a", 1), kOk);
  EXPECT_EQ(file->HasMark(1, &found), kOk);
  EXPECT_FALSE(found);
  ASSERT_EQ(file->AddMark("b", 1), kOk);
  Mark again;
  ASSERT_EQ(file->NextMark("b", 0, &again), kOk);
  EXPECT_GT(again.order, first.order);
}

TEST_F(StoreFile, KeepsNotesOfAnyBytes) {
  const FilePointer file = MakeAndOpen();
  const std::string bytes("a\0b\xFF", 4);
  std::string note = "before";
  EXPECT_EQ(file->GetNote(5, &note), kNotFound);
  EXPECT_EQ(file->RemoveNote(5), kNotFound);
  ASSERT_EQ(file->PutNote(5, bytes), kOk);
  ASSERT_EQ(file->PutNote(0xFFFFFFFF, ""), kOk);
  EXPECT_EQ(file->GetNote(5, &note), kOk);
  EXPECT_EQ(note, bytes);
  EXPECT_EQ(file->GetNote(0xFFFFFFFF, &note), kOk);
  EXPECT_EQ(note, "");
  const std::string large(100000, 'x');
  ASSERT_EQ(file->PutNote(5, large), kOk);
  EXPECT_EQ(file->GetNote(5, &note), kOk);
  EXPECT_EQ(note, large);
  EXPECT_EQ(file->RemoveNote(5), kOk);
  EXPECT_EQ(file->GetNote(5, &note), kNotFound);
}

TEST_F(StoreFile, RefusesWrongIndexesAndSizes) {
  const FilePointer file = MakeAndOpen();
  SmallRecord record;
  Entry entry;
  for (const int index : {-1, 3, 1000}) {
    EXPECT_EQ(file->Find(index, Seek::kFirst, {}, &entry, record.bytes), kNoSuchIndex);
    EXPECT_EQ(file->Next(index, {}, 0, &entry, record.bytes), kNoSuchIndex);
    EXPECT_EQ(file->Read(1, index, &entry, record.bytes), kNoSuchIndex);
  }
  const std::span<std::byte> all(record.bytes);
  EXPECT_EQ(file->Find(0, Seek::kFirst, {}, &entry, all.first(63)), kBufferTooShort);
  EXPECT_EQ(file->Insert(all.first(63), &entry), kBufferTooShort);
  EXPECT_EQ(file->Update(&entry, all.first(0)), kBufferTooShort);
}

TEST_F(StoreFile, KeepsAKeyThatMayNotRepeatUnique) {
  FileDescription description = SmallDescription();
  description.keys[0].flags = kKeyModifiable | kKeyExtendedType | kKeyAnyCase;
  const FilePointer file = MakeAndOpen(description);
  Entry first;
  Entry second;
  ASSERT_EQ(file->Insert(SmallRecord("one", 1).bytes, &first), kOk);
  ASSERT_EQ(file->Insert(SmallRecord("two", 2).bytes, &second), kOk);
  Entry refused;
  EXPECT_EQ(file->Insert(SmallRecord("ONE", 3).bytes, &refused), kDuplicateKey);
  EXPECT_EQ(file->Update(&second, SmallRecord("one", 2).bytes), kDuplicateKey);
  EXPECT_EQ(file->Update(&second, SmallRecord("Two", 5).bytes), kOk);
  {
    Transaction transaction(*file);
    EXPECT_EQ(file->Insert(SmallRecord("two", 3).bytes, &refused), kDuplicateKey);
    EXPECT_EQ(file->Insert(SmallRecord("three", 3).bytes, &refused), kOk);
    EXPECT_EQ(transaction.Commit(), kOk);
  }
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 3);
}

TEST_F(StoreFile, WorksWithNoIndexAndWithMany) {
  FileDescription none = SmallDescription();
  none.index_count = 0;
  FilePointer file = MakeAndOpen(none);
  Entry entry;
  SmallRecord record("a", 1);
  EXPECT_EQ(file->Insert(record.bytes, &entry), kOk);
  EXPECT_EQ(file->Update(&entry, record.bytes), kOk);
  EXPECT_EQ(file->Find(0, Seek::kFirst, {}, &entry, record.bytes), kNoSuchIndex);
  EXPECT_EQ(file->Delete(entry), kOk);

  FileDescription many = SmallDescription();
  many.index_count = 40;
  many.keys.assign(40, many.keys[1]);
  for (std::uint16_t i = 0; i < 40; ++i) many.keys[i].position = static_cast<std::uint16_t>(1 + i);
  ASSERT_EQ(RecordFile::Create(Path("many"), many, {}), kOk);
  ASSERT_EQ(RecordFile::Open(Path("many"), {}, &file), kOk);
  ASSERT_EQ(file->Insert(record.bytes, &entry), kOk);
  EXPECT_EQ(file->Find(39, Seek::kFirst, {}, &entry, record.bytes), kOk);
  std::string problem;
  EXPECT_EQ(file->Check(&problem, {}), kOk);
  EXPECT_EQ(problem, "");
}

TEST_F(StoreFile, DoesNotBeginATransactionInATransaction) {
  const FilePointer file = MakeAndOpen();
  Entry entry;
  Transaction outer(*file);
  ASSERT_EQ(outer.begun(), kOk);
  {
    Transaction inner(*file);
    EXPECT_EQ(inner.begun(), kNotAllowed);
    ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
    EXPECT_EQ(inner.Commit(), kNotAllowed);
  }
  EXPECT_EQ(file->Checkpoint(), kNotAllowed);
  EXPECT_EQ(outer.Commit(), kOk);
  EXPECT_EQ(outer.Commit(), kNotAllowed);
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

TEST_F(StoreFile, ReadsButDoesNotWriteWhileItShowsRecords) {
  const FilePointer file = MakeAndOpen();
  Entry entry;
  SmallRecord record("a", 1);
  ASSERT_EQ(file->Insert(record.bytes, &entry), kOk);
  EXPECT_EQ(file->Snapshot([&](const RecordFile::Seen& seen) {
    EXPECT_EQ(file->Read(seen.number, 0, &entry, record.bytes), kOk);
    EXPECT_EQ(file->Insert(record.bytes, &entry), kNotAllowed);
    Transaction transaction(*file);
    EXPECT_EQ(transaction.begun(), kNotAllowed);
    return true;
  }),
            kOk);
  EXPECT_THROW(file->Snapshot([](const RecordFile::Seen&) -> bool { throw 1; }), int);
  EXPECT_EQ(file->Insert(record.bytes, &entry), kOk);
}

}  // namespace
}  // namespace qob::testing
