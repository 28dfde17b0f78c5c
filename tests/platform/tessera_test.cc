// What the operations of a relation do, one object alone and several beside each other.
#include <memory>
#include <thread>

#include "tessera_fixture.h"

namespace qob::testing {
namespace {

// ---- the record buffer and the current record

TEST_F(Tessera, GetsTheRecordThatWasAdded) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  ASSERT_EQ(people.Add("bob", "cellar"), kDone);
  ASSERT_EQ(people.Get("alice"), kDone);
  EXPECT_EQ(people.text(), "alice/attic");
  ASSERT_EQ(people.Get("bob"), kDone);
  EXPECT_EQ(people.text(), "bob/cellar");
}

TEST_F(Tessera, ComparesAsciiLettersOfAKeyWithoutCase) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("Alice", "attic"), kDone);
  ASSERT_EQ(people.Get("aLICE"), kDone);
  EXPECT_EQ(people.text(), "Alice/attic") << "the record as it was added";
  ASSERT_EQ(people.Add("\xC4", "upper"), kDone);
  EXPECT_EQ(people.Get("\xE4"), kNoMatch) << "only ASCII letters have a case";
}

TEST_F(Tessera, EndsAKeyAtItsNul) {
  Make(false);
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  people.Set("alice");
  std::memcpy(people.buffer.name + 6, "rubbish", 7);
  ASSERT_EQ(people.get(0), kDone);
  EXPECT_EQ(people.text(), "alice/attic");
  std::memcpy(people.buffer.name + 6, "rubbish", 7);
  EXPECT_EQ(people.add(), kTwice);
}

TEST_F(Tessera, TakesAKeyThatFillsItsField) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("0123456789abcdef", "full"), kDone);
  ASSERT_EQ(people.Add("0123456789abcde", "one less"), kDone);
  ASSERT_EQ(people.Get("0123456789ABCDEF"), kDone);
  EXPECT_EQ(people.room(), "full");
}

TEST_F(Tessera, AFailingGetLeavesTheBufferAlone) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  people.Set("nobody", "what stood here before");
  EXPECT_EQ(people.get(0), kNoMatch);
  EXPECT_EQ(people.text(), "nobody/what stood here before");
  ASSERT_EQ(people.begin(0), kDone);
  EXPECT_EQ(people.find(), kNoMatch);
  EXPECT_EQ(people.text(), "nobody/what stood here before");
}

TEST_F(Tessera, PutRewritesTheRecordThatWasLoaded) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  ASSERT_EQ(people.Add("bob", "cellar"), kDone);
  ASSERT_EQ(people.Get("alice"), kDone);
  people.Set("Alice", "kitchen");
  ASSERT_EQ(people.put(), kDone);
  EXPECT_EQ(people.All(), (Texts{"Alice/kitchen", "bob/cellar"}));
}

TEST_F(Tessera, PutAfterTheEndOfAPassHitsTheRecordLastLoaded) {
  Make();
  People people(session_, Directory());
  for (const char* name : {"alice", "bob", "carol"}) ASSERT_EQ(people.Add(name, "-"), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.next(), kDone);
  ASSERT_EQ(people.end(), kDone);
  people.Set("bob", "tower");
  ASSERT_EQ(people.put(), kDone);
  EXPECT_EQ(people.All(), (Texts{"alice/-", "bob/tower", "carol/-"}));
}

TEST_F(Tessera, PutAtTheEndOfAPassHitsTheLastRecord) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "-"), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.next(), kNoMoreRecords);
  people.Set("alice", "tower");
  EXPECT_EQ(people.put(), kDone);
}

TEST_F(Tessera, PutAndDelNeedACurrentRecord) {
  Make();
  People people(session_, Directory());
  EXPECT_EQ(people.put(), kNothingToActOn);
  EXPECT_EQ(people.del(), kNothingToActOn);
  ASSERT_EQ(people.Add("alice"), kDone);
  ASSERT_EQ(people.del(), kDone);
  EXPECT_EQ(people.put(), kNothingToActOn);
  EXPECT_EQ(people.del(), kNothingToActOn);
}

// Otherwise a caller that minds no status would rewrite the record it looked at before.
TEST_F(Tessera, ASearchInVainLeavesNoCurrentRecord) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  ASSERT_EQ(people.Get("alice"), kDone);
  ASSERT_EQ(people.Get("bob"), kNoMatch);
  EXPECT_EQ(people.put(), kNothingToActOn);
  EXPECT_EQ(people.All(), (Texts{"alice/attic"}));
}

