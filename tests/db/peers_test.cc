// The records of the peer database, kept through the process's relation.
#include <thread>

#include "db/db_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using Peers = Databases;
using Names = std::vector<std::string>;

const std::vector<std::int32_t> kNumbers = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

TEST_F(Peers, ComeBackAsTheyWereAdded) {
  StartPeers({Peer("example.org", kNumbers)});
  PeerRecord out{};
  out.reserved = 77;
  ASSERT_EQ(FindPeerRecord(&out, "example.org"), 0);
  EXPECT_STREQ(out.domain, "example.org");
  EXPECT_EQ(out.reserved, 77);
  EXPECT_EQ(out.flag0, 1);
  EXPECT_EQ(out.AcceptMail, 2);
  EXPECT_EQ(out.flag2, 3);
  EXPECT_EQ(out.flag3, 4);
  EXPECT_EQ(out.value4, 5);
  EXPECT_EQ(out.MaxInBoundSize, 6);
  EXPECT_EQ(out.MaxOutBoundSize, 7);
  EXPECT_EQ(out.MesageQueuedBeforeAttempt, 8);
  EXPECT_EQ(out.QueueRunInterval, 9);
  EXPECT_EQ(out.RetryPeriod, 10);
  EXPECT_EQ(out.MaxSMTPSessions, 11);
  EXPECT_EQ(out.MaxMesgPerSession, 12);
}

TEST_F(Peers, StandInTheRelationAsOthersReadIt) {
  PeerRecord record = Peer("example.org", kNumbers);
  record.reserved = 77;
  StartPeers({record});
  tesseraBase session;
  RawPeers raw(session, spool_.queue(), "peerdb");
  const Names all = raw.All();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(NumberAt(all[0], 0), 0);
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(NumberAt(all[0], 4 + static_cast<std::size_t>(i) * 4), i + 1);
  }
  EXPECT_EQ(TextAt(all[0], 52, 128), "example.org");
}

TEST_F(Peers, AreFoundExactlyAndInAnyCase) {
  StartPeers({Peer("Example.org", kNumbers)});
  PeerRecord out{};
  EXPECT_EQ(FindPeerRecord(&out, "eXAMPLE.ORG"), 0);
  EXPECT_STREQ(out.domain, "Example.org");
  for (const char* other : {"mx.example.org", "org", "", ".example.org", "example.org."}) {
    EXPECT_EQ(FindPeerRecord(&out, other), 4) << other;
  }
}

TEST_F(Peers, ThatAreNotThereGive4AndLeaveTheBuffer) {
  StartPeers({Peer("example.org", kNumbers)});
  PeerRecord out = Peer("kept", kNumbers);
  EXPECT_EQ(FindPeerRecord(&out, "example.com"), 4);
  EXPECT_STREQ(out.domain, "kept");
  EXPECT_EQ(UpdatePeerRecord(&out), 4);
  EXPECT_EQ(DelPeerRecord("example.com"), 4);
}

TEST_F(Peers, HaveOneRecordEach) {
  StartPeers({Peer("example.org")});
  const PeerRecord again = Peer("EXAMPLE.ORG", kNumbers);
  EXPECT_EQ(InsPeerRecord(&again), 5);
  EXPECT_EQ(AllDomains(), Names{"example.org"});
}

TEST_F(Peers, GetOtherNumbersAndKeepTheirNameAndLeadingBytes) {
  MakePeers();
  tesseraBase session;
  RawPeers raw(session, spool_.queue(), "peerdb");
  raw.Number(0, 99);
  raw.Put(52, "Example.org");
  ASSERT_EQ(raw.add(), 0);
  ASSERT_EQ(libpeer_init(), 0);
  const PeerRecord other = Peer("EXAMPLE.org", kNumbers);
  EXPECT_EQ(UpdatePeerRecord(&other), 0);
  const Names all = raw.All();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(NumberAt(all[0], 0), 99);
  EXPECT_EQ(NumberAt(all[0], 4), 1);
  EXPECT_EQ(NumberAt(all[0], 48), 12);
  EXPECT_EQ(TextAt(all[0], 52, 128), "Example.org");
}

TEST_F(Peers, AreDeletedByName) {
  StartPeers({Peer("a"), Peer("b"), Peer("c")});
  EXPECT_EQ(DelPeerRecord("B"), 0);
  EXPECT_EQ(AllDomains(), (Names{"a", "c"}));
  EXPECT_EQ(DelPeerRecord("b"), 4);
}

TEST_F(Peers, AreWalkedByName) {
  StartPeers({Peer("c"), Peer("A"), Peer("b"), Peer("default")});
  EXPECT_EQ(AllDomains(), (Names{"A", "b", "c", "default"}));
  EXPECT_EQ(AllDomains(), (Names{"A", "b", "c", "default"}));
}

