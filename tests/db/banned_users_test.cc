// Is that user banned? Whatever fails says no.
#include <cstdlib>

#include "db/db_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class BannedUsers : public Databases {
 protected:
  void SetUp() override {
    MakeBans();
    Ban("ann@example.org");
  }
};

TEST_F(BannedUsers, AreKnownByTheirWholeAddress) {
  EXPECT_EQ(BanUserExist("ann@example.org"), 1);
  for (const char* other : {"ann@example.or", "ann@example.org.", "ann", "bob@example.org", "",
                            " ann@example.org", "<ann@example.org>"}) {
    EXPECT_EQ(BanUserExist(other), 0) << other;
  }
}

TEST_F(BannedUsers, AreKnownInAnyCase) { EXPECT_EQ(BanUserExist("ANN@Example.ORG"), 1); }

TEST_F(BannedUsers, OfNullAreNone) { EXPECT_EQ(BanUserExist(nullptr), 0); }

TEST_F(BannedUsers, MayHaveAddressesOf239Characters) {
  const std::string longest = std::string(239, 'l');
  Ban(longest);
  EXPECT_EQ(BanUserExist(longest.c_str()), 1);
  EXPECT_EQ(BanUserExist((longest + "l").c_str()), 0);
  EXPECT_EQ(BanUserExist(std::string(100000, 'l').c_str()), 0);
}

TEST_F(BannedUsers, OfAMissingDatabaseAreNone) {
  std::filesystem::remove(Queue("banuserdb.db"));
  EXPECT_EQ(BanUserExist("ann@example.org"), 0);
  EXPECT_FALSE(std::filesystem::exists(Queue("banuserdb.db")));
  spool_.SetWholeIni("");
  EXPECT_EQ(BanUserExist("ann@example.org"), 0);
}

TEST_F(BannedUsers, OfADamagedDatabaseAreNone) {
  spool_.Write(Queue("banuserdb.db"), "no database");
  EXPECT_EQ(BanUserExist("ann@example.org"), 0);
  EXPECT_EQ(TempSpool::Read(Queue("banuserdb.db")), "no database");
}

TEST_F(BannedUsers, OfAnEmptyDatabaseAreNone) {
  tesseraBase session;
  RawBans bans(session, spool_.queue(), "banuserdb");
  bans.Put(0, "ann@example.org");
  ASSERT_EQ(bans.get(0), 0);
  ASSERT_EQ(bans.del(), 0);
  EXPECT_EQ(BanUserExist("ann@example.org"), 0);
  EXPECT_EQ(BanUserExist(""), 0);
}

TEST_F(BannedUsers, OfAnotherProcessAreSeenAtOnce) {
  EXPECT_EQ(BanUserExist("bob@example.org"), 0);
  EXPECT_EQ(InChild([&] {
              Ban("bob@example.org");
              return BanUserExist("bob@example.org");
            }),
            1);
  EXPECT_EQ(BanUserExist("bob@example.org"), 1);
}

TEST_F(BannedUsers, AreReadUnderTheLock) {
  tesseraBase session;
  RawBans holder(session, spool_.queue(), "banuserdb");
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(BanUserExist("ann@example.org"), 1); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(BanUserExist("bob@example.org"), 0); });
}

TEST_F(BannedUsers, NeedNoStartUpOfAnyKind) {
  EXPECT_EQ(InChild([] { return BanUserExist("ann@example.org"); }), 1);
}

}  // namespace
}  // namespace qob::testing