TEST_F(Tessera, TheAddedRecordIsTheCurrentOne) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  people.Set("alice", "kitchen");
  ASSERT_EQ(people.put(), kDone);
  ASSERT_EQ(people.put(), kDone) << "again";
  EXPECT_EQ(people.All(), (Texts{"alice/kitchen"}));
}

TEST_F(Tessera, ARecordThatSomebodyElseChangedIsNotOverwritten) {
  Make();
  People mine(session_, Directory());
  People theirs(session_, Directory());
  ASSERT_EQ(mine.Add("alice", "attic"), kDone);
  ASSERT_EQ(theirs.Get("alice"), kDone);
  theirs.Set("alice", "theirs");
  ASSERT_EQ(theirs.put(), kDone);
  mine.Set("alice", "mine");
  EXPECT_EQ(mine.put(), kChangedMeanwhile);
  EXPECT_EQ(mine.del(), kChangedMeanwhile);
  ASSERT_EQ(theirs.del(), kDone);
  EXPECT_EQ(mine.put(), kChangedMeanwhile);
  EXPECT_EQ(mine.All(), Texts{});
}

TEST_F(Tessera, RefusesADuplicateWhereNoneIsAllowed) {
  Make(false);
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "attic"), kDone);
  ASSERT_EQ(people.Add("bob", "cellar"), kDone);
  EXPECT_EQ(people.Add("ALICE", "again"), kTwice);
  ASSERT_EQ(people.Get("bob"), kDone);
  people.Set("Alice", "cellar");
  EXPECT_EQ(people.put(), kTwice);
  EXPECT_EQ(people.All(), (Texts{"alice/attic", "bob/cellar"}));
}

// ---- passes

TEST_F(Tessera, PassesGoInTheOrderOfTheKeysAndOfInsertionAmongEqualOnes) {
  Make();
  People people(session_, Directory());
  for (const char* text : {"m/1", "b/2", "M/3", "a/4", "m/5", "B/6"}) {
    ASSERT_EQ(people.Add(std::string_view(text, 1), text + 2), kDone);
  }
  EXPECT_EQ(people.All(), (Texts{"a/4", "b/2", "B/6", "m/1", "M/3", "m/5"}));
}

// The file types all have the empty key.
TEST_F(Tessera, PassesGoInTheOrderOfInsertionWhereAllKeysAreEmpty) {
  Make();
  People people(session_, Directory());
  Texts expected;
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(people.Add("", std::to_string(i)), kDone);
    expected.push_back("/" + std::to_string(i));
  }
  EXPECT_EQ(people.All(), expected);
  EXPECT_EQ(people.All(), expected) << "and again";
}

TEST_F(Tessera, FirstOnAnEmptyRelationGives17) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.begin(0), kDone);
  EXPECT_EQ(people.first(), kNoMoreRecords);
  EXPECT_EQ(people.Get("alice"), kNoMatch);
}

TEST_F(Tessera, NextAtTheEndGives17AsOftenAsItIsAsked) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice"), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(people.next(), kNoMoreRecords);
  EXPECT_EQ(people.name(), "alice") << "the buffer keeps the record last loaded";
  People other(session_, Directory());
  ASSERT_EQ(other.Add("bob"), kDone);
  ASSERT_EQ(people.next(), kDone) << "a record that came behind the place";
  EXPECT_EQ(people.name(), "bob");
}

TEST_F(Tessera, NextGives4WhenThereIsNoPlace) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice"), kDone);
  EXPECT_EQ(people.next(), kNoMatch) << "no pass";
  ASSERT_EQ(people.begin(0), kDone);
  EXPECT_EQ(people.next(), kNoMatch) << "nothing loaded in it";
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.end(), kDone);
  EXPECT_EQ(people.next(), kNoMatch) << "it ended";
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  EXPECT_EQ(people.next(), kNoMatch) << "another was begun";
}

TEST_F(Tessera, FirstAndFindNeedAPass) {
  Make();
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice"), kDone);
  EXPECT_EQ(people.first(), kNothingToActOn);
  EXPECT_EQ(people.find(), kNothingToActOn);
  EXPECT_EQ(people.end(), kDone);
}

TEST_F(Tessera, FindMovesThePassAndGetDoesNot) {
  Make();
  People people(session_, Directory());
  for (const char* name : {"a", "b", "c", "d"}) ASSERT_EQ(people.Add(name), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  people.Set("c");
  ASSERT_EQ(people.get(0), kDone);
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.name(), "b");
  people.Set("c");
  ASSERT_EQ(people.find(), kDone);
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.name(), "d");
}

