// What holds for a domain, through a relation that each call opens for itself.
#include <climits>
#include <thread>

#include "db/db_fixture.h"
#include "support/captured_log.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class PeerGetters : public Databases {
 protected:
  void Start(const std::vector<PeerRecord>& records) {
    StartPeers(records);
    libpeer_fini();
  }
  static PeerRecord Interval(const char* domain, std::int32_t value) {
    return Peer(domain, {1, 1, 1, 1, 0, 0, 0, 0, value});
  }
  static void ExpectBuiltIn(const char* name) {
    EXPECT_EQ(GetAcceptMailValue(name), 1);
    EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt(name), 0);
    EXPECT_EQ(GetPeerQueueRunInterval(name), 15);
    EXPECT_EQ(GetPeerRetryPeriod(name), 72);
    EXPECT_EQ(GetPeerMaxSMTPSessions(name), 5);
    EXPECT_EQ(GetPeerMaxMesgPerSession(name), 6);
    EXPECT_EQ(GetMaxInBoundSize(name), 0);
    EXPECT_EQ(GetMaxOutBoundSize(name), 0);
  }
};

TEST_F(PeerGetters, TakeTheNearestRecordAndThenDefault) {
  Start({Interval("example.org", 30), Interval("default", 10)});
  EXPECT_EQ(GetPeerQueueRunInterval("mx.example.org"), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("other.net"), 10);
}

TEST_F(PeerGetters, GiveTheBuiltInValueWithoutDefault) {
  Start({Interval("example.org", 30)});
  EXPECT_EQ(GetPeerQueueRunInterval("other.net"), 15);
}

TEST_F(PeerGetters, GiveTheBuiltInValueWhereDefaultHolds0) {
  Start({Interval("example.org", 30), Interval("default", 0)});
  EXPECT_EQ(GetPeerQueueRunInterval("other.net"), 15);
}

TEST_F(PeerGetters, PassOverARecordThatHolds0) {
  Start({Interval("example.org", 0), Interval("default", 10)});
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 10);
}

TEST_F(PeerGetters, PassOverARecordThatHolds0OnTheWayToItsParent) {
  Start({Interval("a.example.org", 0), Interval("example.org", -1), Interval("org", 40),
         Interval("default", 10)});
  EXPECT_EQ(GetPeerQueueRunInterval("mx.a.example.org"), 40);
}

TEST_F(PeerGetters, PassOverNegativeNumbers) {
  Start({Interval("example.org", INT_MIN), Interval("default", INT_MAX)});
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), INT_MAX);
}

TEST_F(PeerGetters, PassOver0AndLessInEveryNumber) {
  const std::vector<std::int32_t> none(12, 0);
  const std::vector<std::int32_t> less(12, -1);
  Start({Peer("mx.example.org", none), Peer("example.org", less),
         Peer("org", {9, 9, 9, 9, 9, 64, 65, 9, 30, 31, 32, 33}), Peer("default", less)});
  EXPECT_EQ(GetMaxInBoundSize("mx.example.org"), 64);
  EXPECT_EQ(GetMaxOutBoundSize("mx.example.org"), 65);
  EXPECT_EQ(GetPeerQueueRunInterval("mx.example.org"), 30);
  EXPECT_EQ(GetPeerRetryPeriod("mx.example.org"), 31);
  EXPECT_EQ(GetPeerMaxSMTPSessions("mx.example.org"), 32);
  EXPECT_EQ(GetPeerMaxMesgPerSession("mx.example.org"), 33);
  EXPECT_EQ(GetMaxInBoundSize("net"), 0);
  EXPECT_EQ(GetMaxOutBoundSize("net"), 0);
  EXPECT_EQ(GetPeerQueueRunInterval("net"), 15);
  EXPECT_EQ(GetPeerRetryPeriod("net"), 72);
  EXPECT_EQ(GetPeerMaxSMTPSessions("net"), 5);
  EXPECT_EQ(GetPeerMaxMesgPerSession("net"), 6);
}

TEST_F(PeerGetters, NeverGiveOneDomainNoLimitWhereDefaultHasOne) {
  Start({Peer("example.org", {1, 1, 1, 1, 0, 0, 0}), Peer("default", {1, 1, 1, 1, 0, 100, 200})});
  EXPECT_EQ(GetMaxInBoundSize("example.org"), 100);
  EXPECT_EQ(GetMaxOutBoundSize("example.org"), 200);
}

