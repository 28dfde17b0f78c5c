// Memory that fails and system calls that fail: the documented result, nothing half-written, no
// database lost.
#include "db/db_fixture.h"
#include "support/captured_log.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

constexpr os::Call kCalls[] = {os::Call::kOpen,   os::Call::kClose,  os::Call::kRead,
                               os::Call::kWrite,  os::Call::kSeek,   os::Call::kStat,
                               os::Call::kFlush,  os::Call::kRename, os::Call::kRemove,
                               os::Call::kAccess, os::Call::kLock,   os::Call::kMode};

class DatabaseFaults : public Databases {
 protected:
  template <class Attempt, class Check>
  static void Each(Attempt&& attempt, Check&& check) {
    FailEachAllocation(attempt, [&](bool) { check(); });
    for (const os::Call call : kCalls) FailEachCall(call, attempt, [&](bool) { check(); });
  }
};

TEST_F(DatabaseFaults, OfLookupsGiveTheRecordOrMinusOne) {
  StartMagic({Magic("gif", "image", "gif", "GIFfogle")});
  libmagic_fini();
  MagicRecordBuffer out{};
  int32_t result = 0;
  Each(
      [&] {
        out.record.contentType[0] = '\0';
        result = GetMagicFromExtension("GIF", &out.record);
      },
      [&] {
        EXPECT_TRUE(result == 0 || result == -1) << result;
        EXPECT_STREQ(out.record.contentType, result == 0 ? "image" : "");
      });
  EXPECT_EQ(GetMagicFromExtension("gif", &out.record), 0);
}

TEST_F(DatabaseFaults, OfGettersGiveTheValueOrTheBuiltInOne) {
  StartPeers({Peer("example.org", {1, 0, 1, 1, 0, 64, 65, 1, 30, 31, 32, 33})});
  libpeer_fini();
  int32_t interval = 0;
  int32_t accept = 0;
  int32_t queued = 0;
  PeerDomainInfo info{};
  Each(
      [&] {
        interval = GetPeerQueueRunInterval("mx.example.org");
        accept = GetAcceptMailValue("mx.example.org");
        queued = GetPeerMesageQueuedBeforeAttempt("mx.example.org");
        info = {-1, -1};
        EXPECT_EQ(GetPeerDomainInfo("mx.example.org", &info), 0);
      },
      [&] {
        EXPECT_TRUE(interval == 30 || interval == 15) << interval;
        EXPECT_TRUE(accept == 0 || accept == 1) << accept;
        EXPECT_TRUE(queued == 1 || queued == 0) << queued;
        EXPECT_TRUE(info.accept >= -1 && info.accept <= 1);
      });
  EXPECT_EQ(GetPeerQueueRunInterval("mx.example.org"), 30);
}

TEST_F(DatabaseFaults, OfARecordAloneGiveItOrTheBuiltInValues) {
  StartPeers({Peer("example.org", {1, 0, 1, 1, 0, 64, 65, 1, 30, 31, 32, 33})});
  libpeer_fini();
  PeerRecord out{};
  int32_t result = 0;
  Each(
      [&] {
        out = PeerRecord{};
        result = FindPeerRecordV2(&out, "example.org");
      },
      [&] {
        if (result == 0) {
          EXPECT_STREQ(out.domain, "example.org");
          EXPECT_TRUE(out.RetryPeriod == 31 || out.RetryPeriod == 72);
        } else {
          EXPECT_STREQ(out.domain, "");
        }
      });
}

TEST_F(DatabaseFaults, OfTheBanCheckGiveTheAnswerOr0) {
  MakeBans();
  Ban("ann@example.org");
  int32_t result = 0;
  Each([&] { result = BanUserExist("ann@example.org"); },
       [&] { EXPECT_TRUE(result == 0 || result == 1) << result; });
  EXPECT_EQ(BanUserExist("ann@example.org"), 1);
}