TEST_F(Peers, EndWith17AgainAndAgain) {
  StartPeers({Peer("a")});
  PeerRecord out{};
  EXPECT_EQ(GetFirstPeerRecord(&out), 0);
  EXPECT_EQ(GetNextPeerRecord(&out), 17);
  EXPECT_EQ(GetNextPeerRecord(&out), 17);
}

TEST_F(Peers, OfAnEmptyRelationAreNone) {
  StartPeers();
  EXPECT_TRUE(AllDomains().empty());
  PeerRecord out{};
  EXPECT_EQ(GetNextPeerRecord(&out), 17);
}

TEST_F(Peers, NextWithoutFirstGivesTheFirst) {
  StartPeers({Peer("a"), Peer("b")});
  PeerRecord out{};
  ASSERT_EQ(GetNextPeerRecord(&out), 0);
  EXPECT_STREQ(out.domain, "a");
  ASSERT_EQ(GetNextPeerRecord(&out), 0);
  EXPECT_EQ(GetNextPeerRecord(&out), 17);
}

TEST_F(Peers, AWalkThatChangesWhatItMeetsEnds) {
  StartPeers({Peer("a"), Peer("b"), Peer("c"), Peer("d")});
  PeerRecord out{};
  int met = 0;
  int32_t result = GetFirstPeerRecord(&out);
  for (; result == 0 && met < 100; result = GetNextPeerRecord(&out), ++met) {
    out.QueueRunInterval = 30;
    EXPECT_EQ(UpdatePeerRecord(&out), 0);
  }
  EXPECT_EQ(result, 17);
  EXPECT_EQ(met, 4);
  EXPECT_EQ(GetPeerQueueRunInterval("d"), 30);
}

TEST_F(Peers, AWalkThatDeletesWhatItMeetsEnds) {
  StartPeers({Peer("a"), Peer("b"), Peer("c")});
  PeerRecord out{};
  int met = 0;
  int32_t result = GetFirstPeerRecord(&out);
  for (; result == 0 && met < 100; result = GetNextPeerRecord(&out), ++met) {
    EXPECT_EQ(DelPeerRecord(out.domain), 0);
  }
  EXPECT_EQ(met, 3);
  EXPECT_TRUE(AllDomains().empty());
}

// The pass takes no lock: it goes on while another holds it.
TEST_F(Peers, AreWalkedBesideAHolderOfTheLock) {
  StartPeers({Peer("a"), Peer("b")});
  tesseraBase session;
  RawPeers holder(session, spool_.queue(), "peerdb");
  ASSERT_EQ(holder.lock(false, kForever), 0);
  EXPECT_EQ(AllDomains(), (Names{"a", "b"}));
  EXPECT_EQ(ClosePeerFile(), 0);
}

