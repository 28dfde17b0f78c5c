// [Store] of "twmta.ini".
#include "platform/spool/store_settings.h"

#include <string>

#include <gtest/gtest.h>

#include "platform/spool/site.h"
#include "support/temp_spool.h"

namespace qob::spool {
namespace {

using store::Durability;
using testing::TempSpool;

Durability Read(const TempSpool& spool, const std::string& ini) {
  spool.SetWholeIni(ini);
  return StoreOpenOptions().durability;
}

TEST(StoreSettings, ACommitIsDurableUnlessTheSiteSaysSystem) {
  const TempSpool spool;
  EXPECT_EQ(Read(spool, ""), Durability::kCommit);
  EXPECT_EQ(Read(spool, "[Store]\nDurability=commit\n"), Durability::kCommit);
  EXPECT_EQ(Read(spool, "[Store]\nDurability=system\n"), Durability::kSystem);
  EXPECT_EQ(Read(spool, "[store]\ndurability = \"SYSTEM\"\n"), Durability::kSystem);
  EXPECT_FALSE(StoreOpenOptions().read_only);
}

TEST(StoreSettings, AWordThatIsNoneOfBothCountsAsCommit) {
  const TempSpool spool;
  for (const char* word : {"", "systems", "none", "syste", "NO"}) {
    EXPECT_EQ(Read(spool, std::string("[Store]\nDurability=") + word + "\n"), Durability::kCommit)
        << word;
  }
}

TEST(StoreSettings, WithoutAConfigurationFileACommitIsDurableAndTheFileItsOwners) {
  const TempSpool spool;
  std::filesystem::remove(spool.ini());
  EXPECT_EQ(StoreOpenOptions().durability, Durability::kCommit);
  EXPECT_EQ(StoreCreateOptions().group, "");
}

TEST(StoreSettings, AGroupIsTakenAsItStands) {
  const TempSpool spool;
  EXPECT_EQ(StoreCreateOptions().group, "");
  spool.SetWholeIni("[Store]\nGroup=Operators\n");
  EXPECT_EQ(StoreCreateOptions().group, "Operators");
  spool.SetWholeIni("[Store]\nGroup=" + std::string(100, 'g') + "\n");
  EXPECT_EQ(StoreCreateOptions().group, std::string(63, 'g'));
}

TEST(StoreSettings, AreReadFromTheFileThatStartUpNamed) {
  const TempSpool spool;
  TempSpool::Write(spool.config() + "/other.ini", "[Store]\nDurability=system\n");
  Site& site = TheSite();
  const Site before = site;
  std::snprintf(site.config_file, sizeof site.config_file, "other.ini");
  EXPECT_EQ(StoreOpenOptions().durability, Durability::kSystem);
  site = before;
  EXPECT_EQ(StoreOpenOptions().durability, Durability::kCommit);
}

}  // namespace
}  // namespace qob::spool