// An error is told and nothing is half there; what was said to be done is.
TEST_F(DatabaseFaults, OfChangesLeaveTheRecordsWhole) {
  StartPeers({Peer("kept", {7})});
  const PeerRecord record = Peer("example.org", {1});
  PeerRecord changed = Peer("example.org", {2});
  int32_t added = 0;
  int32_t updated = 0;
  int32_t deleted = 0;
  Each(
      [&] {
        added = InsPeerRecord(&record);
        updated = UpdatePeerRecord(&changed);
        deleted = DelPeerRecord("example.org");
      },
      [&] {
        for (const int32_t result : {added, updated, deleted}) {
          EXPECT_GE(result, 0);
        }
        libpeer_init();  // a connection that has failed is opened anew
        PeerRecord out{};
        const int32_t found = FindPeerRecord(&out, "example.org");
        ASSERT_TRUE(found == 0 || found == 4) << found;
        if (deleted == 0) {
          EXPECT_EQ(found, 4);
        }
        if (added == 0 && deleted != 0) {
          EXPECT_EQ(found, 0);
        }
        if (found == 0) {
          EXPECT_EQ(DelPeerRecord("example.org"), 0);
        }
        EXPECT_EQ(FindPeerRecord(&out, "kept"), 0);
      });
}

TEST_F(DatabaseFaults, OfStartUpAreToldAndTheNextStartFindsAll) {
  InstallSeeds();
  CapturedLog log;
  Each(
      [&] {
        SuspendFailing(true);
        libmagic_fini();
        fs::remove_all(spool_.queue());
        fs::create_directory(spool_.queue());
        log.Clear();
        SuspendFailing(false);
        libmagic_init();
      },
      [&] {
        ASSERT_EQ(log.lines().size(), 1U);
        MagicRecordBuffer out{};
        const bool opened = log.lines()[0] == LogLine{6, "Libmagic", "magic db opened"};
        if (!opened) {
          EXPECT_EQ(log.lines()[0], (LogLine{1, "Libmagic", "magic db not opened"}));
          libmagic_init();
        }
        EXPECT_EQ(FindMagicRecord(&out.record, "pdf"), 0);
      });
}

// 0 where it left no relation at all, for which maintenance then gives -1; 101 of a relation; 1
// where the configuration could not be read and a seed was looked for.
TEST_F(DatabaseFaults, OfMemoryAtThePeersStartUpLoseNoRecord) {
  InstallSeeds();
  StartPeers({Peer("example.org", {7})});
  std::int32_t started = 0;
  FailEachAllocation(
      [&] {
        SuspendFailing(true);
        libpeer_fini();
        SuspendFailing(false);
        started = libpeer_init();
      },
      [&](bool triggered) {
        EXPECT_TRUE(started == 0 || (triggered && (started == 101 || started == 1))) << started;
        PeerRecord out{};
        const std::int32_t found = FindPeerRecord(&out, "example.org");
        if (started == 0) {
          EXPECT_EQ(found, triggered ? -1 : 0);
          EXPECT_EQ(OpenPeerFile(), 0);
        }
        EXPECT_EQ(libpeer_init(), 0);
        EXPECT_EQ(AllDomains(), std::vector<std::string>{"example.org"});
      });
}

TEST_F(DatabaseFaults, OfTheFirstDefaultRecordLeaveOneOrNone) {
  const auto start_empty = [&] {
    libpeer_fini();
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    StartPeers();
  };
  start_empty();
  int32_t result = 0;
  Each([&] { result = OpenPeerFile(); },
       [&] {
         ASSERT_EQ(libpeer_init(), 0);
         const std::vector<std::string> domains = AllDomains();
         if (result == 0) {
           EXPECT_EQ(domains, std::vector<std::string>{"default"});
         }
         EXPECT_LE(domains.size(), 1U);
         start_empty();
       });
}

}  // namespace
}  // namespace qob::testing