TEST_F(Peers, AreChangedAndFoundUnderTheLockWhateverTheResult) {
  StartPeers();
  tesseraBase session;
  RawPeers holder(session, spool_.queue(), "peerdb");
  const PeerRecord record = Peer("a");
  const PeerRecord other = Peer("b");
  PeerRecord out{};
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(OpenPeerFile(), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(OpenPeerFile(), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(InsPeerRecord(&record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(InsPeerRecord(&record), 5); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(UpdatePeerRecord(&record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(UpdatePeerRecord(&other), 4); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindPeerRecord(&out, "a"), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindPeerRecord(&out, "b"), 4); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindPeerRecordV2(&out, "a"), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindPeerRecordV2(&out, "b"), 4); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(DelPeerRecord("a"), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(DelPeerRecord("a"), 4); });
}

TEST_F(Peers, HaveNamesOf127Characters) {
  const std::string longest(127, 'n');
  StartPeers({Peer(longest, kNumbers)});
  PeerRecord out{};
  EXPECT_EQ(FindPeerRecord(&out, longest.c_str()), 0);
  EXPECT_EQ(std::string(out.domain), longest);
}

TEST_F(Peers, OfLongerNamesHaveTheir127Characters) {
  const std::string name = std::string(127, 'n') + std::string(73, 'm');
  StartPeers({Peer(name, kNumbers)});  // fills its place, without a NUL
  PeerRecord out{};
  EXPECT_EQ(FindPeerRecord(&out, name.c_str()), 0);
  EXPECT_EQ(std::string(out.domain), std::string(127, 'n'));
  PeerRecord other = Peer(name, {9});
  EXPECT_EQ(UpdatePeerRecord(&other), 0);
  EXPECT_EQ(FindPeerRecordV2(&out, name.c_str()), 0);
  EXPECT_EQ(out.flag0, 9);
  EXPECT_EQ(InsPeerRecord(&other), 5);
  EXPECT_EQ(DelPeerRecord(name.c_str()), 0);
}

TEST_F(Peers, NeedStartUp) {
  MakePeers();
  const PeerRecord record = Peer("a");
  PeerRecord out{};
  EXPECT_EQ(InsPeerRecord(&record), -1);
  EXPECT_EQ(UpdatePeerRecord(&record), -1);
  EXPECT_EQ(DelPeerRecord("a"), -1);
  EXPECT_EQ(FindPeerRecord(&out, "a"), -1);
  EXPECT_EQ(GetFirstPeerRecord(&out), -1);
  EXPECT_EQ(GetNextPeerRecord(&out), -1);
  EXPECT_EQ(OpenPeerFile(), 0);
  EXPECT_EQ(libpeer_init(), 0);
  EXPECT_EQ(InsPeerRecord(&record), 0);
  libpeer_fini();
  libpeer_fini();
  EXPECT_EQ(InsPeerRecord(&record), -1);
}

TEST_F(Peers, TakeNoNull) {
  StartPeers({Peer("a")});
  PeerRecord out{};
  EXPECT_EQ(InsPeerRecord(nullptr), -1);
  EXPECT_EQ(UpdatePeerRecord(nullptr), -1);
  EXPECT_EQ(DelPeerRecord(nullptr), -1);
  EXPECT_EQ(FindPeerRecord(nullptr, "a"), -1);
  EXPECT_EQ(FindPeerRecord(&out, nullptr), -1);
  EXPECT_EQ(FindPeerRecordV2(nullptr, "a"), -1);
  EXPECT_EQ(FindPeerRecordV2(&out, nullptr), -1);
  EXPECT_EQ(GetFirstPeerRecord(nullptr), -1);
  EXPECT_EQ(GetNextPeerRecord(nullptr), -1);
}

TEST_F(Peers, AnEmptyRelationGetsExactlyOneRecord) {
  StartPeers();
  EXPECT_EQ(OpenPeerFile(), 0);
  EXPECT_EQ(OpenPeerFile(), 0);
  EXPECT_EQ(AllDomains(), Names{"default"});
  tesseraBase session;
  RawPeers raw(session, spool_.queue(), "peerdb");
  RawPeers wanted(session, spool_.queue(), "peerdb");
  std::size_t at = 4;
  for (const std::int32_t value : {1, 1, 1, 1, 0, 0, 0, 0, 15, 72, 5, 6}) {
    wanted.Number(at, value);
    at += 4;
  }
  wanted.Put(52, "default");
  EXPECT_EQ(raw.All(), Names{std::string(wanted.bytes, 180)});
}

TEST_F(Peers, ARelationWithAnyRecordIsLeftAsItIs) {
  StartPeers({Peer("example.org")});
  EXPECT_EQ(OpenPeerFile(), 0);
  EXPECT_EQ(AllDomains(), Names{"example.org"});
}

TEST_F(Peers, ARelationThatDidNotOpenGivesItsStatus) {
  libpeer_init();
  EXPECT_EQ(OpenPeerFile(), 3);
  const PeerRecord record = Peer("a");
  EXPECT_EQ(InsPeerRecord(&record), 3);
  PeerRecord out{};
  EXPECT_EQ(GetFirstPeerRecord(&out), 3);
  EXPECT_EQ(GetNextPeerRecord(&out), 3);
}

TEST_F(Peers, OfManyProcessesThatFindNoneOneAddsTheDefault) {
  for (int round = 0; round < 5; ++round) {
    std::filesystem::remove_all(spool_.queue());
    std::filesystem::create_directory(spool_.queue());
    MakePeers();
    EXPECT_EQ(InChildren(6, [](int) { return libpeer_init() | OpenPeerFile(); }),
              std::vector<int>(6, 0));
    ASSERT_EQ(libpeer_init(), 0);
    EXPECT_EQ(AllDomains(), Names{"default"});
    libpeer_fini();
  }
}

TEST_F(Peers, OfAParentGive3InItsChild) {
  StartPeers({Peer("a")});
  EXPECT_EQ(InChild([] {
              PeerRecord out{};
              return FindPeerRecord(&out, "a");
            }),
            3);
}

TEST_F(Peers, OfOneProcessMayBeKeptByManyThreads) {
  StartPeers({Peer("default", {1, 1})});
  std::vector<std::thread> threads;
  for (int who = 0; who < 4; ++who) {
    threads.emplace_back([who] {
      PeerRecord out{};
      for (int i = 0; i < 20; ++i) {
        const std::string name = std::to_string(who * 100 + i);
        PeerRecord record = Peer(name, {1, 1, 1, 1, 0, 0, 0, 0, i + 1});
        EXPECT_EQ(InsPeerRecord(&record), 0);
        EXPECT_EQ(UpdatePeerRecord(&record), 0);
        EXPECT_EQ(FindPeerRecord(&out, name.c_str()), 0);
        GetFirstPeerRecord(&out);
        GetNextPeerRecord(&out);
        EXPECT_EQ(GetPeerQueueRunInterval(("mx." + name).c_str()), i + 1);
        if (i % 2 == 0) {
          EXPECT_EQ(DelPeerRecord(name.c_str()), 0);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(AllDomains().size(), 41U);
}

}  // namespace
}  // namespace qob::testing
