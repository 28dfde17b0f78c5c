// Both readers of dates: what they take, what they refuse, and that no bytes hurt them.
#include "dates/date.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <random>
#include <string>

#include "platform/os/process.h"
#include "support/exact_copy.h"

static bool operator==(const UtcDate& a, const UtcDate& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
         a.minute == b.minute && a.second == b.second && a.reserved == b.reserved &&
         a.zoneOffset == b.zoneOffset && a.flags == b.flags;
}
static std::ostream& operator<<(std::ostream& out, const UtcDate& d) {
  return out << d.year << '-' << d.month << '-' << d.day << ' ' << d.hour << ':' << d.minute << ':'
             << d.second << " r" << d.reserved << " zone " << d.zoneOffset << " flags " << d.flags;
}

namespace qob {
namespace {

using testing::ExactCopy;

constexpr int kZone = QOB_DATE_ZONE_KNOWN;
constexpr int kSeconds = QOB_DATE_SECONDS_GIVEN;

struct Row {
  const char* text;
  UtcDate expected;
};

void ExpectRfc(const Row& row) {
  const ExactCopy text{std::string_view(row.text)};
  UtcDate date{};
  ASSERT_TRUE(ParseRfcDate(text.view(), &date)) << row.text;
  EXPECT_EQ(date, row.expected) << row.text;
}

void ExpectNoRfc(std::string_view text) {
  const UtcDate before = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  UtcDate date = before;
  EXPECT_FALSE(ParseRfcDate(ExactCopy(text).view(), &date)) << text;
  EXPECT_EQ(date, before) << text;
}

TEST(RfcDate, ReadsTheFullForm) {
  ExpectRfc(
      {"Sun, 15 Nov 2026 02:24:05 -0800", {2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}});
}

TEST(RfcDate, ReadsTwoDigitYearsAndZoneNames) {
  ExpectRfc({"15 Nov 26 02:24 PST", {2026, 11, 15, 2, 24, 0, 0, -480, kZone}});
}

TEST(RfcDate, JudgesYearsByTheirValue) {
  for (const auto& [text, year] : {std::pair{"0", 2000},
                                   {"00", 2000},
                                   {"7", 2007},
                                   {"37", 2037},
                                   {"80", 1980},
                                   {"99", 1999},
                                   {"026", 2026},
                                   {"0026", 2026},
                                   {"00000000000000000099", 1999},
                                   {"1980", 1980},
                                   {"2037", 2037},
                                   {"02037", 2037}}) {
    ExpectRfc({(std::string("1 Jan ") + text).c_str(), {year, 1, 1, 0, 0, 0, 0, 0, 0}});
  }
  for (const char* text : {"38", "50", "79", "100", "126", "999", "1979", "2038", "2040", "9999",
                           "4294967322", "18446744073709551642"}) {
    ExpectNoRfc(std::string("1 Jan ") + text);
  }
  ExpectNoRfc("15 Nov 50 02:24");
}

TEST(RfcDate, KnowsLeapYears) {
  ExpectRfc({"29 Feb 2000", {2000, 2, 29, 0, 0, 0, 0, 0, 0}});
  ExpectRfc({"29 Feb 2004", {2004, 2, 29, 0, 0, 0, 0, 0, 0}});
  ExpectNoRfc("29 Feb 2001");
  ExpectNoRfc("30 Feb 2000");
}

TEST(RfcDate, HoldsTheDayToItsMonth) {
  constexpr int kLast[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  constexpr const char* kNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int month = 1; month <= 12; ++month) {
    const std::string rest = std::string(" ") + kNames[month - 1] + " 2026";
    ExpectRfc({(std::to_string(kLast[month - 1]) + rest).c_str(),
               {2026, month, kLast[month - 1], 0, 0, 0, 0, 0, 0}});
    ExpectNoRfc(std::to_string(kLast[month - 1] + 1) + rest);
    ExpectNoRfc("0" + rest);
  }
}

TEST(RfcDate, TakesMonthsInExactlyOneCase) {
  for (const char* name : {"Nov", "November", "Novxyz", "Novem"}) {
    ExpectRfc({(std::string("15 ") + name + " 2026").c_str(), {2026, 11, 15, 0, 0, 0, 0, 0, 0}});
  }
  for (const char* name : {"NOV", "nov", "nOv", "No", "N", "Foo", "11", ""}) {
    ExpectNoRfc(std::string("15 ") + name + " 2026");
  }
  ExpectNoRfc("15 Ja 2026");
  ExpectNoRfc("15 JAN 2026");
}

TEST(RfcDate, SkipsAnyWeekdayAndThePunctuationBehindIt) {
  const UtcDate expected = {2026, 11, 15, 0, 0, 0, 0, 0, 0};
  for (const char* text : {"15 Nov 2026", " \t\r\n15 Nov 2026", "Sun 15 Nov 2026",
                           "Sun,15 Nov 2026", "Sunday; , .15 Nov 2026", "Blursday, 15 Nov 2026",
                           "Mon, 15 Nov 2026", "x!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~ 15 Nov 2026"}) {
    ExpectRfc({text, expected});
  }
  ExpectNoRfc(", 15 Nov 2026");
  ExpectNoRfc("Sun Sun 15 Nov 2026");
  ExpectNoRfc("Sun\xA0 15 Nov 2026");
}

TEST(RfcDate, NeedsNoSpaceBetweenPieces) {
  ExpectRfc({"Sun,15Nov2026 02:24:05-0800", {2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}});
  ExpectRfc({"15Nov2026PST", {2026, 11, 15, 0, 0, 0, 0, -480, kZone}});
  ExpectRfc(
      {"15\r\n\tNov\v2026\f2 :24 :05 PST", {2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}});
}

TEST(RfcDate, RefusesPunctuationBetweenPieces) {
  ExpectNoRfc("15-Nov-2026");
  ExpectNoRfc("15. Nov 2026");
  ExpectNoRfc("15 Nov, 2026");
}

TEST(RfcDate, LeavesMissingPartsOfTheTimeAtZero) {
  ExpectRfc({"15 Nov 2026 7", {2026, 11, 15, 7, 0, 0, 0, 0, 0}});
  ExpectRfc({"15 Nov 2026 7 EST", {2026, 11, 15, 7, 0, 0, 0, -300, kZone}});
  ExpectRfc({"15 Nov 2026 7:8", {2026, 11, 15, 7, 8, 0, 0, 0, 0}});
  ExpectRfc({"15 Nov 2026 7:8:9", {2026, 11, 15, 7, 8, 9, 0, 0, kSeconds}});
  ExpectRfc({"15 Nov 2026 7:8:00", {2026, 11, 15, 7, 8, 0, 0, 0, kSeconds}});
}

TEST(RfcDate, LeavesAColonWithoutDigitToTheZone) {
  ExpectRfc({"15 Nov 2026 7: 8", {2026, 11, 15, 7, 0, 0, 0, 0, 0}});
  ExpectRfc({"15 Nov 2026 7:", {2026, 11, 15, 7, 0, 0, 0, 0, 0}});
  ExpectRfc({"15 Nov 2026 7:8: EST", {2026, 11, 15, 7, 8, 0, 0, 0, 0}});
  ExpectRfc({"15 Nov 2026 7:8 : 9", {2026, 11, 15, 7, 8, 0, 0, 0, 0}});
}

TEST(RfcDate, RefusesTimesBeyondTheDay) {
  for (const char* time :
       {"24:00", "23:60", "23:59:60", "99999999999999999999", "1:4294967296", "1:2:4294967299"}) {
    ExpectNoRfc(std::string("15 Nov 2026 ") + time);
  }
  ExpectRfc({"15 Nov 2026 23:59:59", {2026, 11, 15, 23, 59, 59, 0, 0, kSeconds}});
  ExpectRfc({"15 Nov 2026 00000000000000000000001", {2026, 11, 15, 1, 0, 0, 0, 0, 0}});
}

TEST(RfcDate, DoesNotOverflowOnLongNumbers) {
  ExpectNoRfc(std::string(100000, '9') + " Nov 2026");
  ExpectNoRfc("4294967311 Nov 2026");
  ExpectNoRfc("15 Nov " + std::string(100000, '9'));
}

TEST(RfcDate, TakesFourCharactersBehindASignForTheZone) {
  ExpectRfc({"1 Jan 2000 0:00 +0530", {2000, 1, 1, 0, 0, 0, 0, 330, kZone}});
  ExpectRfc({"1 Jan 2000 0:00 -1234567", {2000, 1, 1, 0, 0, 0, 0, -754, kZone}});
  ExpectRfc({"1 Jan 2000 +9999", {2000, 1, 1, 0, 0, 0, 0, 99 * 60 + 99, kZone}});
  // (49 * 10 + 50) * 60 + 10 * 10 + 74, the distances from '0'
  ExpectRfc({"1 Jan 2000 +ab:z", {2000, 1, 1, 0, 0, 0, 0, 32574, kZone}});
  ExpectRfc(
      {"1 Jan 2000 -\xFF"
       "000",
       {2000, 1, 1, 0, 0, 0, 0, -124200, kZone}});
  ExpectRfc(
      {"1 Jan 2000 +    ", {2000, 1, 1, 0, 0, 0, 0, (-16 * 10 - 16) * 60 - 16 * 10 - 16, kZone}});
}

TEST(RfcDate, LeavesTheZoneUnknownWhenCharactersAreMissing) {
  for (const char* zone : {"+", "-", "+0", "+05", "+053", "-080"}) {
    ExpectRfc({(std::string("1 Jan 2000 ") + zone).c_str(), {2000, 1, 1, 0, 0, 0, 0, 0, 0}});
  }
}

TEST(RfcDate, CountsMinusZeroAsAKnownZone) {
  ExpectRfc({"1 Jan 2000 0:00 -0000", {2000, 1, 1, 0, 0, 0, 0, 0, kZone}});
}

TEST(RfcDate, IgnoresWhatStandsBehindTheZone) {
  ExpectRfc({"1 Jan 2000 1:02 EST (Eastern) 2001", {2000, 1, 1, 1, 2, 0, 0, -300, kZone}});
  ExpectRfc({"1 Jan 2000 1:02 (no zone)", {2000, 1, 1, 1, 2, 0, 0, 0, 0}});
  ExpectRfc({"1 Jan 2000 1:02 \xC3\xA9", {2000, 1, 1, 1, 2, 0, 0, 0, 0}});
}

TEST(RfcDate, EndsAtANul) {
  const std::string_view text(
      "1 Jan 2000 1:02 +01\0"
      "00",
      22);
  UtcDate date{};
  ASSERT_TRUE(ParseRfcDate(text, &date));
  EXPECT_EQ(date, (UtcDate{2000, 1, 1, 1, 2, 0, 0, 0, 0}));
  EXPECT_FALSE(ParseRfcDate(std::string_view("1 Jan\0 2000", 11), &date));
}

TEST(RfcDate, RefusesTextsWithoutDate) {
  for (const char* text : {"", " ", "\r\n", "Sun,", "Sun, 15", "Sun, 15 Nov", "Sun, Nov 15 2026",
                           "-15 Nov 2026", "x"}) {
    ExpectNoRfc(text);
  }
}

TEST(RfcDate, ReadsNothingBehindItsEnd) {
  const std::string_view whole = "Sun, 15 Nov 2026 02:24:05 -0800";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    UtcDate date{};
    const bool read = ParseRfcDate(ExactCopy(whole.substr(0, length)).view(), &date);
    // "15 Nov 2" is the first part that is a date: the year 2002.
    EXPECT_EQ(read, length >= 13 && length != 15) << whole.substr(0, length);
  }
}

UtcDate Ctime(std::string_view text, int local_offset = 77) {
  UtcDate date{};
  EXPECT_TRUE(ParseCtimeDate(ExactCopy(text).view(), local_offset, &date)) << text;
  return date;
}

void ExpectNoCtime(std::string_view text) {
  const UtcDate before = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  UtcDate date = before;
  EXPECT_FALSE(ParseCtimeDate(ExactCopy(text).view(), 77, &date)) << text;
  EXPECT_EQ(date, before) << text;
}

TEST(CtimeDate, ReadsTheLibrarysForm) {
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 2026\n", -480),
            (UtcDate{2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}));
}