TEST_F(Tessera, APassMeetsWhatIsAddedBehindItsPlaceAndNotWhatIsDeletedThere) {
  Make();
  People people(session_, Directory());
  People other(session_, Directory());
  for (const char* name : {"b", "d", "f", "h"}) ASSERT_EQ(people.Add(name), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.next(), kDone);
  ASSERT_EQ(people.name(), "d");
  ASSERT_EQ(other.Add("a"), kDone);
  ASSERT_EQ(other.Add("e"), kDone);
  ASSERT_EQ(other.Get("f"), kDone);
  ASSERT_EQ(other.del(), kDone);
  ASSERT_EQ(other.Get("h"), kDone);
  other.Set("h", "changed");
  ASSERT_EQ(other.put(), kDone);
  Texts rest;
  while (people.next() == kDone) rest.push_back(people.text());
  EXPECT_EQ(rest, (Texts{"e/", "h/changed"}));
}

TEST_F(Tessera, APassGoesOnBehindARecordThatItDeletesOrMoves) {
  Make();
  People people(session_, Directory());
  for (const char* name : {"a", "b", "c", "d"}) ASSERT_EQ(people.Add(name), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  ASSERT_EQ(people.del(), kDone);
  ASSERT_EQ(people.next(), kDone);
  ASSERT_EQ(people.name(), "b");
  people.Set("0", "moved before its place");
  ASSERT_EQ(people.put(), kDone);
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.name(), "c");
  ASSERT_EQ(people.Add("bb", "added before the place"), kDone);
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.name(), "d");
  EXPECT_EQ(people.next(), kNoMoreRecords);
}

