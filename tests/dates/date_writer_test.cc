// The writer of dates and the calendar under it.
#include "dates/date.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <string>

#include "support/captured_log.h"

namespace qob {
namespace {

using testing::CapturedLog;
using testing::LogLine;

constexpr int kZone = QOB_DATE_ZONE_KNOWN;
constexpr int kSeconds = QOB_DATE_SECONDS_GIVEN;

std::string Write(UtcDate date) {
  char text[kDateTextSize] = "left over";
  const bool written = FormatRfcDate(&date, text);
  EXPECT_EQ(written, text[0] != '\0');
  return text;
}

TEST(DateText, GivesTheHeaderFormBack) {
  EXPECT_EQ(Write({2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}),
            "Sun, 15 Nov 2026 02:24:05 -0800");
}

TEST(DateText, DoesNotPadTheDay) {
  EXPECT_EQ(Write({2023, 11, 5, 2, 4, 5, 0, 330, kZone | kSeconds}),
            "Sun, 5 Nov 2023 02:04:05 +0530");
}

TEST(DateText, HasNeitherSecondsNorZoneWithoutFlags) {
  EXPECT_EQ(Write({2000, 1, 1, 9, 8, 7, 0, -480, 0}), "Sat, 1 Jan 2000 09:08 +0000");
  EXPECT_EQ(Write({2000, 1, 1, 9, 8, 7, 0, -480, kSeconds}), "Sat, 1 Jan 2000 09:08:07 +0000");
  EXPECT_EQ(Write({2000, 1, 1, 9, 8, 7, 0, -480, kZone}), "Sat, 1 Jan 2000 09:08 -0800");
}

TEST(DateText, WritesAKnownZoneOfZeroWithPlus) {
  UtcDate date{};
  ASSERT_TRUE(ParseRfcDate("1 Jan 2000 0:00 -0000", &date));
  EXPECT_EQ(date.flags, kZone);
  EXPECT_EQ(Write(date), "Sat, 1 Jan 2000 00:00 +0000");
}

TEST(DateText, KeepsTheMinutesOfNegativeOffsets) {
  EXPECT_EQ(Write({2000, 1, 1, 0, 0, 0, 0, -570, kZone}), "Sat, 1 Jan 2000 00:00 -0930");
  EXPECT_EQ(Write({2000, 1, 1, 0, 0, 0, 0, -1, kZone}), "Sat, 1 Jan 2000 00:00 -0001");
}

TEST(DateText, BringsTwoDigitYearsToFourAndSaysSo) {
  struct Row {
    int year, expected;
  };
  for (const Row row : {Row{99, 1999}, {80, 1980}, {0, 2000}, {37, 2037}}) {
    CapturedLog log;
    UtcDate date = {row.year, 1, 1, 0, 0, 0, 0, 0, 0};
    char text[kDateTextSize];
    ASSERT_TRUE(FormatRfcDate(&date, text));
    EXPECT_EQ(date.year, row.expected);
    EXPECT_EQ(
        log.lines(),
        (std::vector<LogLine>{{6, "ParseDate",
                               "Received year value " + std::to_string(row.year) +
                                   ".  Changing it to " + std::to_string(row.expected) + "."}}));
  }
}

TEST(DateText, LogsTheYear99AsTheTextHasIt) {
  CapturedLog log;
  UtcDate date = {99, 1, 1, 0, 0, 0, 0, 0, 0};
  char text[kDateTextSize];
  ASSERT_TRUE(FormatRfcDate(&date, text));
  EXPECT_STREQ(text, "Fri, 1 Jan 1999 00:00 +0000");
  EXPECT_TRUE(log.Has(6, "Received year value 99.  Changing it to 1999."));
}

TEST(DateText, RefusesYearsOutsideAndSaysSo) {
  for (const int year : {2040, 2038, 1979, 38, 79, 100, -1, INT_MIN, INT_MAX}) {
    CapturedLog log;
    UtcDate date = {year, 1, 1, 0, 0, 0, 0, 0, 0};
    char text[kDateTextSize] = "left over";
    EXPECT_FALSE(FormatRfcDate(&date, text));
    EXPECT_STREQ(text, "");
    EXPECT_EQ(date.year, year);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{6, "ParseDate",
                                     "Received invalid year value " + std::to_string(year) +
                                         ".  Use current year instead."}}));
  }
}