TEST(CtimeDate, TakesBothPaddingsOfTheDay) {
  for (const char* text :
       {"Sun Nov  5 02:24:05 2026\n", "Sun Nov 05 02:24:05 2026\n", "Sun Nov 5 02:24:05 2026"}) {
    EXPECT_EQ(Ctime(text), (UtcDate{2026, 11, 5, 2, 24, 5, 0, 77, kZone | kSeconds}));
  }
}

TEST(CtimeDate, TakesAZoneNameBeforeTheYear) {
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 PST 2026"),
            (UtcDate{2026, 11, 15, 2, 24, 5, 0, -480, kZone | kSeconds}));
  EXPECT_EQ(Ctime("Sun Nov 15 02:24 JST 2026"), (UtcDate{2026, 11, 15, 2, 24, 0, 0, 540, kZone}));
}

TEST(CtimeDate, ReplacesGmtByTheLocalOffset) {
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 GMT 2026"),
            (UtcDate{2026, 11, 15, 2, 24, 5, 0, 77, kZone | kSeconds}));
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 UT 2026").zoneOffset, 77);
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 Z 2026").zoneOffset, 77);
}

TEST(CtimeDate, ReplacesAnUnknownZoneByTheLocalOffset) {
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 XYZ 2026"),
            (UtcDate{2026, 11, 15, 2, 24, 5, 0, 77, kZone | kSeconds}));
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 CEST 2026", 0),
            (UtcDate{2026, 11, 15, 2, 24, 5, 0, 0, kZone | kSeconds}));
}

