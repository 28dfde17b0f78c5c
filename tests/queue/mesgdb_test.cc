// The message database through its exported calls.
#include <qob3xapi/mesgdb.h>

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/errors.h>
#include <qobplatform/btrcall.h>

#include "mesgdb_support.h"
#include "queue/message_database.h"

namespace {

using namespace qob::testing;
using Texts = std::vector<std::string>;

// Calls that find something find this one's address.
class Mesgdb : public MessageDatabaseTest {
 protected:
  std::string Found(const char* key) {
    MesgRecord record;
    const int status = FindMesgRecord(&db_, key, &record);
    return status == 0 ? record.address : "status " + std::to_string(status);
  }
  std::string FoundBy(const std::string& value, int index) {
    MesgRecord record;
    const int status = FindMesgRecordByKey(&db_, value.c_str(), &record, index);
    return status == 0 ? record.address : "status " + std::to_string(status);
  }
  std::string GreaterThan(const std::string& value, int index) {
    MesgRecord record;
    const int status = GetGreaterMesgRecordByKey(&db_, value.c_str(), &record, index);
    return status == 0 ? record.address : "status " + std::to_string(status);
  }
};

TEST_F(Mesgdb, IsFoundByAKeyOfAnyCase) {
  Put("0001A2B3F", "one");
  EXPECT_EQ(Found("0001A2B3F"), "one");
  EXPECT_EQ(Found("0001a2b3f"), "one");
  EXPECT_EQ(Found("0001a2B3F"), "one");
  EXPECT_EQ(Found("0001A2B3R"), "status 4");
}

TEST_F(Mesgdb, InsertLowersTheKeyInTheCallersRecord) {
  MesgRecord record = Record("0001A2B3F", "Mixed@Case.Example", "Queue", "HELD");
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  MesgRecord expected = Record("0001a2b3f", "Mixed@Case.Example", "Queue", "HELD");
  EXPECT_TRUE(SameBytes(record, expected)) << "and nothing else";
  MesgRecord read;
  ASSERT_EQ(FindMesgRecord(&db_, "0001a2b3f", &read), 0);
  EXPECT_TRUE(SameBytes(read, expected));
}

TEST_F(Mesgdb, InsertLowersAlsoAKeyWithoutNul) {
  MesgRecord record{};
  std::memset(record.key, 'K', sizeof record.key);
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  EXPECT_EQ(std::string(record.key, sizeof record.key), std::string(16, 'k'));
  EXPECT_EQ(std::string(record.directoryName), "");
}

TEST_F(Mesgdb, FindLeavesTheCallersKeyAlone) {
  Put("0001A2B3F", "one");
  char key[] = "0001A2B3F";
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, key, &record), 0);
  EXPECT_STREQ(key, "0001A2B3F");
  EXPECT_EQ(FindMesgRecordByKey(&db_, key, &record, 0), 0);
  EXPECT_STREQ(key, "0001A2B3F");
}

TEST_F(Mesgdb, KeysAreCutToFifteenCharacters) {
  Put("123456789abcdef", "fifteen");
  Put("12345", "five");
  EXPECT_EQ(Found("123456789ABCDEF"), "fifteen");
  EXPECT_EQ(Found("123456789ABCDEFGHIJ"), "fifteen");
  EXPECT_EQ(Found(("123456789abcdef" + std::string(1000, 'x')).c_str()), "fifteen");
  EXPECT_EQ(Found("123456789ABCDE"), "status 4");
  EXPECT_EQ(FoundBy("123456789ABCDEFGHIJ", 0), "fifteen");
  MesgRecord changed = Record("123456789abcdef", "changed");
  EXPECT_EQ(UpdateMesgRecord(&db_, "123456789ABCDEFGHIJ", &changed), 0);
  EXPECT_EQ(Found("123456789abcdef"), "changed");
  MesgRecord record;
  EXPECT_EQ(RemoveMesgRecord(&db_, "123456789ABCDEFGHIJ", &record), 0);
  EXPECT_EQ(Found("123456789abcdef"), "status 4");
}