TEST_F(PeerGetters, ReadEachItsOwnNumber) {
  Start({Peer("example.org", {91, 92, 93, 94, 95, 96, 97, 1, 98, 99, 100, 101})});
  EXPECT_EQ(GetAcceptMailValue("example.org"), 92);
  EXPECT_EQ(GetMaxInBoundSize("example.org"), 96);
  EXPECT_EQ(GetMaxOutBoundSize("example.org"), 97);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("example.org"), 1);
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 98);
  EXPECT_EQ(GetPeerRetryPeriod("example.org"), 99);
  EXPECT_EQ(GetPeerMaxSMTPSessions("example.org"), 100);
  EXPECT_EQ(GetPeerMaxMesgPerSession("example.org"), 101);
}

TEST_F(PeerGetters, AcceptNoMailWhereTheDomainSaysSo) {
  Start({Peer("example.org", {1, 0}), Peer("default", {1, 1})});
  EXPECT_EQ(GetAcceptMailValue("example.org"), 0);
  EXPECT_EQ(GetAcceptMailValue("mx.example.org"), 0);
  EXPECT_EQ(GetAcceptMailValue("example.net"), 1);
}

TEST_F(PeerGetters, AcceptWhatADomainSaysThoughItsParentDoesNot) {
  Start({Peer("mx.example.org", {1, -5}), Peer("example.org", {1, 0}), Peer("default", {1, 0})});
  EXPECT_EQ(GetAcceptMailValue("mx.example.org"), -5);
  EXPECT_EQ(GetAcceptMailValue("example.net"), 0);
}

TEST_F(PeerGetters, QueueBeforeTheFirstAttemptOnlyForThe1) {
  Start({Peer("one", {1, 1, 1, 1, 0, 0, 0, 1}), Peer("two", {1, 1, 1, 1, 0, 0, 0, 2}),
         Peer("none.one"), Peer("default", {1, 1, 1, 1, 0, 0, 0, 1})});
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("one"), 1);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("mx.one"), 1);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("two"), 0);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("none.one"), 0);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("other"), 1);
}

TEST_F(PeerGetters, PassOverAFullStopAtTheBeginning) {
  Start({Peer("example.org", {1, 0, 1, 1, 0, 0, 0, 0, 30})});
  EXPECT_EQ(GetPeerQueueRunInterval(".example.org"), 30);
  EXPECT_EQ(GetAcceptMailValue(".example.org"), 0);
}

TEST_F(PeerGetters, LookForTheFirst127CharactersOfALongName) {
  const std::string name(200, 'n');
  Start({Peer(name.substr(0, 127), {1, 0, 1, 1, 0, 64, 65, 1, 30, 31, 32, 33})});
  EXPECT_EQ(GetPeerQueueRunInterval(name.c_str()), 30);
  EXPECT_EQ(GetAcceptMailValue(name.c_str()), 0);
  EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt(name.c_str()), 1);
  PeerDomainInfo info{};
  GetPeerDomainInfo(name.c_str(), &info);
  EXPECT_EQ(info.accept, 0);
  EXPECT_EQ(info.maxInBoundSize, 64);
}

TEST_F(PeerGetters, WalkTheWholeOfALongName) {
  Start({Interval("example.org", 30)});
  EXPECT_EQ(GetPeerQueueRunInterval((std::string(200, 'n') + ".example.org").c_str()), 30);
  EXPECT_EQ(GetAcceptMailValue((std::string(200, 'n') + ".example.org").c_str()), 1);
}

TEST_F(PeerGetters, FindARecordWithoutAName) {
  Start({Interval("", 30), Interval("default", 10)});
  EXPECT_EQ(GetPeerQueueRunInterval(""), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("."), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("example.org."), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 10);
}

TEST_F(PeerGetters, TakeNoPatterns) {
  Start({Interval("*", 30), Interval("*.org", 31)});
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 15);
}

TEST_F(PeerGetters, GiveBuiltInValuesForNull) {
  Start({Peer("default", {0, 0, 0, 0, 0, 9, 9, 1, 9, 9, 9, 9})});
  ExpectBuiltIn(nullptr);
}

TEST_F(PeerGetters, GiveBuiltInValuesWithoutARelation) {
  ExpectBuiltIn("example.org");
  EXPECT_TRUE(std::filesystem::is_empty(spool_.queue()));
}