TEST(CtimeDate, RefusesANumericZone) {
  ExpectNoCtime("Sun Nov 15 02:24:05 +0100 2026");
  ExpectNoCtime("Sun Nov 15 02:24:05 -0800 2026");
}

TEST(CtimeDate, NeedsAYear) {
  ExpectNoCtime("Sun Nov 15 02:24:05");
  ExpectNoCtime("Sun Nov 15 02:24:05 PST");
  ExpectNoCtime("Sun Nov 15 2026");  // the year is taken for the hour
  ExpectNoCtime("Sun Nov 15 02:24:05 \n2038");
  ExpectNoCtime("Sun Nov 15 02:24:05 50");
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 26").year, 2026);
}

TEST(CtimeDate, AlwaysSkipsAWeekday) {
  ExpectNoCtime("Nov 15 02:24:05 2026");
  EXPECT_EQ(Ctime("Blursday, Nov 15 02:24:05 2026").day, 15);
  EXPECT_EQ(Ctime("  Sun   Nov 15 02:24:05 2026").day, 15);
}

TEST(CtimeDate, IgnoresWhatStandsBehindTheYear) {
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 2026 +0100 and more").zoneOffset, 77);
  EXPECT_EQ(Ctime("Sun Nov 15 02:24:05 2026x").year, 2026);
}

