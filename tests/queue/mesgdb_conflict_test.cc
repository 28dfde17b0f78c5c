// Updates and removals that meet a change by somebody else between their reading and their writing,
// and what they log of it.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/errors.h>
#include <qobplatform/btrcall.h>

#include "mesgdb_support.h"

namespace {

using namespace qob::testing;
using Lines = std::vector<LogLine>;

constexpr char kClient[] = "queue test";

class MesgdbConflict : public MessageDatabaseTest {
 protected:
  void SetUp() override {
    MessageDatabaseTest::SetUp();
    ASSERT_EQ(OpenMesgFile(nullptr, &other_), 0);
  }
  void TearDown() override {
    CloseMesgFile(&other_);
    MessageDatabaseTest::TearDown();
  }
  // Somebody else changes the record.
  void Disturb(const char* key, const char* address) {
    MesgRecord record;
    ASSERT_EQ(FindMesgRecord(&other_, key, &record), 0);
    Fill(record.address, address);
    ASSERT_EQ(UpdateCurrentMesgRecordByKey(&other_, &record, 0), 0);
  }
  void DeleteElsewhere(const char* key) {
    MesgRecord record;
    ASSERT_EQ(FindMesgRecord(&other_, key, &record), 0);
    ASSERT_EQ(DeleteCurrentMesgRecordByKey(&other_, 0), 0);
  }
  std::string Stored(const char* key) {
    MesgRecord record;
    return FindMesgRecord(&other_, key, &record) == 0 ? record.address : "none";
  }

  MesgHandle other_{};
};

TEST_F(MesgdbConflict, AnUpdateIsTriedOnceMore) {
  Put("0001A2B3F", "old");
  const MesgRecord ours = Record("0001A2B3F", "ours");
  const BeforeWrites writes([&](int n) {
    if (n == 1) Disturb("0001a2b3f", "theirs");
  });
  EXPECT_EQ(UpdateMesgRecord(&db_, "0001A2B3F", &ours), 0);
  EXPECT_EQ(writes.count(), 2);
  EXPECT_EQ(Stored("0001a2b3f"), "ours");
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "UpdateMesgRecord 0001A2B3F failed: 80"}}))
      << "with the key as the caller gave it";
}

TEST_F(MesgdbConflict, AnUpdateThatMeetsItTwiceGives80) {
  Put("0001A2B3F", "old");
  const MesgRecord ours = Record("0001a2b3f", "ours");
  const BeforeWrites writes([&](int n) { Disturb("0001a2b3f", n == 1 ? "first" : "second"); });
  EXPECT_EQ(UpdateMesgRecord(&db_, "0001a2b3f", &ours), 80);
  EXPECT_EQ(writes.count(), 2) << "no further try";
  EXPECT_EQ(Stored("0001a2b3f"), "second");
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "UpdateMesgRecord 0001a2b3f failed: 80"}}));
}

TEST_F(MesgdbConflict, AnUpdateWhoseRecordIsGoneGivesTheStatusOfReadingAgain) {
  Put("aF", "old");
  const MesgRecord ours = Record("aF", "ours");
  const BeforeWrites writes([&](int) { DeleteElsewhere("af"); });
  EXPECT_EQ(UpdateMesgRecord(&db_, "aF", &ours), 4);
  EXPECT_EQ(writes.count(), 1);
  EXPECT_EQ(Stored("af"), "none") << "nothing was brought back";
  EXPECT_EQ(log_.texts(1), (std::vector<std::string>{"UpdateMesgRecord aF failed: 80"}));
}

