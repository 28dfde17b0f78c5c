// Start-up places a seed where there is no database, and nowhere else.
#include <sys/stat.h>

#include <algorithm>

#include "db/db_fixture.h"
#include "support/captured_log.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Seeding : public Databases {
 protected:
  Seeding() { InstallSeeds(); }

  static bool KnowsTypes() {
    MagicRecordBuffer out{};
    return FindMagicRecord(&out.record, "pdf") == 0;
  }
  std::string Bytes(const char* name) const { return TempSpool::Read(Queue(name)); }
  std::string Seed(const char* name) const { return spool_.path("srcdb") + "/" + name; }
};

TEST_F(Seeding, FillsAQueueDirectoryWithoutDatabases) {
  CapturedLog log;
  libmagic_init();
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{6, "Libmagic", "magic db opened"}}));
  EXPECT_TRUE(KnowsTypes());
  EXPECT_TRUE(Bytes("magicdb.db") == TempSpool::Read(Seed("magicdb.db")));
  EXPECT_TRUE(Bytes("magicdb.id0") == TempSpool::Read(Seed("magicdb.id0")));
}

TEST_F(Seeding, OfPeersTellsThatItWasNeeded) {
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(AllDomains(), Names{"default"});
  EXPECT_TRUE(Bytes("peerdb.db") == TempSpool::Read(Seed("peerdb.db")));
  EXPECT_TRUE(Bytes("peerdb.id0") == TempSpool::Read(Seed("peerdb.id0")));
  EXPECT_EQ(libpeer_init(), 0);
}

TEST_F(Seeding, OfPeersLeavesNoLogLine) {
  CapturedLog log;
  libpeer_init();
  fs::remove_all(spool_.path("srcdb"));
  fs::remove_all(spool_.queue());
  libpeer_init();
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Seeding, ReplacesADatabaseOfLengthZero) {
  spool_.Write(Queue("magicdb.db"), "");
  spool_.Write(Queue("peerdb.db"), "");
  libmagic_init();
  EXPECT_TRUE(KnowsTypes());
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(AllDomains(), Names{"default"});
}

TEST_F(Seeding, ReplacesADatabaseOfLengthZeroThatMayNotBeWritten) {
  spool_.Write(Queue("magicdb.db"), "");
  chmod(Queue("magicdb.db").c_str(), 0400);
  libmagic_init();
  EXPECT_TRUE(KnowsTypes());
}

TEST_F(Seeding, IsDoneOverAnIndexFileThatWasLeftOver) {
  spool_.Write(Queue("magicdb.id0"), "of a database that is gone");
  libmagic_init();
  EXPECT_TRUE(KnowsTypes());
  EXPECT_TRUE(Bytes("magicdb.id0") == TempSpool::Read(Seed("magicdb.id0")));
}

TEST_F(Seeding, NeedsNoIndexFileOfTheSeed) {
  fs::remove(Seed("magicdb.id0"));
  libmagic_init();
  EXPECT_TRUE(KnowsTypes());
}

TEST_F(Seeding, LeavesADatabaseWithRecordsAlone) {
  MakeMagic();
  MakePeers();
  libmagic_init();
  EXPECT_TRUE(AllExtensions().empty());
  EXPECT_EQ(libpeer_init(), 0);
  EXPECT_TRUE(AllDomains().empty());
}

TEST_F(Seeding, NeverOverwritesADamagedDatabase) {
  libmagic_init();
  libmagic_fini();
  const std::string whole = Bytes("magicdb.db");
  for (const std::string& bytes :
       {whole.substr(0, 1), whole.substr(0, 4096), whole.substr(0, whole.size() - 1),
        std::string("SQLite format 3"), std::string(whole.size(), '\0'), std::string("text")}) {
    spool_.Write(Queue("magicdb.db"), bytes);
    CapturedLog log;
    libmagic_init();
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{1, "Libmagic", "magic db not opened"}}));
    EXPECT_TRUE(Bytes("magicdb.db") == bytes);
    libmagic_fini();
  }
}

TEST_F(Seeding, NeverOverwritesADamagedPeerDatabase) {
  spool_.Write(Queue("peerdb.db"), "text");
  EXPECT_EQ(libpeer_init(), 30);
  EXPECT_EQ(Bytes("peerdb.db"), "text");
}

TEST_F(Seeding, NeverOverwritesARelationOfOtherRecords) {
  ASSERT_EQ(tesRel::create(spool_.queue().c_str(), "peerdb", 176, 48, 128, false), 0);
  const std::string bytes = Bytes("peerdb.db");
  EXPECT_EQ(libpeer_init(), 30);
  EXPECT_TRUE(Bytes("peerdb.db") == bytes);
}

