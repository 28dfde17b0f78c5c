// The connection to the message queue: which hosts and directories it takes.
#include <qobplatform/mqapi.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "platform/spool/site.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob {
namespace {

using testing::InChild;
using testing::TempSpool;

// Each test in a child: what a process knows of its site is filled once.
template <class Work>
bool Holds(Work&& work) {
  return InChild([&] { return work() ? 0 : 1; }) == 0;
}

TEST(MessageQueue, ConnectsToAQueueDirectoryThatTakesFiles) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([] { return MQInit("localhost", "test") != 0 && MQTerminate() == 0; }));
}

TEST(MessageQueue, NeedsAHost) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([] { return MQInit("", "test") == 0 && MQInit(nullptr, "test") == 0; }));
}

TEST(MessageQueue, TakesNoClientNameForAnEmptyOne) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([] { return MQInit("localhost", nullptr) != 0; }));
  EXPECT_TRUE(Holds([] { return MQInit("localhost", std::string(1000, 'x').c_str()) != 0; }));
}

TEST(MessageQueue, NeedsAQueueDirectory) {
  const TempSpool spool;
  const auto connects = [&](const std::string& directory) {
    spool.SetWholeIni("[Gateway]\nQueueDirectory=" + directory + "\n");
    return Holds([] { return MQInit("localhost", "test") != 0; });
  };
  EXPECT_FALSE(connects(""));
  EXPECT_FALSE(connects(spool.path("none")));
  EXPECT_FALSE(connects(spool.File("file", "")));
  EXPECT_TRUE(connects(spool.queue()));
  EXPECT_TRUE(connects(spool.root() + "\\queue"));
  spool.SetWholeIni("");
  EXPECT_FALSE(Holds([] { return MQInit("localhost", "test") != 0; }));
}

TEST(MessageQueue, NeedsTheRightToMakeFilesThere) {
  const TempSpool spool;
  ASSERT_EQ(chmod(spool.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool.config().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool.queue().c_str(), 0555), 0);
  const int result =
      testing::WithoutPrivileges([] { return MQInit("localhost", "test") == 0 ? 0 : 1; });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible);
  ASSERT_EQ(chmod(spool.queue().c_str(), 0777), 0);
  const int open =
      testing::WithoutPrivileges([] { return MQInit("localhost", "test") != 0 ? 0 : 1; });
  EXPECT_TRUE(open == 0 || open == testing::kNotPossible);
}

TEST(MessageQueue, MakesTheDatabaseAndNeedsItToBeOurs) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([] { return MQInit("localhost", "test") != 0; }));
  EXPECT_TRUE(std::filesystem::exists(spool.queue() + "/mesg.btr"));
  EXPECT_TRUE(Holds([] { return MQInit("localhost", "test") != 0; }));
  TempSpool::Write(spool.queue() + "/mesg.btr", "something else");
  EXPECT_FALSE(Holds([] { return MQInit("localhost", "test") != 0; }));
  EXPECT_EQ(TempSpool::Read(spool.queue() + "/mesg.btr"), "something else");
}

TEST(MessageQueue, ARefusedCallLeavesTheProcessUnconnected) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([&] {
    if (MQInit("localhost", "test") == 0) return false;
    std::filesystem::remove_all(spool.queue());
    return MQInit("localhost", "test") == 0 && CreateMQEntry() == nullptr;
  }));
}

TEST(MessageQueue, MayBeEndedWithoutABeginning) {
  EXPECT_TRUE(Holds([] { return MQTerminate() == 0 && MQTerminate() == 0; }));
}

TEST(MessageQueue, ARepeatedCallReadsTheDirectoryAgain) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([&] {
    if (MQInit("localhost", "test") == 0) return false;
    std::filesystem::remove_all(spool.queue());
    if (MQInit("localhost", "test") != 0) return false;
    spool.SetWholeIni("[Gateway]\nQueueDirectory=" + spool.temp() + "\n");
    return MQInit("localhost", "test") != 0;
  }));
}

TEST(MessageQueue, FillsTheSiteOfAProgramWithoutStartUp) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([&] {
    const spool::Site& site = spool::TheSite();
    if (site.queue_dir[0] != '\0' || MQInit("localhost", "test") == 0) return false;
    if (site.queue_dir != spool.queue() || site.temp_dir != spool.temp() ||
        site.install_dir != spool.root() || std::string(site.config_file) != "twmta.ini" ||
        std::string(site.log_file) != "twmta.log" || site.client[0] != '\0') {
      return false;
    }
    spool.SetWholeIni("[Gateway]\nQueueDirectory=" + spool.temp() + "\n");
    return MQInit("localhost", "test") != 0 && site.queue_dir == spool.temp();
  }));
}

TEST(MessageQueue, LeavesTheSiteOfAStartedProgramAlone) {
  const TempSpool spool;
  EXPECT_TRUE(Holds([&] {
    if (MQInit("localhost", "test") == 0) return false;
    spool::FillSite(spool::TheSite());
    spool.SetWholeIni("[Gateway]\nQueueDirectory=" + spool.temp() + "\n");
    return MQInit("localhost", "test") != 0 && spool::TheSite().queue_dir == spool.queue();
  }));
}

TEST(Site, CutsEachSettingToItsRoom) {
  const TempSpool spool;
  const std::string longer(300, 'd');
  spool.SetWholeIni("[Gateway]\nQueueDirectory=" + longer + "\nTemporaryDirectory=\n" +
                    "[Config]\nInstallDirectory=\"/opt/a b\"\n");
  spool::Site site;
  spool::FillSite(site);
  EXPECT_EQ(site.queue_dir, longer.substr(0, 259));
  EXPECT_STREQ(site.temp_dir, "");
  EXPECT_STREQ(site.install_dir, "/opt/a b");
  EXPECT_TRUE(site.filled);
}

}  // namespace
}  // namespace qob