// Otherwise a pass would not end while somebody goes on doing that.
TEST_F(Tessera, APassDoesNotMeetAKeyAgainThatWasTakenAwayAndPutBack) {
  Make(false);
  People people(session_, Directory());
  People other(session_, Directory());
  for (const char* name : {"a", "b", "c"}) ASSERT_EQ(people.Add(name), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  for (int round = 0; round < 30; ++round) {
    for (int i = 0; i < round; ++i) ASSERT_EQ(other.Get("c"), kDone);  // from the file or memory
    ASSERT_EQ(other.Get("a"), kDone);
    ASSERT_EQ(other.del(), kDone);
    ASSERT_EQ(other.Add("A", "back"), kDone);
    ASSERT_EQ(people.next(), kDone);
    ASSERT_EQ(people.name(), "b");
    people.Set("a");
    ASSERT_EQ(people.find(), kDone);
  }
}

TEST_F(Tessera, TwoObjectsHavePassesOfTheirOwn) {
  Make();
  People one(session_, Directory());
  for (const char* name : {"a", "b", "c"}) ASSERT_EQ(one.Add(name), kDone);
  People two(session_, Directory());
  ASSERT_EQ(one.begin(0), kDone);
  ASSERT_EQ(two.begin(0), kDone);
  ASSERT_EQ(one.first(), kDone);
  ASSERT_EQ(one.next(), kDone);
  ASSERT_EQ(two.first(), kDone);
  ASSERT_EQ(one.next(), kDone);
  ASSERT_EQ(two.next(), kDone);
  EXPECT_EQ(one.name() + two.name(), "cb");
}

// ---- indexes, attaching, status

TEST_F(Tessera, ThereIsOneIndex) {
  Make();
  People people(session_, Directory());
  EXPECT_EQ(people.begin(1), kOtherIndexAsked);
  EXPECT_EQ(people.begin(-1), kOtherIndexAsked);
  EXPECT_EQ(people.get(1), kOtherIndexAsked);
  EXPECT_EQ(people.attach(0), kOtherIndexAsked);
}

TEST_F(Tessera, StatusIsTheResultOfTheLastOperation) {
  Make();
  People people(session_, Directory());
  EXPECT_EQ(people.status(), kDone);
  EXPECT_EQ(people.Get("nobody"), kNoMatch);
  EXPECT_EQ(people.status(), kNoMatch);
  EXPECT_EQ(people.unlock(), kDone);
  EXPECT_EQ(people.status(), kDone);
}

class Unattached : public tesRel {
 public:
  using tesRel::tesRel;
  Person buffer;

 protected:
  void* record() override { return &buffer; }
  uint32_t recordSize() const override { return sizeof buffer; }
};

template <class Relation>
std::vector<dbError> EveryOperation(Relation& relation) {
  return {relation.lock(false, 0), relation.begin(0), relation.first(), relation.next(),
          relation.get(0),         relation.find(),   relation.add(),   relation.put(),
          relation.del(),          relation.end(),    relation.unlock()};
}

TEST_F(Tessera, OperationsBeforeAttachGive3) {
  Make();
  Unattached people(session_, Directory().c_str(), "people");
  EXPECT_EQ(people.status(), kDone);
  EXPECT_EQ(EveryOperation(people), std::vector<dbError>(11, kNotOpenNow));
}

TEST_F(Tessera, AttachingMayComeLateButNotBehindAFailure) {
  Make();
  Unattached late(session_, Directory().c_str(), "people");
  EXPECT_EQ(late.attach(-1), kDone);
  EXPECT_EQ(late.status(), kDone);
  EXPECT_EQ(late.add(), kDone);
  Unattached failed(session_, Directory().c_str(), "people");
  EXPECT_EQ(failed.begin(0), kNotOpenNow);
  EXPECT_EQ(failed.attach(-1), kNotOpenNow);
  EXPECT_EQ(failed.status(), kNotOpenNow);
}

TEST_F(Tessera, OperationsOnARelationThatIsNotThereGive3) {
  People people(session_, Directory());
  EXPECT_EQ(people.status(), kNotOpenNow);
  EXPECT_EQ(EveryOperation(people), std::vector<dbError>(11, kNotOpenNow));
  EXPECT_FALSE(std::filesystem::exists(Data()));
}

TEST_F(Tessera, AnotherRecordSizeIsRefusedAtAttaching) {
  ASSERT_EQ(tesRel::create(Directory().c_str(), "people", 63, 0, 16, true), kDone);
  const std::string before = TempSpool::Read(Data());
  Unattached unattached(session_, Directory().c_str(), "people");
  EXPECT_EQ(unattached.status(), kDone) << "the files are all right";
  EXPECT_EQ(unattached.attach(-1), kRefused);
  EXPECT_EQ(unattached.attach(-1), kRefused);
  People people(session_, Directory());
  EXPECT_EQ(people.status(), kRefused);
  EXPECT_EQ(people.Add("alice"), kNotOpenNow);
  EXPECT_EQ(TempSpool::Read(Data()), before);
}

TEST_F(Tessera, AttachLeavesTheStatusOfAnOpeningThatFailed) {
  People people(session_, Directory());
  EXPECT_EQ(people.attach(-1), kNotOpenNow);
  TempSpool::Write(Data("zero"), "");
  People zero(session_, Directory(), "zero");
  EXPECT_EQ(zero.attach(-1), kEmptyFile);
  EXPECT_EQ(zero.status(), kEmptyFile);
}

TEST_F(Tessera, AnObjectIsDestroyedThroughItsBase) {
  Make();
  std::unique_ptr<tesRel> people = std::make_unique<People>(session_, Directory());
  ASSERT_EQ(people->lock(false, 0), kDone);
  people.reset();
  People next(session_, Directory());
  EXPECT_EQ(next.lock(false, 0), kDone);
}

TEST_F(Tessera, SessionsAreOfNoConsequenceOnceARelationIsOpen) {
  Make();
  auto session = std::make_unique<tesseraBase>();
  People people(*session, Directory());
  session.reset();
  EXPECT_EQ(people.Add("alice"), kDone);
}

// ---- threads

TEST_F(Tessera, ThreadsWithObjectsOfTheirOwnLoseNothing) {
  Make(false);
  constexpr int kThreads = 4;
  constexpr int kEach = 25;
  std::vector<std::thread> threads;
  std::vector<int> wrong(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      tesseraBase session;
      for (int k = 0; k < kEach; ++k) {
        People people(session, Directory());
        const std::string name = std::to_string(i) + "." + std::to_string(k);
        const std::size_t at = static_cast<std::size_t>(i);
        if (people.lock(false, kForEver) != kDone) ++wrong[at];
        if (people.Add(name) != kDone) ++wrong[at];
        if (people.Get(name) != kDone) ++wrong[at];
        if (people.unlock() != kDone) ++wrong[at];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(kThreads));
  People people(session_, Directory());
  EXPECT_EQ(people.All().size(), static_cast<std::size_t>(kThreads * kEach));
}

}  // namespace
}  // namespace qob::testing
