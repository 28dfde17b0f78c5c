// The shared log: one line per call, whatever stands in it and wherever it goes.
#include "platform/log/log.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qobplatform/logapi.h>

#include "platform/log/line_text.h"
#include "platform/os/process.h"
#include "platform/spool/site.h"
#include "support/captured_log.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::log {
namespace {

using testing::InChild;
using testing::TempSpool;

// Each test runs in a child: the log of a process is started once.
class LogTest : public ::testing::Test {
 protected:
  std::string path() const { return spool_.temp() + "/twmta.log"; }
  std::string captured() const { return TempSpool::Read(spool_.path("stderr")); }

  void Start(std::string_view log_section) const {
    spool_.SetIni("[Log]\n" + std::string(log_section));
    StartAsSet();
  }
  static void StartAsSet() {
    spool::FillSite(spool::TheSite());
    StartLog();
  }
  // work() in a child whose standard error is a file.
  template <class Work>
  void Child(Work&& work) const {
    EXPECT_EQ(InChild([&] {
                const int file =
                    open(spool_.path("stderr").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
                dup2(file, 2);
                work();
                return ::testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
  }
  static std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  // The lines without time and process.
  static std::vector<std::string> Plain(const std::string& text) {
    static const std::regex kHead(
        R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d (-?\d+ [^ \[]+)\[\d+\] )");
    std::vector<std::string> plain;
    for (const std::string& line : Lines(text)) {
      std::smatch head;
      const std::string start = line.substr(0, 120);
      plain.push_back(std::regex_search(start, head, kHead)
                          ? head[1].str() + " " +
                                line.substr(static_cast<std::size_t>(head.length()))
                          : "MALFORMED " + line);
    }
    return plain;
  }

  TempSpool spool_;
};

using Strings = std::vector<std::string>;

TEST_F(LogTest, ALineTellsTimeLevelModuleProcessAndText) {
  int process = 0;
  Child([&] {
    os::SetClock([] { return std::int64_t{1700000000}; });
    setenv("TZ", "CET-1", 1);
    os::RefreshTimeZone();
    Start("");
    LogMessage(3, "smtpd", "hello, world");
    spool_.File("pid", std::to_string(getpid()));
  });
  process = std::stoi(TempSpool::Read(spool_.path("pid")));
  EXPECT_EQ(TempSpool::Read(path()), "2023-11-14T23:13:20.000+01:00 3 smtpd[" +
                                         std::to_string(process) + "] hello, world\n");
}

TEST_F(LogTest, TheFileIsForItsOwnerOnly) {
  Child([&] { Start(""); });
  struct stat status {};
  ASSERT_EQ(stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(LogTest, NullTextsAreEmpty) {
  Child([&] {
    Start("");
    LogMessage(1, nullptr, nullptr);
    LogMessage(1, "", "");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), (Strings{"1 - ", "1 - "}));
}

TEST_F(LogTest, EveryTextIsOneLine) {
  Child([&] {
    Start("");
    LogMessage(1, "a b\n", "x\r\ny\t\x1B[31m\x7F 100% %s \\n");
    LogMessage(1, "m", "K\xC3\xB6ln \xF6 \x9B \xC2\x9B");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())),
            (Strings{"1 a\\x20b\\x0A x\\x0D\\x0Ay\\x09\\x1B[31m\\x7F 100% %s \\n",
                     "1 m K\xC3\xB6ln \xF6 \\x9B \\xC2\\x9B"}));
}

TEST_F(LogTest, ALongTextIsOneLineToo) {
  const std::string text(300000, 'x');
  Child([&] {
    Start("");
    LogMessage(1, "m", text.c_str());
    LogMessage(1, "m", "after");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), (Strings{"1 m " + text, "1 m after"}));
}

TEST_F(LogTest, TheLevelDecidesWhatIsWritten) {
  struct {
    const char* setting;
    Strings expected;
  } const cases[] = {
      {"", {"1 m l1", "3 m l3", "6 m l6"}},
      {"Level=6\n", {"1 m l1", "3 m l3", "6 m l6"}},
      {"Level=9\n", {"1 m l1", "3 m l3", "6 m l6", "7 m l7"}},
      {"Level=3\n", {"1 m l1", "3 m l3"}},
      {"Level=1\n", {"1 m l1"}},
      {"Level=0\n", {}},
      {"Level=all\n", {"1 m l1", "3 m l3", "6 m l6"}},
      {"level = 3 ; and a remark\n", {"1 m l1", "3 m l3"}},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(path());
    Child([&] {
      Start(c.setting);
      for (const int level : {1, 3, 6, 7}) {
        LogMessage(level, "m", ("l" + std::to_string(level)).c_str());
      }
    });
    EXPECT_EQ(Plain(TempSpool::Read(path())), c.expected) << c.setting;
  }
}

TEST_F(LogTest, MayGoToStandardError) {
  Child([&] {
    Start("Destination=STDERR\n");
    LogMessage(1, "m", "one");
    LogMessage(6, "m", "six");
  });
  EXPECT_EQ(Plain(captured()), (Strings{"1 m one", "6 m six"}));
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(LogTest, AnUnknownDestinationIsTheFile) {
  Child([&] {
    Start("Destination=elsewhere\n");
    LogMessage(1, "m", "one");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), Strings{"1 m one"});
}

TEST_F(LogTest, BeforeStartUpFailuresGoToStandardErrorAndOthersNowhere) {
  Child([&] {
    LogMessage(1, "m", "one");
    LogMessage(3, "m", "three");
    LogMessage(6, "m", "six");
  });
  EXPECT_EQ(Plain(captured()), Strings{"1 m one"});
}

TEST_F(LogTest, WithoutATemporaryDirectoryItIsAsBeforeStartUp) {
  Child([&] {
    spool_.SetWholeIni("[Log]\nLevel=6\n");
    spool::FillSite(spool::TheSite());
    StartLog();
    LogMessage(1, "m", "one");
    LogMessage(6, "m", "six");
  });
  EXPECT_EQ(Plain(captured()), Strings{"1 m one"});
  EXPECT_FALSE(std::filesystem::exists("/twmta.log"));
}

TEST_F(LogTest, AFileThatCannotBeOpenedIsAsNoDirectory) {
  Child([&] {
    std::filesystem::create_directory(path());
    Start("");
    LogMessage(1, "m", "one");
    LogMessage(6, "m", "six");
  });
  EXPECT_EQ(Plain(captured()), Strings{"1 m one"});
}

TEST_F(LogTest, TheFileIsNeverReachedThroughALink) {
  const std::string target = spool_.File("target", "");
  std::filesystem::create_symlink(target, path());
  Child([&] {
    Start("");
    LogMessage(1, "m", "one");
  });
  EXPECT_EQ(TempSpool::Read(target), "");
  EXPECT_EQ(Plain(captured()), Strings{"1 m one"});
}

TEST_F(LogTest, StartsAgainAsTheFileSaysThen) {
  Child([&] {
    Start("");
    LogMessage(6, "m", "file");
    Start("Destination=stderr\nLevel=1\n");
    LogMessage(6, "m", "nowhere");
    LogMessage(1, "m", "stderr");
    Start("");
    LogMessage(6, "m", "file again");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), (Strings{"6 m file", "6 m file again"}));
  EXPECT_EQ(Plain(captured()), Strings{"1 m stderr"});
}

TEST_F(LogTest, FollowsAFileThatIsMovedAway) {
  Child([&] {
    static std::int64_t now = 1700000000;
    os::SetClock([] { return now; });
    Start("");
    LogMessage(1, "m", "first");
    std::filesystem::rename(path(), path() + ".1");
    ++now;
    LogMessage(1, "m", "second");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path() + ".1")), Strings{"1 m first"});
  EXPECT_EQ(Plain(TempSpool::Read(path())), Strings{"1 m second"});
}

TEST_F(LogTest, LinesOfManyProcessesAndThreadsStayWhole) {
  constexpr int kLines = 1500;
  const auto work = [&](char name) {
    StartAsSet();
    const auto write = [&](const std::string& who) {
      for (int i = 0; i < kLines; ++i) {
        LogMessage(6, "m", (who + std::to_string(i) + std::string(200, name)).c_str());
      }
    };
    std::thread second(write, std::string{name, '2', '-'});
    write({name, '1', '-'});
    second.join();
    return 0;
  };
  spool_.SetIni("");
  EXPECT_EQ(testing::InChildren(2, [&](int i) { return work(i == 0 ? 'a' : 'b'); }),
            (std::vector<int>{0, 0}));
  const Strings lines = Plain(TempSpool::Read(path()));
  EXPECT_EQ(lines.size(), 4u * kLines);
  int next[2][2] = {{0, 0}, {0, 0}};
  for (const std::string& line : lines) {
    std::smatch match;
    static const std::regex kText(R"(6 m ([ab])([12])-(\d+)([ab]+))");
    ASSERT_TRUE(std::regex_match(line, match, kText)) << line;
    int& expected = next[match[1] == "a" ? 0 : 1][match[2] == "1" ? 0 : 1];
    ASSERT_EQ(std::stoi(match[3]), expected) << line;
    ASSERT_EQ(match[4].str(), std::string(200, match[1].str()[0]));
    ++expected;
  }
}

TEST_F(LogTest, AFullDiskLosesTheLineAndNothingElse) {
  Child([&] {
    Start("");
    {
      const testing::FailCalls full(os::Call::kWrite, 1, testing::Failing::kOnce, ENOSPC);
      LogMessage(1, "m", "lost");
    }
    LogMessage(1, "m", "kept");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), Strings{"1 m kept"});
}

TEST_F(LogTest, ALineWrittenOverAnInterruptionIsThereOnce) {
  Child([&] {
    Start("");
    const testing::FailCalls interrupted(os::Call::kWrite, 1, testing::Failing::kOnce, EINTR);
    LogMessage(1, "m", "kept");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), Strings{"1 m kept"});
}

TEST_F(LogTest, WithoutMemoryTheLineIsLostAndNothingThrown) {
  Child([&] {
    Start("");
    testing::FailEachAllocation([] { LogMessage(1, "m", "a text that needs a block of the heap"); },
                                [](bool) {});
  });
  for (const std::string& line : Plain(TempSpool::Read(path()))) {
    EXPECT_EQ(line, "1 m a text that needs a block of the heap");
  }
}

TEST_F(LogTest, KeepsTheCallersErrorNumber) {
  Child([&] {
    Start("");
    const testing::FailCalls full(os::Call::kWrite, 1, testing::Failing::kOnce, ENOSPC);
    errno = 77;
    LogMessage(1, "m", "lost");
    EXPECT_EQ(errno, 77);
  });
}

TEST_F(LogTest, ASinkTakesEveryLevelAsItStands) {
  testing::CapturedLog log;
  LogMessage(1, "m", "x\r\n");
  LogMessage(99, nullptr, nullptr);
  EXPECT_EQ(log.lines(), (std::vector<testing::LogLine>{{1, "m", "x\r\n"}, {99, "", ""}}));
}

TEST_F(LogTest, WithoutItsSinkTheLogIsBack) {
  Child([&] {
    Start("");
    {
      const testing::CapturedLog log;
      LogMessage(1, "m", "taken");
    }
    LogMessage(1, "m", "written");
  });
  EXPECT_EQ(Plain(TempSpool::Read(path())), Strings{"1 m written"});
}

// A socket where the system's log listens; only where none does and we may make one.
TEST_F(LogTest, MayGoToTheSystemsLog) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
  const int listener = socket(AF_UNIX, SOCK_DGRAM, 0);
  if (std::filesystem::exists("/dev/log") ||
      bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(listener);
    GTEST_SKIP() << "THE SYSTEM'S LOG CANNOT BE LISTENED TO HERE";
  }
  Child([&] {
    Start("Destination=syslog\n");
    LogMessage(1, "smtpd", "failed:\r\n%s");
    LogMessage(6, "smtpd", "detail");
  });
  Strings entries;
  for (int i = 0; i < 2; ++i) {
    char entry[512];
    const ssize_t size = recv(listener, entry, sizeof entry, MSG_DONTWAIT);
    if (size > 0) entries.emplace_back(entry, static_cast<std::size_t>(size));
  }
  close(listener);
  unlink("/dev/log");
  ASSERT_EQ(entries.size(), 2u);
  // <facility * 8 + severity>: mail is 2; error 3, information 6.
  EXPECT_TRUE(
      std::regex_search(entries[0], std::regex(R"(^<19>.*smtpd\[\d+\] failed:\\x0D\\x0A%s)")))
      << entries[0];
  EXPECT_TRUE(std::regex_search(entries[1], std::regex(R"(^<22>.*smtpd\[\d+\] detail)")))
      << entries[1];
}

TEST(LineText, KeepsWellFormedTextAndShowsTheRest) {
  const auto visible = [](std::string_view text) {
    std::string line;
    AppendVisible(text, false, &line);
    return line;
  };
  EXPECT_EQ(visible(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(visible("\xE2\x82\xAC \xF0\x9F\x93\xA7"), "\xE2\x82\xAC \xF0\x9F\x93\xA7");
  EXPECT_EQ(visible("\xE2\x82"), "\xE2\\x82");
  EXPECT_EQ(visible("\xC2\x85\xC2\xA0"), "\\xC2\\x85\xC2\xA0");
  EXPECT_EQ(visible("\x80\xA0\xFF"), "\\x80\xA0\xFF");
  EXPECT_EQ(visible("\xC3"), "\xC3");
}

}  // namespace
}  // namespace qob::log
