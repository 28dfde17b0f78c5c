// Indexes that lead elsewhere than they say: found out by whoever follows them.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "platform/store_fixture.h"

namespace qob::testing {
namespace {

using namespace store;

class StoreDamage : public StoreFile {
 protected:
  // Everything in the file, nothing in the log, the trees of the two indexes exchanged.
  void MakeWithExchangedIndexes(int one, int other) const {
    {
      const FilePointer file = MakeAndOpen();
      Entry entry;
      for (int i = 0; i < 20; ++i) {
        const std::string text = "text" + std::to_string(i);
        const std::string word = "word" + std::to_string(20 - i);
        ASSERT_EQ(file->Insert(SmallRecord(text, i, word).bytes, &entry), kOk);
      }
      ASSERT_EQ(file->Checkpoint(), kOk);
    }
    const std::string first = "'records_k" + std::to_string(one) + "'";
    const std::string second = "'records_k" + std::to_string(other) + "'";
    Sql("PRAGMA writable_schema=ON;"
        "CREATE TEMP TABLE root AS SELECT name,rootpage FROM sqlite_schema;"
        "UPDATE sqlite_schema SET rootpage=(SELECT rootpage FROM root WHERE name=" +
        second + ") WHERE name=" + first +
        ";UPDATE sqlite_schema SET rootpage=(SELECT rootpage FROM root WHERE name=" + first +
        ") WHERE name=" + second);
  }
  void Sql(const std::string& sql) const {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(Path().c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    EXPECT_EQ(sqlite3_close(db), SQLITE_OK);
  }
};

TEST_F(StoreDamage, ASearchNeverGivesARecordOfAnotherKey) {
  MakeWithExchangedIndexes(0, 2);
  const FilePointer file = OpenIt();
  Entry entry;
  SmallRecord record;
  EXPECT_EQ(file->Find(0, Seek::kEqual, Key(*file, 0, "word3"), &entry, record.bytes), kNotOurFile);
  EXPECT_EQ(file->Find(0, Seek::kFirst, "", &entry, record.bytes), kNotOurFile);
  EXPECT_EQ(file->Find(2, Seek::kGreater, Key(*file, 2, "a"), &entry, record.bytes), kNotOurFile);
}

TEST_F(StoreDamage, AWalkStopsAtARecordOfAnotherKey) {
  MakeWithExchangedIndexes(0, 2);
  const FilePointer file = OpenIt();
  Entry entry;
  SmallRecord record;
  EXPECT_EQ(file->Next(0, Key(*file, 0, "a"), 1, &entry, record.bytes), kNotOurFile);
}

TEST_F(StoreDamage, TheCheckSaysSo) {
  MakeWithExchangedIndexes(0, 2);
  std::string problem;
  OpenIt()->Check(&problem, nullptr);
  EXPECT_NE(problem, "");
}

TEST_F(StoreDamage, AnotherIndexIsReadAsEver) {
  MakeWithExchangedIndexes(0, 2);
  const FilePointer file = OpenIt();
  Entry entry;
  SmallRecord record;
  Status status = file->Find(1, Seek::kFirst, "", &entry, record.bytes);
  int met = 0;
  for (; status == kOk; ++met) {
    EXPECT_EQ(record.number(), met);
    status = file->Next(1, entry.key, entry.number, &entry, record.bytes);
  }
  EXPECT_EQ(status, kEndOfFile);
  EXPECT_EQ(met, 20);
}

}  // namespace
}  // namespace qob::testing
