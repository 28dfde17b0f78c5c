// The small databases through the shared libraries, from C, in a site with the built seeds.
#include "db/contract.h"

#include <cstdlib>

#include <qob3xapi/frame.h>

#include "db/db_fixture.h"
#include "support/captured_log.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class DatabaseContract : public Databases {
 protected:
  DatabaseContract() {
    InstallSeeds();
    EXPECT_EQ(InitQOBDll_NOMQ("contract"), 1);
  }
  ~DatabaseContract() override { TerminateQOBDll(); }
};

TEST_F(DatabaseContract, GivesEveryFileTypeOnce) {
  libmagic_init();
  tesseraBase session;
  RawMagic raw(session, spool_.queue(), "magicdb");
  EXPECT_EQ(CountFileTypesFromC(), static_cast<int>(raw.All().size()));
}

TEST_F(DatabaseContract, LooksUpATypeWithoutStartUp) {
  libmagic_init();
  libmagic_fini();
  TerminateQOBDll();
  char type[200] = "";
  EXPECT_EQ(TypeFromC("PDF", type, sizeof type), 0);
  EXPECT_STREQ(type, "application/pdf");
  EXPECT_EQ(TypeFromC("nothing", type, sizeof type), -1);
}

TEST_F(DatabaseContract, KeepsPeersForTheGetters) {
  EXPECT_NE(libpeer_init(), 0);
  EXPECT_EQ(SetIntervalFromC("example.org", 30), 0);
  EXPECT_EQ(SetIntervalFromC("example.org", 31), 5);
  EXPECT_EQ(GetPeerQueueRunInterval("mx.example.org"), 30);
  EXPECT_EQ(GetPeerQueueRunInterval("example.net"), 15);
}

TEST_F(DatabaseContract, TellsOfADamagedPeerDatabaseUnderTheNameGivenAtStartUp) {
  spool_.Write(Queue("peerdb.db"), "no database");
  CapturedLog log;
  PeerDomainInfo info{};
  EXPECT_EQ(GetPeerDomainInfo("example.org", &info), 0);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{6, "contract", "peer database error 30"}}));
}

TEST_F(DatabaseContract, EndsAProgramThatDidNotCloseThem) {
  EXPECT_EQ(InChild([] {
              libmagic_init();
              libpeer_init();
              MagicRecordBuffer out;
              GetFirstMagicRecord(&out.record);
              std::exit(CountFileTypesFromC() > 0 ? 7 : 1);
              return 0;
            }),
            7);
}

}  // namespace
}  // namespace qob::testing
