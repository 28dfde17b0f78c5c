// Start-up and shutdown: what is set, in which process state, and what a second call does.
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <optional>

#include <qob3xapi/frame.h>
#include <qob3xapi/lineio.h>
#include <qob3xapi/util.h>

#include "frame/config.h"
#include "platform/os/thread_slot.h"
#include "support/captured_log.h"
#include "support/failing_allocator.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

std::optional<std::string> Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

// Keeps the process's environment as it found it.
class SavedVariable {
 public:
  explicit SavedVariable(const char* name) : name_(name), value_(Environment(name)) {}
  ~SavedVariable() {
    if (value_) {
      setenv(name_, value_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> value_;
};

class Startup : public ::testing::Test {
 protected:
  void TearDown() override {
    TerminateQOBDll();
    tzset();
  }
  void SetZone(const std::string& line) {
    spool_.SetWholeIni("[Gateway]\n" + line + "\nTemporaryDirectory=" + spool_.temp() + "\n");
  }

  SavedVariable zone_{"TZ"};
  SavedVariable temp_{"TMP"};
  TempSpool spool_;
  CapturedLog log_;
};

TEST_F(Startup, TheConfiguredZoneBecomesTheProcesss) {
  SetZone("TimeZone=EST5EDT");
  EXPECT_EQ(InitQOBDll_NOMQ("c"), 1);
  EXPECT_EQ(Environment("TZ"), "EST5EDT");
  EXPECT_EQ(timezone, 5 * 3600);
}

TEST_F(Startup, AMissingZoneIsTheDefault) {
  unsetenv("TZ");
  SetZone("");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TZ"), "PST8PDT");
  EXPECT_EQ(timezone, 8 * 3600);
}

TEST_F(Startup, ThreeLettersXKeepTheSystemsZone) {
  for (const char* value : {"xxx", "XXX5", "xXx", "xxxanything", "XXX"}) {
    SetZone(std::string("TimeZone=") + value);
    setenv("TZ", "CET-1", 1);
    InitQOBDll_NOMQ("c");
    EXPECT_EQ(Environment("TZ"), "CET-1") << value;
    unsetenv("TZ");
    InitQOBDll_NOMQ("c");
    EXPECT_EQ(Environment("TZ"), std::nullopt) << value;
  }
  SetZone("TimeZone=xx");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TZ"), "xx");
}

TEST_F(Startup, AnEmptyZoneRemovesTheVariable) {
  setenv("TZ", "CET-1", 1);
  SetZone("TimeZone=");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TZ"), std::nullopt);
}

TEST_F(Startup, TheZoneIsCutToFifteenCharacters) {
  SetZone("TimeZone=America/New_York");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TZ"), "America/New_Yor");
}

TEST_F(Startup, TheTemporaryDirectoryBecomesTMPAsConfigured) {
  SavedVariable other("TMPDIR");
  setenv("TMPDIR", "/untouched", 1);
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=C:\\spool\\tmp\n");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TMP"), "C:\\spool\\tmp");
  EXPECT_EQ(Environment("TMPDIR"), "/untouched");
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\n");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(Environment("TMP"), std::nullopt);
  EXPECT_STREQ(GetTempDir(), "");
}

TEST_F(Startup, DirectoriesAreRead) {
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(GetQueueDir(), spool_.queue());
  EXPECT_EQ(GetTempDir(), spool_.temp());
  EXPECT_EQ(GetInstallDir(), spool_.root());
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nQueueDirectory=" + std::string(400, 'q') + "\n");
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(GetQueueDir(), std::string(259, 'q'));
}

TEST_F(Startup, TheClientNameIsCutToThirtyOneCharacters) {
  InitQOBDll_NOMQ("0123456789012345678901234567890123456789");
  EXPECT_STREQ(ClientName(), "0123456789012345678901234567890");
  fileopen("/no/such", 0, 1);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(log_.lines()[0].module, "0123456789012345678901234567890");
  InitQOBDll_NOMQ(nullptr);
  EXPECT_STREQ(ClientName(), "");
}

TEST_F(Startup, ASecondStartWithTheQueueChangesNothing) {
  ASSERT_EQ(InitQOBDll("first"), 1);
  const std::string queue = GetQueueDir();
  spool_.SetWholeIni("[Gateway]\nTimeZone=EST5EDT\nQueueDirectory=/elsewhere\n");
  setenv("TZ", "CET-1", 1);
  EXPECT_EQ(InitQOBDll("second"), 1);
  EXPECT_STREQ(ClientName(), "first");
  EXPECT_EQ(GetQueueDir(), queue);
  EXPECT_EQ(Environment("TZ"), "CET-1");
}

TEST_F(Startup, ASecondStartWithoutTheQueueTakesEverythingAnew) {
  ASSERT_EQ(InitQOBDll_NOMQ("first"), 1);
  const int open_file = fileopen(spool_.File("in", "a").c_str(), 0, 1);
  spool_.SetWholeIni("[Gateway]\nTimeZone=EST5EDT\nQueueDirectory=/elsewhere\n");
  EXPECT_EQ(InitQOBDll_NOMQ("second"), 1);
  EXPECT_STREQ(ClientName(), "second");
  EXPECT_STREQ(GetQueueDir(), "/elsewhere");
  EXPECT_EQ(Environment("TZ"), "EST5EDT");
  EXPECT_EQ(inch(open_file), 'a');
}

TEST_F(Startup, TheVariantsKeepSeparateFlags) {
  ASSERT_EQ(InitQOBDll("with"), 1);
  EXPECT_EQ(InitQOBDll_NOMQ("without"), 1);
  EXPECT_STREQ(ClientName(), "without");
  EXPECT_EQ(InitQOBDll("again"), 1);
  EXPECT_STREQ(ClientName(), "without");
  TerminateQOBDll();
  ASSERT_EQ(InitQOBDll_NOMQ("without"), 1);
  EXPECT_EQ(InitQOBDll("with"), 1);
  EXPECT_STREQ(ClientName(), "with");
}

TEST_F(Startup, WithoutAQueueTheSetUpStaysAndMayBeTriedAgain) {
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nQueueDirectory=/no/such\nTemporaryDirectory=" +
                     spool_.temp() + "\n");
  EXPECT_EQ(InitQOBDll("first"), 0);
  const std::vector<LogLine> expected = {{1, "first", "MQInit failed."}};
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_EQ(GetTempDir(), spool_.temp());
  const int handle = fileopen(spool_.File("in", "a").c_str(), 0, 1);
  EXPECT_GE(handle, 3);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(InitQOBDll("again"), 0);
  EXPECT_EQ(inch(handle), 'a');
  spool_.SetIni("");
  EXPECT_EQ(InitQOBDll("second"), 1);
  EXPECT_STREQ(ClientName(), "second");
}