TEST_F(Mesgdb, EqualKeysComeInTheOrderOfInsertion) {
  for (const char* address : {"first", "second", "third"}) Put("aR", address);
  Put("b", "behind");
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "aR", &record), 0);
  Texts met = {record.address};
  while (GetNextMesgRecord(&db_, "whatever", &record) == 0) met.push_back(record.address);
  EXPECT_EQ(met, (Texts{"first", "second", "third", "behind"}));
  EXPECT_EQ(GetNextMesgRecord(&db_, nullptr, &record), 9) << "the key is not used";
}

// The order among equal keys is that of the records' insertion, also for one whose key became equal
// later.
TEST_F(Mesgdb, AChangedKeyTakesThePlaceOfItsRecordsInsertion) {
  Put("a", "first", "in");
  Put("b", "second", "out");
  Put("c", "third", "out");
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "a", &record), 0);
  Fill(record.directoryName, "out");
  ASSERT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 0);
  ASSERT_EQ(FoundBy("out", 1), "first");
  EXPECT_EQ(Walk(1), (Texts{"first", "second", "third"}));
}

TEST_F(Mesgdb, GetGreaterIsStrict) {
  Put("a", "one", "in", "x");
  Put("b", "two", "out", "y");
  Put("b", "three", "out", "y");
  Put("c", "four", "work", "z");
  for (int index = 0; index < 3; ++index) {
    const Texts low = {"a", "in", "x"}, middle = {"b", "out", "y"}, high = {"c", "work", "z"};
    const auto at = static_cast<std::size_t>(index);
    EXPECT_EQ(GreaterThan("", index), "one");
    EXPECT_EQ(GreaterThan(low[at], index), "two");
    EXPECT_EQ(GreaterThan(middle[at], index), "four");
    EXPECT_EQ(GreaterThan(high[at], index), "status 9");
  }
}

TEST_F(Mesgdb, WalksEachIndex) {
  Put("c", "one", "b", "a");
  Put("a", "two", "c", "b");
  Put("b", "three", "a", "c");
  EXPECT_EQ(Walk(0), (Texts{"two", "three", "one"}));
  EXPECT_EQ(Walk(1), (Texts{"three", "one", "two"}));
  EXPECT_EQ(Walk(2), (Texts{"one", "two", "three"}));
}

TEST_F(Mesgdb, AnEmptyDatabaseHasNoFirst) {
  MesgRecord record;
  for (int index = 0; index < 3; ++index) {
    EXPECT_EQ(GetFirstMesgRecordByKey(&db_, &record, index), 9);
    EXPECT_EQ(GetGreaterMesgRecordByKey(&db_, "", &record, index), 9);
    EXPECT_EQ(FindMesgRecordByKey(&db_, "", &record, index), 4);
  }
}

// The calls lower their value; the directory index minds case.
TEST_F(Mesgdb, ADirectoryNameWithCapitalsIsFoundOnlyAsGiven) {
  Put("a", "mixed", "Queue");
  Put("b", "small", "queue");
  Put("c", "recipient", "");
  EXPECT_EQ(FoundBy("Queue", 1), "small");
  EXPECT_EQ(FoundBy("queue", 1), "small");
  Put("d", "capitals", "OUT");
  EXPECT_EQ(FoundBy("OUT", 1), "status 4");
  EXPECT_EQ(FoundBy("out", 1), "status 4");
  namespace mesgdb = qob::mesgdb;
  MesgRecord record;
  ASSERT_EQ(mesgdb::FindAsGiven(&db_, 1, mesgdb::Seek::kEqual, "Queue", &record), 0);
  EXPECT_STREQ(record.address, "mixed");
  ASSERT_EQ(mesgdb::FindAsGiven(&db_, 1, mesgdb::Seek::kGreaterOrEqual, "OUT", &record), 0);
  EXPECT_STREQ(record.address, "capitals");
  EXPECT_EQ(mesgdb::FindAsGiven(&db_, 1, mesgdb::Seek::kEqual, "QUEUE", &record), 4);
}

TEST_F(Mesgdb, TheStateTextIsFoundInAnyCase) {
  Put("a", "held", "queue", "HELD");
  EXPECT_EQ(FoundBy("held", 2), "held");
  EXPECT_EQ(FoundBy("Held", 2), "held");
}

