// Environment, time zone and clock of the process.
#include "platform/os/process.h"

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/os/path.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

// Every change of the environment stays in a child.
template <class Work>
bool HoldsInChild(Work&& work) {
  return testing::InChild([&] { return work() ? 0 : 1; }) == 0;
}

TEST(Environment, AnEmptyValueRemovesTheVariable) {
  EXPECT_TRUE(HoldsInChild([] {
    SetEnvironment("QOB_TEST_VALUE", "x");
    if (GetEnvironment("QOB_TEST_VALUE") != "x") return false;
    SetEnvironment("QOB_TEST_VALUE", "");
    if (std::getenv("QOB_TEST_VALUE") != nullptr) return false;
    SetEnvironment("QOB_TEST_VALUE", "");
    return GetEnvironment("QOB_TEST_VALUE").empty();
  }));
}

TEST(Environment, AnEqualValueIsNotTouched) {
  EXPECT_TRUE(HoldsInChild([] {
    setenv("QOB_TEST_VALUE", "same", 1);
    const char* before = std::getenv("QOB_TEST_VALUE");
    SetEnvironment("QOB_TEST_VALUE", "same");
    return std::getenv("QOB_TEST_VALUE") == before;
  }));
}

TEST(TimeZone, CountsAfterARefresh) {
  EXPECT_TRUE(HoldsInChild([] {
    SetEnvironment("TZ", "PST8PDT");
    RefreshTimeZone();
    if (TimeZoneDifference() != 28800) return false;
    SetEnvironment("TZ", "CET-1");
    RefreshTimeZone();
    return TimeZoneDifference() == -3600;
  }));
}

TEST(TimeZone, IsKnownWithoutARefresh) {
  EXPECT_TRUE(HoldsInChild([] {
    setenv("TZ", "EST5", 1);
    return TimeZoneDifference() == 18000;
  }));
}

TEST(TimeZone, LocalTextTellsDaylightSaving) {
  EXPECT_TRUE(HoldsInChild([] {
    SetEnvironment("TZ", "PST8PDT,M3.2.0,M11.1.0");
    RefreshTimeZone();
    const LocalText winter = LocalTimeText(1700000000);  // 14 November 2023, 22:13:20 UTC
    const LocalText summer = LocalTimeText(1690000000);  // 22 July 2023, 04:26:40 UTC
    return std::string(winter.text) == "Tue Nov 14 14:13:20 2023\n" && !winter.daylight &&
           std::string(summer.text) == "Fri Jul 21 21:26:40 2023\n" && summer.daylight;
  }));
}

TEST(TimeZone, AYearOfFiveDigitsHasNoText) {
  EXPECT_STREQ(LocalTimeText(std::int64_t{1} << 40).text, "");
  EXPECT_STREQ(LocalTimeText(INT64_MAX).text, "");
}

TEST(ClockTest, CanBeReplacedAndRestored) {
  SetClock([] { return std::int64_t{1700000000}; });
  EXPECT_EQ(Now(), 1700000000);
  EXPECT_TRUE(HoldsInChild([] {
    setenv("TZ", "CET-1", 1);
    RefreshTimeZone();
    return std::string(LogTimeNow().text) == "2023-11-14T23:13:20.000+01:00";
  }));
  SetClock(nullptr);
  EXPECT_GT(Now(), 1700000000);
}

TEST(Threads, HaveNumbersOfTheirOwn) {
  const std::uint32_t mine = ThreadId();
  std::uint32_t other = 0;
  std::thread([&] { other = ThreadId(); }).join();
  EXPECT_NE(mine, other);
  EXPECT_EQ(mine, ThreadId());
  EXPECT_EQ(ProcessId(), static_cast<std::uint32_t>(getpid()));
}

TEST(Threads, SleepAtLeastAsLongAsTheySay) {
  const auto start = std::chrono::steady_clock::now();
  SleepMs(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(Path, EveryBackslashBecomesASlashAndNothingElseChanges) {
  EXPECT_EQ(NativePath("\\var\\spool/qob\\00000001.msg"), "/var/spool/qob/00000001.msg");
  EXPECT_EQ(NativePath("C:\\x"), "C:/x");
  EXPECT_EQ(NativePath(""), "");
  EXPECT_EQ(NativePath("\\\\a b\xFF"), "//a b\xFF");
}

TEST(Path, IsSplitAtEitherSign) {
  EXPECT_EQ(FileNamePart("a\\b/c"), "c");
  EXPECT_EQ(FileNamePart("a/b\\c"), "c");
  EXPECT_EQ(FileNamePart("c"), "c");
  EXPECT_EQ(FileNamePart("a/"), "");
  EXPECT_EQ(LastSeparator("abc"), std::string_view::npos);
}

TEST(Process, KnowsItsNumberInAChildOfAnyKind) {
  ASSERT_EQ(ProcessId(), static_cast<std::uint32_t>(getpid()));
  EXPECT_TRUE(HoldsInChild([] {
    if (ProcessId() != static_cast<std::uint32_t>(getpid())) return false;
    return HoldsInChild([] { return ProcessId() == static_cast<std::uint32_t>(getpid()); });
  }));
  // Without anything that a fork of the C library does besides.
  const pid_t child = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
  if (child == 0) {
    const bool knows = ProcessId() == static_cast<std::uint32_t>(syscall(SYS_getpid));
    syscall(SYS_exit_group, knows ? 0 : 1);
  }
  EXPECT_EQ(testing::Wait(child), 0);
  EXPECT_EQ(ProcessId(), static_cast<std::uint32_t>(getpid()));
}

}  // namespace
}  // namespace qob::os