TEST_F(PeerGetters, GiveBuiltInValuesForADamagedRelation) {
  spool_.Write(Queue("peerdb.db"), "no database");
  ExpectBuiltIn("example.org");
  EXPECT_EQ(TempSpool::Read(Queue("peerdb.db")), "no database");
}

TEST_F(PeerGetters, GiveBuiltInValuesForAnEmptyRelation) {
  Start({});
  ExpectBuiltIn("example.org");
}

TEST_F(PeerGetters, GiveBuiltInValuesWithoutAQueueDirectory) {
  spool_.SetWholeIni("");
  ExpectBuiltIn("example.org");
}

TEST_F(PeerGetters, SeeWhatAnotherProcessHasChanged) {
  Start({Interval("example.org", 30)});
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 30);
  EXPECT_EQ(InChild([&] {
              const PeerRecord other = Interval("example.org", 60);
              return libpeer_init() | UpdatePeerRecord(&other);
            }),
            0);
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 60);
}

TEST_F(PeerGetters, WaitForTheLock) {
  Start({Interval("example.org", 30)});
  tesseraBase session;
  RawPeers holder(session, spool_.queue(), "peerdb");
  ASSERT_EQ(holder.lock(false, kForever), 0);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder.Put(52, "example.org");
    EXPECT_EQ(holder.get(0), 0);
    holder.Number(4 + 8 * 4, 60);
    EXPECT_EQ(holder.put(), 0);
    EXPECT_EQ(holder.unlock(), 0);
  });
  EXPECT_EQ(GetPeerQueueRunInterval("example.org"), 60);
  other.join();
}

TEST_F(PeerGetters, AllTakeTurns) {
  Start({Peer("org", {1, 0, 1, 1, 0, 64, 65, 1, 30, 31, 32, 33})});
  tesseraBase session;
  RawPeers holder(session, spool_.queue(), "peerdb");
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetAcceptMailValue("org"), 0); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt("org"), 1); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetPeerQueueRunInterval("org"), 30); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetPeerRetryPeriod("org"), 31); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetPeerMaxSMTPSessions("org"), 32); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetPeerMaxMesgPerSession("org"), 33); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetMaxInBoundSize("org"), 64); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(GetMaxOutBoundSize("org"), 65); });
  PeerDomainInfo info{};
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(GetPeerDomainInfo("org", &info), 0); });
  EXPECT_EQ(info.maxInBoundSize, 64);
}

TEST_F(PeerGetters, LeaveNoLockBehind) {
  Start({Interval("example.org", 30)});
  ExpectBuiltIn("example.net");
  PeerDomainInfo info{};
  PeerRecord out{};
  GetPeerDomainInfo("example.net", &info);
  FindPeerRecordV2(&out, "example.net");
  tesseraBase session;
  RawPeers other(session, spool_.queue(), "peerdb");
  EXPECT_EQ(other.lock(false, 0), 0);
}

class DomainInfo : public PeerGetters {
 protected:
  static PeerDomainInfo Info(const char* domain) {
    PeerDomainInfo info{-7, -7};
    EXPECT_EQ(GetPeerDomainInfo(domain, &info), 0);
    return info;
  }
  static void ExpectInfo(const char* domain, std::int32_t accept, std::int32_t size) {
    const PeerDomainInfo info = Info(domain);
    EXPECT_EQ(info.accept, accept) << domain;
    EXPECT_EQ(info.maxInBoundSize, size) << domain;
  }
};

TEST_F(DomainInfo, ComesFromTheFirstRecordWhateverItHolds) {
  Start({Peer("example.org", {1, 7, 1, 1, 0, 500}), Peer("a.example.org", {1, 0, 1, 1, 0, 0}),
         Peer("b.example.org", {1, 1, 1, 1, 0, -1}), Peer("default", {1, 0, 1, 1, 0, 90})});
  ExpectInfo("example.org", 1, 500);
  ExpectInfo("mx.example.org", 1, 500);
  ExpectInfo("mx.a.example.org", 0, 0);
  ExpectInfo("b.example.org", 1, 0);
  ExpectInfo("example.net", 0, 90);
  ExpectInfo(".example.org", 1, 500);
}