TEST_F(MesgdbConflict, AnUpdateThatFindsNothingWritesAndLogsNothing) {
  Put("aF", "old");
  const MesgRecord ours = Record("bF", "ours");
  const BeforeWrites writes([](int) {});
  EXPECT_EQ(UpdateMesgRecord(&db_, "bF", &ours), 4);
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, "b", &ours, 1), 4);
  EXPECT_EQ(writes.count(), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MesgdbConflict, UpdateReadsNothingIntoTheCallersRecord) {
  Put("0001A2B3F", "old", "dir", "state");
  const MesgRecord ours = Record("0001A2B3F", "Ours", "Dir", "State");
  const MesgRecord before = ours;
  EXPECT_EQ(UpdateMesgRecord(&db_, "0001A2B3F", &ours), 0);
  EXPECT_TRUE(SameBytes(ours, before)) << "capitals in its key included";
  MesgRecord read;
  ASSERT_EQ(FindMesgRecord(&db_, "0001a2b3f", &read), 0);
  EXPECT_TRUE(SameBytes(read, Record("0001a2b3f", "Ours", "Dir", "State")))
      << "the stored key is lower-case, all else as given";
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, "state", &ours, 2), 0);
  EXPECT_TRUE(SameBytes(ours, before));
  ASSERT_EQ(FindMesgRecord(&db_, "0001a2b3f", &read), 0);
  EXPECT_STREQ(read.key, "0001a2b3f");
}

TEST_F(MesgdbConflict, UpdateByKeyReplacesTheFirstOfItsIndex) {
  Put("a", "one", "dir", "state");
  Put("b", "two", "dir", "state");
  const MesgRecord ours = Record("C", "ours", "dir", "state");
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, "STATE", &ours, 2), 0);
  EXPECT_EQ(Stored("a"), "none");
  EXPECT_EQ(Stored("c"), "ours");
  EXPECT_EQ(Stored("b"), "two");
}

TEST_F(MesgdbConflict, UpdateByKeyReadsAgainWithFifteenCharacters) {
  const std::string fifteen(15, 's');
  Put("a", "old", "dir", fifteen + "six");
  Put("z", "short", "dir", fifteen);
  const MesgRecord ours = Record("a", "ours", "dir", fifteen + "six");
  const std::string value = fifteen + "SIX";
  {
    const BeforeWrites writes([&](int n) {
      if (n == 1) Disturb("a", "theirs");
    });
    EXPECT_EQ(UpdateMesgRecordByKey(&db_, value.c_str(), &ours, 2), 0);
  }
  EXPECT_EQ(Stored("z"), "none") << "the record of the shorter text was the one found again";
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "UpdateMesgRecord " + value + " failed: 80"}}));
  {
    const BeforeWrites writes([&](int) { Disturb("a", "theirs again"); });
    EXPECT_EQ(UpdateMesgRecordByKey(&db_, value.c_str(), &ours, 2), 4) << "nobody has that text";
  }
}

TEST_F(MesgdbConflict, UpdateByKeyOnTheFirstIndexTwiceGives80) {
  Put("a", "old");
  const MesgRecord ours = Record("a", "ours");
  const BeforeWrites writes([&](int n) { Disturb("a", n == 1 ? "x" : "y"); });
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, "A", &ours, 0), 80);
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "UpdateMesgRecord A failed: 80"}}));
}

TEST_F(MesgdbConflict, RemoveFillsTheRecordAndDeletesTheFirst) {
  Put("aR", "one");
  Put("aR", "two");
  MesgRecord record;
  EXPECT_EQ(RemoveMesgRecord(&db_, "AR", &record), 0);
  EXPECT_STREQ(record.address, "one");
  EXPECT_EQ(Stored("ar"), "two");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MesgdbConflict, RemoveOfWhatIsNotThereIsADetail) {
  MesgRecord record;
  EXPECT_EQ(RemoveMesgRecord(&db_, "0001A2B3F", &record), 4);
  EXPECT_EQ(log_.lines(), (Lines{{6, kClient, "RemoveMesgRecord: 0001A2B3F"}}));
}

TEST_F(MesgdbConflict, RemoveIsTriedOnceMore) {
  Put("aF", "old");
  MesgRecord record;
  const BeforeWrites writes([&](int n) {
    if (n == 1) Disturb("af", "theirs");
  });
  EXPECT_EQ(RemoveMesgRecord(&db_, "aF", &record), 0);
  EXPECT_EQ(writes.count(), 2);
  EXPECT_STREQ(record.address, "theirs");
  EXPECT_EQ(Stored("af"), "none");
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "RemoveMesgRecord aF failed: 80"},
                                 {1, kClient, "RemoveMesgRecord aF"}}));
}

