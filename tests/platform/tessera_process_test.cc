// Processes that use one relation at once: what one changes another sees at once, nothing is lost,
// passes end. And what becomes of relations over a fork.
#include <memory>
#include <random>

#include "platform/tessera/open_relation.h"
#include "support/two_processes.h"
#include "tessera_fixture.h"

namespace qob::testing {
namespace {

class TesseraProcess : public Tessera {
 protected:
  void SetUp() override { spool_.SetIni("[Store]\nDurability=system\n"); }
  // Work on an object of its own in a process of its own.
  template <class Work>
  int Elsewhere(Work&& work) const {
    return InChild([&] {
      tesseraBase session;
      People people(session, Directory());
      return people.status() != kDone ? 200 : work(people);
    });
  }
};

TEST_F(TesseraProcess, AChangeByAnotherIsSeenAtOnce) {
  Make(false);
  People people(session_, Directory());
  for (int round = 0; round < 10; ++round) {
    const std::string room = std::to_string(round);
    // Asked often enough in between that records come from memory.
    for (int i = 0; i < 50; ++i) {
      ASSERT_EQ(people.Get("alice"), round % 2 == 1 ? kDone : kNoMatch);
    }
    ASSERT_EQ(Elsewhere([&](People& theirs) {
                if (round % 2 == 0) return theirs.Add("alice", room);
                if (theirs.Get("alice") != kDone) return 100;
                return theirs.del();
              }),
              kDone);
    if (round % 2 == 0) {
      ASSERT_EQ(people.Get("alice"), kDone);
      EXPECT_EQ(people.room(), room);
      People fresh(session_, Directory());
      ASSERT_EQ(fresh.Get("alice"), kDone);
      EXPECT_EQ(fresh.room(), room);
    } else {
      EXPECT_EQ(people.Get("alice"), kNoMatch);
    }
  }
}

TEST_F(TesseraProcess, APassMeetsWhatAnotherDoesBehindItsPlace) {
  Make();
  People people(session_, Directory());
  for (int i = 0; i < 60; ++i) {
    char name[8];
    std::snprintf(name, sizeof name, "n%03d", i * 10);
    ASSERT_EQ(people.Add(name), kDone);
  }
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(people.next(), kDone);
  ASSERT_EQ(people.name(), "n300");
  ASSERT_EQ(Elsewhere([](People& theirs) {
              if (theirs.Add("n055") != kDone || theirs.Add("n305", "new") != kDone) return 1;
              if (theirs.Get("n310") != kDone || theirs.del() != kDone) return 2;
              if (theirs.Get("n300") != kDone || theirs.del() != kDone) return 3;
              if (theirs.Get("n320") != kDone) return 4;
              theirs.Set("n320", "changed");
              return theirs.put() == kDone ? 0 : 5;
            }),
            0);
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.text(), "n305/new");
  ASSERT_EQ(people.next(), kDone);
  EXPECT_EQ(people.text(), "n320/changed");
  int rest = 0;
  while (people.next() == kDone) ++rest;
  EXPECT_EQ(rest, 27);
}

TEST_F(TesseraProcess, ARecordThatAnotherChangedIsNotOverwritten) {
  Make(false);
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "mine"), kDone);
  ASSERT_EQ(people.Get("alice"), kDone);
  ASSERT_EQ(Elsewhere([](People& theirs) {
              if (theirs.Get("alice") != kDone) return 1;
              theirs.Set("alice", "theirs");
              return static_cast<int>(theirs.put());
            }),
            kDone);
  people.Set("alice", "mine again");
  EXPECT_EQ(people.put(), kChangedMeanwhile);
  EXPECT_EQ(people.All(), Texts{"alice/theirs"});
}

// Each adds, changes and deletes records of its own and passes over all; at the end every record is
// as its owner left it, and a pass never gives a record twice or one that is half of two.
TEST_F(TesseraProcess, TwoWhoAddChangeDeleteAndIterateLoseNothing) {
  for (const bool with_lock : {false, true}) {
    Make(false, with_lock ? "locked" : "free");
    const char* const name = with_lock ? "locked" : "free";
    constexpr int kSteps = 400;
    constexpr int kSlots = 20;
    const auto work = [&](int me) {
      std::mt19937 random(static_cast<std::uint32_t>(me + 1));
      tesseraBase session;
      std::vector<std::string> mine(kSlots);
      for (int step = 0; step < kSteps; ++step) {
        People people(session, Directory(), name);
        if (people.status() != kDone) return 1;
        if (with_lock && people.lock(false, kForEver) != kDone) return 2;
        const auto slot = random() % kSlots;
        const std::string key = (me == 0 ? "A" : "B") + std::to_string(slot);
        std::string room(40, static_cast<char>('a' + step % 26));
        const dbError found = people.Get(key);
        if (found != (mine[slot].empty() ? kNoMatch : kDone)) return 3;
        if (found == kDone && people.room() != mine[slot]) return 4;
        if (found == kNoMatch) {
          if (people.Add(key, room) != kDone) return 5;
          mine[slot] = room;
        } else if (random() % 2 == 0) {
          people.Set(key, room);
          if (people.put() != kDone) return 6;
          mine[slot] = room;
        } else {
          if (people.del() != kDone) return 7;
          mine[slot].clear();
        }
        if (step % 10 == 0) {
          std::string before;
          if (people.begin(0) != kDone) return 8;
          dbError status = people.first();
          for (; status == kDone; status = people.next()) {
            if (people.name() <= before) return 9;
            before = people.name();
            const std::string text = people.room();
            if (text.size() != 40 || text != std::string(40, text[0])) return 10;
          }
          if (status != kNoMoreRecords || people.end() != kDone) return 11;
        }
        if (with_lock && people.unlock() != kDone) return 12;
      }
      People people(session, Directory(), name);
      for (int slot = 0; slot < kSlots; ++slot) {
        const auto at = static_cast<std::size_t>(slot);
        const dbError found = people.Get((me == 0 ? "A" : "B") + std::to_string(slot));
        if (found != (mine[at].empty() ? kNoMatch : kDone)) return 13;
        if (found == kDone && people.room() != mine[at]) return 14;
      }
      return 0;
    };
    EXPECT_EQ(InChildren(2, work), std::vector<int>(2));
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data(name), {}, &file), store::kOk);
    std::string problem;
    EXPECT_EQ(file->Check(&problem, [](std::int64_t) { return true; }), store::kOk);
    EXPECT_EQ(problem, "");
  }
}