TEST_F(DomainInfo, OfADefaultWithoutLimitIs0) {
  Start({Peer("default", {1, 1, 1, 1, 0, -3})});
  ExpectInfo("example.net", 1, 0);
}

// Nothing of a record that was looked at before stays behind.
TEST_F(DomainInfo, WithoutAnyRecordAcceptsWithoutLimit) {
  Start({Peer("example.org", {1, 0, 1, 1, 0, 500})});
  ExpectInfo("example.net", 1, 0);
}

TEST_F(DomainInfo, OfNullIsLeftAlone) {
  Start({Peer("default", {1, 0})});
  ExpectInfo(nullptr, -7, -7);
  EXPECT_EQ(GetPeerDomainInfo("example.org", nullptr), 0);
}

TEST_F(DomainInfo, OfAMissingRelationIsLeftAloneWithoutAWord) {
  CapturedLog log;
  ExpectInfo("example.org", -7, -7);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DomainInfo, OfADamagedRelationIsLeftAloneAndTold) {
  spool_.Write(Queue("peerdb.db"), "no database");
  CapturedLog log;
  ExpectInfo("example.org", -7, -7);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{6, "", "peer database error 30"}}));
}

TEST_F(DomainInfo, OfARelationOfLengthZeroIsLeftAloneAndTold) {
  spool_.Write(Queue("peerdb.db"), "");
  CapturedLog log;
  ExpectInfo("example.org", -7, -7);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{6, "", "peer database error 22"}}));
}

class PeerRecordAlone : public PeerGetters {};

TEST_F(PeerRecordAlone, IsFoundByItsNameOnly) {
  Start({Peer("example.org", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), Peer("default")});
  PeerRecord out{};
  out.reserved = 77;
  EXPECT_EQ(FindPeerRecordV2(&out, "EXAMPLE.org"), 0);
  EXPECT_STREQ(out.domain, "example.org");
  EXPECT_EQ(out.reserved, 77);
  EXPECT_EQ(out.flag0, 1);
  EXPECT_EQ(out.MaxMesgPerSession, 12);
}

TEST_F(PeerRecordAlone, ThatIsNotThereGives4AndLeavesTheBuffer) {
  Start({Peer("example.org"), Peer("default")});
  PeerRecord out = Peer("kept", {9});
  EXPECT_EQ(FindPeerRecordV2(&out, "mx.example.org"), 4);
  EXPECT_STREQ(out.domain, "kept");
  EXPECT_EQ(out.flag0, 9);
}

TEST_F(PeerRecordAlone, WithoutARelationHasTheBuiltInValues) {
  PeerRecord out{};
  std::memset(&out, 'z', sizeof out);
  EXPECT_EQ(FindPeerRecordV2(&out, "example.org"), 0);
  EXPECT_STREQ(out.domain, "example.org");
  EXPECT_EQ(out.reserved, 0x7a7a7a7a);
  EXPECT_EQ(out.flag0, 1);
  EXPECT_EQ(out.AcceptMail, 1);
  EXPECT_EQ(out.flag2, 1);
  EXPECT_EQ(out.flag3, 1);
  EXPECT_EQ(out.value4, 0);
  EXPECT_EQ(out.MaxInBoundSize, 0);
  EXPECT_EQ(out.MaxOutBoundSize, 0x7a7a7a7a);
  EXPECT_EQ(out.MesageQueuedBeforeAttempt, 0);
  EXPECT_EQ(out.QueueRunInterval, 15);
  EXPECT_EQ(out.RetryPeriod, 72);
  EXPECT_EQ(out.MaxSMTPSessions, 5);
  EXPECT_EQ(out.MaxMesgPerSession, 6);
}

TEST_F(PeerRecordAlone, WithoutARelationHas127CharactersOfALongName) {
  PeerRecord out{};
  EXPECT_EQ(FindPeerRecordV2(&out, std::string(300, 'n').c_str()), 0);
  EXPECT_EQ(std::string(out.domain), std::string(127, 'n'));
}

TEST_F(PeerRecordAlone, OfADamagedRelationHasTheBuiltInValues) {
  spool_.Write(Queue("peerdb.db"), "no database");
  PeerRecord out{};
  EXPECT_EQ(FindPeerRecordV2(&out, "example.org"), 0);
  EXPECT_EQ(out.RetryPeriod, 72);
}

}  // namespace
}  // namespace qob::testing