TEST(DateText, LooksAtTheMonthBeforeTheYear) {
  for (const int month : {0, 13, -1, INT_MIN, INT_MAX}) {
    CapturedLog log;
    UtcDate date = {99, month, 1, 0, 0, 0, 0, 0, 0};
    char text[kDateTextSize] = "left over";
    EXPECT_FALSE(FormatRfcDate(&date, text));
    EXPECT_STREQ(text, "");
    EXPECT_EQ(date.year, 99);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(DateText, StaysQuietAboutGoodYears) {
  CapturedLog log;
  Write({1980, 1, 1, 0, 0, 0, 0, 0, 0});
  Write({2037, 12, 31, 0, 0, 0, 0, 0, 0});
  EXPECT_TRUE(log.lines().empty());
}

TEST(DateText, FillsItsBufferToTheLastByteAndNotFurther) {
  EXPECT_EQ(Write({2026, 11, 1234567890, 2, 24, 5, 0, -480, kZone | kSeconds}).substr(4),
            " 1234567890 Nov 2026 02:24:05 -0800");  // 39 characters and the NUL
  EXPECT_EQ(Write({2026, 11, 1234567890, 102, 24, 5, 0, -480, kZone | kSeconds}), "");
}

TEST(DateText, SurvivesWildNumbers) {
  EXPECT_EQ(Write({2026, 11, INT_MIN, INT_MIN, INT_MIN, INT_MIN, 0, INT_MIN, kZone | kSeconds}),
            "");
  EXPECT_EQ(Write({2026, 11, 15, 0, 0, 0, 0, INT_MIN, kZone}),
            "Sun, 15 Nov 2026 00:00 -3579139408");
  EXPECT_EQ(Write({2026, 11, 15, 0, 0, 0, 0, INT_MAX, kZone}),
            "Sun, 15 Nov 2026 00:00 +3579139407");
  EXPECT_EQ(Write({2026, 11, 15, -7, -8, -9, 0, 0, kSeconds}), "Sun, 15 Nov 2026 -7:-8:-9 +0000");
}

TEST(DateText, CountsWeekdaysOnWithDaysOutsideTheMonth) {
  EXPECT_EQ(Write({2026, 11, 0, 0, 0, 0, 0, 0, 0}), "Sat, 0 Nov 2026 00:00 +0000");
  EXPECT_EQ(Write({2026, 11, -6, 0, 0, 0, 0, 0, 0}), "Sun, -6 Nov 2026 00:00 +0000");
  EXPECT_EQ(Write({2026, 11, -999999, 0, 0, 0, 0, 0, 0}), "Sat, -999999 Nov 2026 00:00 +0000");
  EXPECT_EQ(Write({2026, 11, 45, 0, 0, 0, 0, 0, 0}), "Tue, 45 Nov 2026 00:00 +0000");
}

// Every day of the years that can be written, against the C library's calendar.
TEST(DateText, AgreesWithTheCLibraryOnEveryDay) {
  constexpr std::time_t kDay = 86400;
  std::time_t moment = 315532800;  // 1980-01-01
  for (; moment < 2145916800; moment += kDay) {
    std::tm day{};
    ASSERT_NE(gmtime_r(&moment, &day), nullptr);
    char expected[64];
    std::strftime(expected, sizeof expected, "%a, %e %b %Y 00:00 +0000", &day);
    std::string text = expected;
    if (text[5] == ' ') text.erase(5, 1);
    const UtcDate date = {day.tm_year + 1900, day.tm_mon + 1, day.tm_mday, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(Write(date), text);
    ASSERT_EQ(DaysFromCivil(date.year, date.month, date.day), moment / kDay);
    ASSERT_EQ(SecondsOf(date), moment);
  }
}

TEST(DateSeconds, TakeTheZoneOff) {
  EXPECT_EQ(SecondsOf({2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}), 1794738245);
  EXPECT_EQ(SecondsOf({2026, 11, 15, 10, 24, 5, 0, 0, kZone | kSeconds}), 1794738245);
  EXPECT_EQ(SecondsOf({1970, 1, 1, 0, 0, 0, 0, 0, 0}), 0);
}

TEST(DateSeconds, TakeAnUnknownZoneForUtc) {
  EXPECT_EQ(SecondsOf({2026, 11, 15, 10, 24, 5, 0, -480, kSeconds}), 1794738245);
}

TEST(DateSeconds, ReachBeyond32Bits) {
  EXPECT_EQ(SecondsOf({2037, 12, 31, 23, 59, 59, 0, -99 * 60, kZone}), 2145916799LL + 99 * 3600);
  EXPECT_EQ(SecondsOf({2038, 1, 19, 3, 14, 8, 0, 0, 0}), 2147483648LL);
}

TEST(Calendar, KnowsFarYears) {
  EXPECT_EQ(DaysFromCivil(1600, 3, 1), -135080);
  EXPECT_EQ(DaysFromCivil(0, 3, 1), -719468);
  EXPECT_EQ(DaysFromCivil(-1, 12, 31), -719529);
  EXPECT_EQ(DaysFromCivil(9999, 12, 31), 2932896);
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_FALSE(IsLeapYear(1900));
  EXPECT_TRUE(IsLeapYear(2024));
  EXPECT_FALSE(IsLeapYear(2025));
}

}  // namespace
}  // namespace qob