TEST_F(TesseraProcess, ManyWhoAddTheSameKeyAddItOnce) {
  Make(false);
  const auto results = InChildren(4, [&](int) {
    tesseraBase session;
    People people(session, Directory());
    int added = 0;
    for (int i = 0; i < 25; ++i) {
      const dbError status = people.Add("n" + std::to_string(i));
      if (status != kDone && status != kTwice) return 255;
      added += status == kDone ? 1 : 0;
    }
    return added;
  });
  int added = 0;
  for (const int result : results) added += result;
  EXPECT_EQ(added, 25);
  People people(session_, Directory());
  EXPECT_EQ(people.All().size(), 25u);
}

// Equal keys come in the order of insertion, whoever inserted them.
TEST_F(TesseraProcess, DuplicatesOfTwoProcessesStandInTheOrderOfInsertion) {
  Make();
  People people(session_, Directory());
  Texts expected;
  for (int i = 0; i < 12; ++i) {
    const std::string room = std::to_string(i);
    if (i % 2 == 0) {
      ASSERT_EQ(people.Add("same", room), kDone);
    } else {
      ASSERT_EQ(Elsewhere([&](People& theirs) { return theirs.Add("SAME", room); }), kDone);
    }
    expected.push_back((i % 2 == 0 ? "same/" : "SAME/") + room);
  }
  EXPECT_EQ(people.All(), expected);
}

TEST_F(TesseraProcess, ManyWhoMakeTheSameRelationMakeItOnce) {
  for (int round = 0; round < 10; ++round) {
    const std::string name = "r" + std::to_string(round);
    const auto results = InChildren(4, [&](int) {
      const dbError status = tesRel::create(Directory().c_str(), name.c_str(), sizeof(Person),
                                            kKeyAt, kKeyBytes, false);
      if (status != kDone && status != kStandsAlready) return 255;
      tesseraBase session;
      const People people(session, Directory(), name.c_str());
      return status == kDone && people.status() == kDone ? 1 : 0;
    });
    int made = 0;
    for (const int result : results) made += result;
    EXPECT_EQ(made, 1) << round;
    EXPECT_EQ(Opening(name.c_str()), kDone);
  }
}

// ---- forks

TEST_F(TesseraProcess, AnObjectDoesNotOutliveAForkAndAFreshOneWorks) {
  Make(false);
  People people(session_, Directory());
  ASSERT_EQ(people.Add("alice", "parent"), kDone);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(people.Get("alice"), kDone);
  ASSERT_EQ(people.begin(0), kDone);
  ASSERT_EQ(people.first(), kDone);
  EXPECT_EQ(InChild([&] {
              const dbError statuses[] = {
                  people.next(), people.first(),    people.Get("alice"),   people.find(),
                  people.put(),  people.del(),      people.add(),          people.begin(0),
                  people.end(),  people.attach(-1), people.lock(false, 0), people.unlock()};
              for (const dbError status : statuses) {
                if (status != kNotOpenNow) return 1;
              }
              People own(session_, Directory());  // the session is as good here as there
              if (own.Get("alice") != kDone || own.room() != "parent") return 2;
              own.Set("alice", "child");
              if (own.put() != kDone) return 3;
              return own.Add("bob", "child") == kDone ? 0 : 4;
            }),
            0);
  EXPECT_EQ(people.All(), (Texts{"alice/child", "bob/child"}));
}

TEST_F(TesseraProcess, ParentAndChildGoOnBesideEachOther) {
  Make(false);
  auto inherited = std::make_unique<People>(session_, Directory());
  ASSERT_EQ(inherited->Add("before"), kDone);
  const pid_t child = Spawn([&] {
    inherited.reset();
    tesseraBase session;
    for (int i = 0; i < 50; ++i) {
      People people(session, Directory());
      if (people.lock(false, kForEver) != kDone) return 1;
      if (people.Add("child" + std::to_string(i)) != kDone) return 2;
    }
    return 0;
  });
  for (int i = 0; i < 50; ++i) {
    People people(session_, Directory());
    ASSERT_EQ(people.lock(false, kForEver), kDone);
    ASSERT_EQ(people.Add("parent" + std::to_string(i)), kDone);
  }
  EXPECT_EQ(Wait(child), 0);
  EXPECT_EQ(inherited->All().size(), 101u);
}

}  // namespace
}  // namespace qob::testing
