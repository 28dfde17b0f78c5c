// The date text of submission, above all its zone.
#include "queue/local_date.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "platform/os/process.h"

namespace qob {
namespace {

std::string In(const char* zone, std::int64_t moment) {
  setenv("TZ", zone, 1);
  os::RefreshTimeZone();
  return LocalDateText(moment);
}

constexpr std::int64_t kWinter = 1'794'738'245;  // Sun, 15 Nov 2026 10:24:05 UTC
constexpr std::int64_t kSummer = 1'783'000'800;  // Thu,  2 Jul 2026 14:00:00 UTC

TEST(LocalDate, WestOfUtcIsMinusInWinter) {
  EXPECT_EQ(In("PST8PDT", kWinter), "Sun, 15 Nov 2026 02:24:05 -0800");
}

TEST(LocalDate, WestOfUtcIsMinusInSummer) {
  EXPECT_EQ(In("PST8PDT", kSummer), "Thu, 2 Jul 2026 07:00:00 -0700");
}

TEST(LocalDate, EastOfUtcIsPlusInWinter) {
  EXPECT_EQ(In("CET-1CEST,M3.5.0,M10.5.0/3", kWinter), "Sun, 15 Nov 2026 11:24:05 +0100");
}

TEST(LocalDate, EastOfUtcIsPlusInSummer) {
  EXPECT_EQ(In("CET-1CEST,M3.5.0,M10.5.0/3", kSummer), "Thu, 2 Jul 2026 16:00:00 +0200");
}

TEST(LocalDate, UtcIsPlusZero) {
  EXPECT_EQ(In("UTC0", kWinter), "Sun, 15 Nov 2026 10:24:05 +0000");
}

TEST(LocalDate, HalfHoursStandInTheZone) {
  EXPECT_EQ(In("IST-5:30", kWinter), "Sun, 15 Nov 2026 15:54:05 +0530");
  EXPECT_EQ(In("NST3:30", kWinter), "Sun, 15 Nov 2026 06:54:05 -0330");
}

TEST(LocalDate, TwelveHoursEastAreStillEast) {
  EXPECT_EQ(In("NZST-12NZDT,M9.5.0,M4.1.0/3", kSummer), "Fri, 3 Jul 2026 02:00:00 +1200");
}

// A result beyond twelve hours east in summer is told as eleven hours west.
TEST(LocalDate, BeyondTwelveHoursInSummerTurnsWest) {
  EXPECT_EQ(In("NZST-12NZDT,M9.5.0,M4.1.0/3", kWinter), "Sun, 15 Nov 2026 23:24:05 -1100");
}

TEST(LocalDate, ThirteenHoursWithoutSummerTimeStay) {
  EXPECT_EQ(In("TOT-13", kWinter), "Sun, 15 Nov 2026 23:24:05 +1300");
}

TEST(LocalDate, DaysBelowTenStandAlone) {
  EXPECT_EQ(In("UTC0", 1'793'500'000), "Sun, 1 Nov 2026 02:26:40 +0000");
}

TEST(LocalDate, YearsBehindTheLastOfDateRecordsAreWritten) {
  EXPECT_EQ(In("UTC0", 4'102'444'799), "Thu, 31 Dec 2099 23:59:59 +0000");
}

TEST(LocalDate, AYearBeyondFourDigitsGivesNothing) { EXPECT_EQ(In("UTC0", 253'402'300'800), ""); }

}  // namespace
}  // namespace qob