TEST_F(Startup, AnEmptyHostNameReachesNoQueue) {
  spool_.SetIni("[Ldap]\nHostName=\n");
  EXPECT_EQ(InitQOBDll("c"), 0);
  spool_.SetIni("[Ldap]\nHostName=mail.example\n");
  EXPECT_EQ(InitQOBDll("c"), 1);
}

TEST_F(Startup, EndingIsAlwaysPossible) {
  EXPECT_EQ(TerminateQOBDll(), 0);
  EXPECT_EQ(TerminateQOBDll(), 0);
  InitQOBDll_NOMQ("c");
  const int handle = fileopen(spool_.File("in", "a").c_str(), 0, 1);
  EXPECT_EQ(TerminateQOBDll(), 0);
  EXPECT_EQ(getfpos(handle), -1);
  EXPECT_EQ(TerminateQOBDll(), 0);
  // Directories stay until the next start.
  EXPECT_EQ(GetTempDir(), spool_.temp());
}

TEST_F(Startup, WithoutMemoryItStillAnswers) {
  int result = 0;
  FailEachAllocation([&] { result = InitQOBDll_NOMQ("c"); },
                     [&](bool) {
                       EXPECT_EQ(result, 1);
                       EXPECT_STREQ(ClientName(), "c");
                       TerminateQOBDll();
                     });
  FailEachAllocation([&] { result = InitQOBDll("c"); },
                     [&](bool failed) {
                       EXPECT_TRUE(result == 1 || failed);
                       TerminateQOBDll();
                     });
}

class Marker : public os::SlotValue {};

TEST_F(Startup, TheScanSlotIsEmptyAfterEachEnd) {
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(os::GetThreadSlot(), nullptr);
  os::SetThreadSlot(std::make_unique<Marker>());
  EXPECT_NE(os::GetThreadSlot(), nullptr);
  TerminateQOBDll();
  InitQOBDll_NOMQ("c");
  EXPECT_EQ(os::GetThreadSlot(), nullptr);
}

TEST_F(Startup, LogLinesGoToTheFileOfTheTemporaryDirectory) {
  InitQOBDll_NOMQ("client");
  LogSetSink(nullptr, nullptr);
  fileopen("/no/such", 0, 1);
  const std::string text = TempSpool::Read(spool_.temp() + "/twmta.log");
  EXPECT_NE(text.find("CreateFile failed: /no/such, error 2"), std::string::npos) << text;
  EXPECT_NE(text.find("client"), std::string::npos) << text;
}

}  // namespace
}  // namespace qob::testing