TEST(CtimeDate, ChecksDayAndTime) {
  ExpectNoCtime("Sun Feb 29 02:24:05 2026");
  EXPECT_EQ(Ctime("Sun Feb 29 02:24:05 2028").day, 29);
  ExpectNoCtime("Sun Nov 31 02:24:05 2026");
  ExpectNoCtime("Sun Nov 0 02:24:05 2026");
  ExpectNoCtime("Sun Nov 15 24:24:05 2026");
  ExpectNoCtime("Sun Nov 15 02:60:05 2026");
  ExpectNoCtime("Sun Nov 15 02:24:60 2026");
  ExpectNoCtime("Sun NOV 15 02:24:05 2026");
  ExpectNoCtime("");
  ExpectNoCtime("\n");
}

TEST(CtimeDate, ReadsNothingBehindItsEnd) {
  const std::string_view whole = "Sun Nov 15 02:24:05 PST 2026\n";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    UtcDate date{};
    const bool read = ParseCtimeDate(ExactCopy(whole.substr(0, length)).view(), 0, &date);
    // The years 2, 20 and 2026 will do, 202 will not.
    EXPECT_EQ(read, length >= 25 && length != 27) << whole.substr(0, length);
  }
}

class LocalZone : public ::testing::Test {
 protected:
  static void Set(const char* zone) {
    setenv("TZ", zone, 1);
    os::RefreshTimeZone();
  }
  ~LocalZone() override {
    unsetenv("TZ");
    os::RefreshTimeZone();
    os::SetClock(nullptr);
  }
};