TEST_F(Mesgdb, ValuesAreCutToWhatTheIndexHolds) {
  const std::string directory(15, 'd');
  const std::string state(254, 's');
  Put("a", "long", directory, state);
  EXPECT_EQ(FoundBy(directory + "ef", 1), "long");
  EXPECT_EQ(FoundBy(directory + std::string(400, 'e'), 1), "long");
  EXPECT_EQ(FoundBy(state, 2), "long");
  EXPECT_EQ(FoundBy(state + "tu", 2), "long");
  EXPECT_EQ(FoundBy(state + std::string(400, 't'), 2), "long");
  EXPECT_EQ(FoundBy(state.substr(1), 2), "status 4");
  EXPECT_EQ(GreaterThan(state + "zzz", 2), "status 9") << "cut, it equals what is there";
  MesgRecord changed = Record("a", "updated", directory, state);
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, (state + "tuv").c_str(), &changed, 2), 0);
  EXPECT_EQ(Found("a"), "updated");
}

TEST_F(Mesgdb, AnIndexThatIsNotThereIsAStatus) {
  Put("a", "one");
  MesgRecord record = Record("a", "two");
  constexpr int kLowest = std::numeric_limits<int>::min();
  constexpr int kHighest = std::numeric_limits<int>::max();
  for (const int index : {-1, 3, 18, 127, 128, 255, 256, 259, 65536, kLowest, kHighest}) {
    EXPECT_EQ(FindMesgRecordByKey(&db_, "a", &record, index), 6) << index;
    EXPECT_EQ(GetGreaterMesgRecordByKey(&db_, "", &record, index), 6);
    EXPECT_EQ(GetFirstMesgRecordByKey(&db_, &record, index), 6);
    EXPECT_EQ(GetNextMesgRecordByKey(&db_, &record, index), 6);
    EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, index), 6);
    EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, index), 6);
    EXPECT_EQ(UpdateMesgRecordByKey(&db_, "a", &record, index), 6);
  }
  EXPECT_EQ(Found("a"), "one");
}

TEST_F(Mesgdb, TheNextOfAnotherIndexIsAStatus) {
  Put("a", "one", "q", "s");
  Put("b", "two", "q", "s");
  MesgRecord record;
  ASSERT_EQ(FoundBy("q", 1), "one");
  EXPECT_EQ(GetNextMesgRecord(&db_, "a", &record), 7);
  EXPECT_EQ(GetNextMesgRecordByKey(&db_, &record, 2), 7);
  EXPECT_EQ(GetNextMesgRecordByKey(&db_, &record, 1), 0);
  EXPECT_STREQ(record.address, "two");
}

TEST_F(Mesgdb, WithoutAPlaceThereIsNoNextAndNothingToChange) {
  Put("a", "one");
  MesgHandle fresh;
  ASSERT_EQ(OpenMesgFile(nullptr, &fresh), 0);
  MesgRecord record = Record("a", "two");
  EXPECT_EQ(GetNextMesgRecord(&fresh, "a", &record), 8);
  EXPECT_EQ(GetNextMesgRecordByKey(&fresh, &record, 1), 8);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&fresh, &record, 0), 8);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&fresh, 0), 8);
  EXPECT_EQ(FindMesgRecord(&fresh, "a", &record), 0);
  EXPECT_EQ(FindMesgRecord(&fresh, "x", &record), 4);
  EXPECT_EQ(GetNextMesgRecord(&fresh, "a", &record), 8);
  EXPECT_EQ(CloseMesgFile(&fresh), 0);
}