TEST_F(MesgdbConflict, RemoveThatMeetsItTwiceGives80) {
  Put("aF", "old");
  MesgRecord record;
  const BeforeWrites writes([&](int n) { Disturb("af", n == 1 ? "first" : "second"); });
  EXPECT_EQ(RemoveMesgRecord(&db_, "aF", &record), 80);
  EXPECT_EQ(writes.count(), 2);
  EXPECT_EQ(Stored("af"), "second");
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "RemoveMesgRecord aF failed: 80"},
                                 {1, kClient, "RemoveMesgRecord aF"}}));
}

TEST_F(MesgdbConflict, RemoveWhoseRecordIsGoneGivesTheStatusOfReadingAgain) {
  Put("aF", "old");
  MesgRecord record;
  const BeforeWrites writes([&](int) { DeleteElsewhere("af"); });
  EXPECT_EQ(RemoveMesgRecord(&db_, "aF", &record), 4);
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "RemoveMesgRecord aF failed: 80"}}));
}

TEST_F(MesgdbConflict, AnotherFailureOfRemoveIsLoggedAndGivenAtOnce) {
  Put("aF", "old");
  MesgHandle reader{};
  std::string path = spool_.queue() + "\\mesg.btr";
  ASSERT_EQ(BTRCALL(B_OPEN, &reader, nullptr, nullptr, path.data(), 255, -2), 0);
  MesgRecord record;
  EXPECT_EQ(RemoveMesgRecord(&reader, "aF", &record), 46);
  EXPECT_EQ(log_.lines(), (Lines{{1, kClient, "RemoveMesgRecord aF failed: 46"}}));
  EXPECT_EQ(Stored("af"), "old");
  const MesgRecord ours = Record("aF", "ours");
  EXPECT_EQ(UpdateMesgRecord(&reader, "aF", &ours), 46);
  EXPECT_EQ(log_.lines().size(), 1U) << "an update logs its conflicts alone";
  EXPECT_EQ(CloseMesgFile(&reader), 0);
}

TEST_F(MesgdbConflict, AClosedHandleIsLoggedByRemoveAlone) {
  Put("aF", "old");
  ASSERT_EQ(CloseMesgFile(&db_), 0);
  MesgRecord record = Record("aF", "ours");
  EXPECT_EQ(RemoveMesgRecord(&db_, "aF", &record), 3);
  EXPECT_EQ(UpdateMesgRecord(&db_, "aF", &record), 3);
  EXPECT_EQ(log_.lines(), (Lines{{6, kClient, "RemoveMesgRecord: aF"}}));
}

// What an operator reads beside those lines.
TEST(MesgdbStatuses, HaveTheirTexts) {
  EXPECT_STREQ(ShowBtrError(3), "The Btrieve database file is not open.");
  EXPECT_STREQ(ShowBtrError(4), "[Reason] No such a record is found in the database.");
  EXPECT_STREQ(ShowBtrError(9), "Btrieve database message : #9");
  EXPECT_STREQ(ShowBtrError(12), "Btrieve cannot find the specified file.");
  EXPECT_STREQ(ShowBtrError(18), "The disk is full.");
  EXPECT_STREQ(ShowBtrError(30), "The file specified is not a Btrieve file.");
  EXPECT_STREQ(ShowBtrError(46), "Access to the requested file is denied.");
  EXPECT_STREQ(ShowBtrError(59), "The specified file already exists.");
  EXPECT_STREQ(ShowBtrError(80), "Btrieve encountered a record-level conflict.");
  EXPECT_STREQ(ShowBtrError(84), "The record or page is locked.");
  EXPECT_STREQ(ShowBtrError(87), "The handle table is full.");
}

}  // namespace