TEST_F(LocalZone, GivesCtimeDatesItsStandardTime) {
  const struct {
    const char* zone;
    int minutes;
  } rows[] = {{"PST8PDT", -480}, {"UTC0", 0},          {"IST-5:30", 330},   {"NST3:30NDT", -210},
              {"CET-1CEST", 60}, {"XXX5:00:30", -300}, {"XXX-5:00:30", 300}};
  for (const auto& row : rows) {
    Set(row.zone);
    UtcDate date{};
    ASSERT_TRUE(ParseCtimeDate("Wed Jul 15 02:24:05 2026\n", &date));
    EXPECT_EQ(date.zoneOffset, row.minutes) << row.zone;
    EXPECT_EQ(date.flags, kZone | kSeconds);
  }
}

TEST_F(LocalZone, CountsFromTheEnvironmentAsItIsNow) {
  setenv("TZ", "EST5", 1);
  EXPECT_EQ(LocalOffset(), -300);
  setenv("TZ", "JST-9", 1);
  EXPECT_EQ(LocalOffset(), 540);
}

TEST_F(LocalZone, NamesThePresentMomentInSummerAndWinter) {
  struct Moment {
    const char* zone;
    std::int64_t now;
    int minutes;
  };
  constexpr std::int64_t kJuly = 1784082245;     // 2026-07-15 02:24:05 UTC
  constexpr std::int64_t kJanuary = 1768443845;  // 2026-01-15 02:24:05 UTC
  for (const Moment& row : {Moment{"PST8PDT,M3.2.0,M11.1.0", kJuly, -420},
                            {"PST8PDT,M3.2.0,M11.1.0", kJanuary, -480},
                            {"GMT0BST,M3.5.0/1,M10.5.0", kJuly, 60},
                            {"GMT0BST,M3.5.0/1,M10.5.0", kJanuary, 0},
                            {"IST-5:30", kJuly, 330}}) {
    Set(row.zone);
    static std::int64_t now;
    now = row.now;
    os::SetClock([] { return now; });
    UtcDate date{};
    ASSERT_TRUE(CurrentDate(&date));
    EXPECT_EQ(date.zoneOffset, row.minutes) << row.zone;
    EXPECT_EQ(date.flags, kZone | kSeconds);
    EXPECT_EQ(SecondsOf(date), row.now) << row.zone;
  }
}

TEST_F(LocalZone, HasNoPresentMomentBeyond2037) {
  Set("UTC0");
  os::SetClock([] { return std::int64_t{2145916800}; });  // 2038-01-01
  UtcDate date{};
  EXPECT_FALSE(CurrentDate(&date));
}

TEST(Dates, SurviveAnyBytes) {
  std::minstd_rand random(20260101);
  const std::string_view pieces[] = {"Sun", ", ",  "15",    " ", "Nov",  "2026", ":", "02",
                                     "24",  "PST", "-0800", "+", "\xFF", "GMT",  "99"};
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (auto n = random() % 14; n > 0; --n) {
      const std::size_t pick = random() % (std::size(pieces) + 2);
      if (pick < std::size(pieces)) {
        text += pieces[pick];
      } else {
        text += static_cast<char>(random() % 256);
      }
    }
    for (const bool rfc : {true, false}) {
      const ExactCopy copy(text);
      UtcDate date{};
      if (!(rfc ? ParseRfcDate(copy.view(), &date) : ParseCtimeDate(copy.view(), 60, &date)))
        continue;
      EXPECT_TRUE(date.year >= 1980 && date.year <= 2037) << text;
      EXPECT_TRUE(date.month >= 1 && date.month <= 12 && date.day >= 1 &&
                  date.day <= DaysInMonth(date.year, date.month))
          << text;
      EXPECT_TRUE(date.hour >= 0 && date.hour <= 23 && date.minute >= 0 && date.minute <= 59)
          << text;
      EXPECT_TRUE(date.second >= 0 && date.second <= 59 && date.reserved == 0) << text;
      EXPECT_TRUE((date.flags & kZone) != 0 || date.zoneOffset == 0) << text;
    }
  }
}

}  // namespace
}  // namespace qob