TEST_F(Mesgdb, CurrentIsChangedAndDeletedInTheMiddleOfAWalk) {
  for (const char* address : {"one", "two", "three"}) Put("aR", address, "", "s");
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "aR", &record), 0);
  ASSERT_EQ(GetNextMesgRecord(&db_, "aR", &record), 0);
  Fill(record.address, "TWO");
  Fill(record.key, "AR");
  const MesgRecord given = record;
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 0);
  EXPECT_TRUE(SameBytes(record, given)) << "the caller's record keeps its capitals";
  ASSERT_EQ(GetNextMesgRecord(&db_, "aR", &record), 0);
  EXPECT_STREQ(record.address, "three");
  EXPECT_EQ(Walk(0), (Texts{"one", "TWO", "three"}));
  EXPECT_EQ(Found("ar"), "one") << "and the stored key is lower-case";
  ASSERT_EQ(GetNextMesgRecord(&db_, "aR", &record), 0);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 0);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 8);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 8);
  ASSERT_EQ(GetNextMesgRecord(&db_, "aR", &record), 0);
  EXPECT_STREQ(record.address, "three");
  EXPECT_EQ(Walk(2), (Texts{"one", "three"}));
}

TEST_F(Mesgdb, ARecordChangedBySomebodyElseIsAConflict) {
  Put("a", "one");
  MesgHandle other;
  ASSERT_EQ(OpenMesgFile(nullptr, &other), 0);
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "a", &record), 0);
  MesgRecord theirs = Record("a", "theirs");
  ASSERT_EQ(UpdateMesgRecord(&other, "a", &theirs), 0);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 80);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 80);
  EXPECT_EQ(Found("a"), "theirs");
  ASSERT_EQ(RemoveMesgRecord(&other, "a", &theirs), 0);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 80);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 80);
  EXPECT_EQ(CloseMesgFile(&other), 0);
  EXPECT_TRUE(log_.lines().empty()) << "these calls log nothing";
}

TEST_F(Mesgdb, AHandleIsCopiedByItsBytes) {
  Put("a", "one");
  Put("b", "two");
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "a", &record), 0);
  const MesgHandle copy = db_;
  MesgHandle walker = copy;
  EXPECT_EQ(GetNextMesgRecord(&walker, "", &record), 0);
  EXPECT_STREQ(record.address, "two");
  EXPECT_EQ(GetNextMesgRecord(&walker, "", &record), 9);
  EXPECT_EQ(GetNextMesgRecord(&db_, "", &record), 0) << "the original stood still";
  ASSERT_EQ(CloseMesgFile(&walker), 0);
  EXPECT_EQ(GetNextMesgRecord(&db_, "", &record), 3);
  EXPECT_EQ(FindMesgRecord(&db_, "a", &record), 3);
  EXPECT_EQ(CloseMesgFile(&db_), 3);
}

TEST_F(Mesgdb, NullPointersGiveAStatus) {
  Put("a", "one");
  MesgRecord record = Record("a", "two");
  EXPECT_EQ(OpenMesgFile(nullptr, nullptr), 3);
  EXPECT_EQ(CloseMesgFile(nullptr), 3);
  EXPECT_EQ(InsertMesgRecord(nullptr, &record), 3);
  EXPECT_EQ(InsertMesgRecord(&db_, nullptr), 22);
  EXPECT_EQ(FindMesgRecord(nullptr, "a", &record), 3);
  EXPECT_EQ(FindMesgRecord(&db_, nullptr, &record), 41);
  EXPECT_EQ(FindMesgRecord(&db_, "a", nullptr), 22);
  EXPECT_EQ(GetNextMesgRecord(nullptr, "a", &record), 3);
  EXPECT_EQ(GetNextMesgRecord(&db_, "a", nullptr), 22);
  EXPECT_EQ(UpdateMesgRecord(nullptr, "a", &record), 3);
  EXPECT_EQ(UpdateMesgRecord(&db_, nullptr, &record), 41);
  EXPECT_EQ(UpdateMesgRecord(&db_, "a", nullptr), 22);
  EXPECT_EQ(RemoveMesgRecord(nullptr, "a", &record), 3);
  EXPECT_EQ(RemoveMesgRecord(&db_, nullptr, &record), 41);
  EXPECT_EQ(RemoveMesgRecord(&db_, "a", nullptr), 22);
  EXPECT_EQ(FindMesgRecordByKey(nullptr, "a", &record, 0), 3);
  EXPECT_EQ(FindMesgRecordByKey(&db_, nullptr, &record, 0), 41);
  EXPECT_EQ(FindMesgRecordByKey(&db_, "a", nullptr, 0), 22);
  EXPECT_EQ(GetGreaterMesgRecordByKey(nullptr, "a", &record, 0), 3);
  EXPECT_EQ(GetGreaterMesgRecordByKey(&db_, nullptr, &record, 0), 41);
  EXPECT_EQ(GetGreaterMesgRecordByKey(&db_, "a", nullptr, 0), 22);
  EXPECT_EQ(GetFirstMesgRecordByKey(nullptr, &record, 0), 3);
  EXPECT_EQ(GetFirstMesgRecordByKey(&db_, nullptr, 0), 22);
  EXPECT_EQ(GetNextMesgRecordByKey(nullptr, &record, 0), 3);
  EXPECT_EQ(GetNextMesgRecordByKey(&db_, nullptr, 0), 22);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(nullptr, &record, 0), 3);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, nullptr, 0), 22);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(nullptr, 0), 3);
  EXPECT_EQ(UpdateMesgRecordByKey(nullptr, "a", &record, 0), 3);
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, nullptr, &record, 0), 41);
  EXPECT_EQ(UpdateMesgRecordByKey(&db_, "a", nullptr, 0), 22);
  EXPECT_EQ(Found("a"), "one");
}