TEST_F(Seeding, NeverGoesThroughALink) {
  const std::string elsewhere = spool_.File("elsewhere", "");
  fs::create_symlink(elsewhere, Queue("peerdb.db"));
  EXPECT_EQ(libpeer_init(), 30);
  EXPECT_EQ(fs::file_size(elsewhere), 0U);
}

TEST_F(Seeding, WithoutASeedSaysNothingOfItsOwn) {
  fs::remove_all(spool_.path("srcdb"));
  CapturedLog log;
  libmagic_init();
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{1, "Libmagic", "magic db not opened"}}));
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(OpenPeerFile(), 3);
  EXPECT_TRUE(fs::is_empty(spool_.queue()));
}

// When the installation is mended the next start finds the place still free.
TEST_F(Seeding, OfADamagedSeedPlacesNothing) {
  const std::string seed = TempSpool::Read(Seed("magicdb.db"));
  spool_.Write(Seed("magicdb.db"), seed.substr(0, 5000));
  CapturedLog log;
  libmagic_init();
  EXPECT_TRUE(log.Has(1, "magic db not opened"));
  EXPECT_TRUE(fs::is_empty(spool_.queue()));
  spool_.Write(Seed("magicdb.db"), seed);
  libmagic_init();
  EXPECT_TRUE(KnowsTypes());
}

TEST_F(Seeding, WithoutAQueueDirectoryOpensNothing) {
  fs::remove_all(spool_.queue());
  CapturedLog log;
  libmagic_init();
  EXPECT_TRUE(log.Has(1, "magic db not opened"));
  EXPECT_NE(libpeer_init(), 0);
}

TEST_F(Seeding, OfADirectoryThatMayNotBeWrittenIsNotDone) {
  fs::permissions(spool_.root(), fs::perms::all);
  fs::permissions(spool_.config(), fs::perms::all);
  fs::permissions(spool_.ini(), fs::perms::all);
  fs::permissions(spool_.queue(),
                  fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
  for (const auto& seed : fs::directory_iterator(spool_.path("srcdb"))) {
    fs::permissions(seed.path(), fs::perms::owner_all | fs::perms::others_read);
  }
  const int result = WithoutPrivileges([] {
    CapturedLog log;
    libmagic_init();
    return log.Has(1, "magic db not opened") ? 0 : 1;
  });
  if (result == kNotPossible) GTEST_SKIP() << "cannot give up root here";
  if (geteuid() == 0) {
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(fs::is_empty(spool_.queue()));
  }
}

TEST_F(Seeding, PutsAsideALogWithoutItsDatabase) {
  spool_.Write(Queue("peerdb.db-wal"), "what was committed");
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(AllDomains(), Names{"default"});
  EXPECT_EQ(TempSpool::Read(Queue("corrupt/peerdb.db-wal")), "what was committed");
}

// Its records may still stand in its log alone.
TEST_F(Seeding, TakesWhatTheSeedsWriterHasNotClosed) {
  fs::remove_all(spool_.path("srcdb"));
  fs::create_directory(spool_.path("srcdb"));
  ASSERT_EQ(tesRel::create(spool_.path("srcdb").c_str(), "peerdb", 180, 52, 128, false), 0);
  tesseraBase session;
  RawPeers writer(session, spool_.path("srcdb"), "peerdb");
  writer.Put(52, "example.org");
  ASSERT_EQ(writer.add(), 0);
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(AllDomains(), Names{"example.org"});
}

TEST_F(Seeding, GivesTheDatabaseToItsOwnerAlone) {
  chmod(Seed("magicdb.db").c_str(), 0644);
  libmagic_init();
  struct stat status {};
  ASSERT_EQ(stat(Queue("magicdb.db").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

// What one process has added as soon as it was open must not vanish under another's seed.
TEST_F(Seeding, OfManyProcessesAtOnceLosesNoRecord) {
  for (int round = 0; round < 8; ++round) {
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    if (round % 2 != 0) spool_.Write(Queue("peerdb.db"), "");
    const std::vector<int> results = InChildren(6, [](int who) {
      libpeer_init();
      const PeerRecord record = Peer("added" + std::to_string(who));
      return InsPeerRecord(&record);
    });
    EXPECT_EQ(results, std::vector<int>(6, 0));
    EXPECT_EQ(libpeer_init(), 0);
    EXPECT_EQ(AllDomains().size(), 7U);
    libpeer_fini();
  }
}

TEST_F(Seeding, OfManyProcessesOpensTheTypesForAll) {
  for (int round = 0; round < 5; ++round) {
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    EXPECT_EQ(InChildren(6,
                         [](int) {
                           libmagic_init();
                           return KnowsTypes() ? 0 : 1;
                         }),
              std::vector<int>(6, 0));
  }
}

}  // namespace
}  // namespace qob::testing