// Every field at its offset, as BTRCALL hands out the bytes.
TEST_F(Mesgdb, EveryFieldStandsAtItsOffset) {
  MesgRecord record{};
  Fill(record.key, "key");
  Fill(record.directoryName, "dir");
  Fill(record.stateText, "state");
  Fill(record.address, "address");
  Fill(record.statusText, "status");
  Fill(record.secondText, "second");
  Fill(record.envelopeId, "envid");
  Fill(record.optionText, "option");
  record.creationTime = 0x01020304;
  record.lastChangeTime = 0x11121314;
  record.retryTime = 0x21222324;
  record.retryCount = 0x31323334;
  record.delayNotifyStatus = 0x41424344;
  record.partNumber = 0x51525354;
  record.firstOption = 0x61626364;
  record.notifyFlags = 0x71727374;
  record.secondOption = -2;
  record.reserved2220 = 0x0A0B0C0D;
  std::memset(record.gap288, 0xEE, sizeof record.gap288);
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);

  std::string expected(2224, '\0');
  const auto text = [&](std::size_t at, std::string_view value) {
    expected.replace(at, value.size(), value);
  };
  text(0, "key");
  text(16, "dir");
  text(32, "state");
  text(288, "\xEE\xEE\xEE\xEE");
  text(292, "address");
  text(804, "\x04\x03\x02\x01");
  text(808, "\x14\x13\x12\x11");
  text(812, "\x24\x23\x22\x21");
  text(816, "\x34\x33\x32\x31");
  text(820, "\x44\x43\x42\x41");
  text(824, "\x54\x53\x52\x51");
  text(828, "status");
  text(1084, "second");
  text(1596, "envid");
  text(1696, "\x64\x63\x62\x61");
  text(1700, "\x74\x73\x72\x71");
  text(1704, "option");
  text(2216, "\xFE\xFF\xFF\xFF");
  text(2220, "\x0D\x0C\x0B\x0A");
  std::string bytes(2224, '?');
  std::uint32_t length = 2224;
  char key[] = "key";
  ASSERT_EQ(BTRCALL(B_GET_EQUAL, &db_, bytes.data(), &length, key, sizeof key, 0), 0);
  EXPECT_EQ(length, 2224U);
  EXPECT_TRUE(bytes == expected);
}

TEST_F(Mesgdb, KeepsEveryByteOfARecord) {
  unsigned state = 7;
  for (int round = 0; round < 20; ++round) {
    MesgRecord record;
    auto* bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) {
      state = state * 1103515245U + 12345U;
      bytes[i] = state >> 29 == 0 ? 0 : static_cast<unsigned char>(state >> 16);
    }
    Fill(record.key, "k" + std::to_string(round));
    ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
    MesgRecord read;
    ASSERT_EQ(FindMesgRecord(&db_, record.key, &read), 0);
    EXPECT_TRUE(SameBytes(read, record));
  }
}

}  // namespace
