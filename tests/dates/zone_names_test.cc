// The 64 zone names: what a date that carries each of them is worth, in minutes east of UTC.
#include "dates/zone_names.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "dates/date.h"

namespace qob {
namespace {

struct Row {
  const char* name;
  std::optional<int> minutes;  // none: the name is not found
};

// Worked out by hand from the values hhmm, west of Greenwich with the minutes added.
constexpr Row kRows[] = {
    {"A", -60},    {"AHST", -600}, {"AT", std::nullopt}, {"AST", -240}, {"B", -120},
    {"BST", 60},   {"BT", -660},   {"C", -180},          {"CAT", -600}, {"CCT", 480},
    {"CDT", -300}, {"CET", 60},    {"CST", -360},        {"D", -240},   {"E", -300},
    {"EDT", -240}, {"EET", 120},   {"EST", -300},        {"F", -360},   {"G", -420},
    {"GMT", 0},    {"GST", 600},   {"H", -480},          {"HST", -570}, {"I", -540},
    {"IDLE", 720}, {"IDLW", -720}, {"IST", 330},         {"IT", 180},   {"JST", 540},
    {"JT", 450},   {"K", -600},    {"L", -660},          {"M", -720},   {"MDT", -360},
    {"MET", 60},   {"MST", -420},  {"MT", 510},          {"N", 60},     {"NFT", -150},
    {"NST", 390},  {"NT", -660},   {"NZT", 690},         {"O", 120},    {"P", 180},
    {"PDT", -420}, {"PST", -480},  {"Q", 240},           {"R", 300},    {"S", 360},
    {"SAST", 570}, {"SST", 420},   {"T", 420},           {"U", 480},    {"UT", 0},
    {"V", 540},    {"W", 600},     {"WAT", -60},         {"WDT", 60},   {"WET", 0},
    {"X", 660},    {"Y", 720},     {"YST", -540},        {"Z", 0},
};
static_assert(std::size(kRows) == kZoneCount);

UtcDate Read(const std::string& zone) {
  UtcDate date{};
  EXPECT_TRUE(ParseRfcDate("15 Nov 2026 02:24 " + zone, &date)) << zone;
  return date;
}

TEST(ZoneNames, GiveEachOfThe64TheirMinutes) {
  for (const Row& row : kRows) {
    const UtcDate date = Read(row.name);
    EXPECT_EQ(date.zoneOffset, row.minutes.value_or(0)) << row.name;
    EXPECT_EQ(date.flags, row.minutes ? QOB_DATE_ZONE_KNOWN : 0) << row.name;
  }
}

TEST(ZoneNames, AreKeptInTheOrderOfTheTable) {
  for (std::size_t i = 0; i < kZoneCount; ++i) EXPECT_EQ(kZoneNames[i].name, kRows[i].name);
}

TEST(ZoneNames, DoNotFindAtBehindWhoseBackAstStands) {
  EXPECT_EQ(FindZone("AT"), kUnknownZone);
  EXPECT_EQ(FindZone("AST"), -400);
}

TEST(ZoneNames, WantCapitalsAndTheWholeName) {
  for (const char* name :
       {"gmt", "Gmt", "pst", "z", "UTC", "ZZ", "GM", "GMTX", "PS", "AAA", "EDTT"}) {
    EXPECT_EQ(FindZone(name), kUnknownZone) << name;
  }
  EXPECT_EQ(FindZone(""), kUnknownZone);
}

TEST(ZoneNames, CountMinutesWestOfGreenwichAwayFromTheHours) {
  EXPECT_EQ(ZoneMinutes(-1030), -570);
  EXPECT_EQ(ZoneMinutes(-330), -150);
  EXPECT_EQ(ZoneMinutes(-800), -480);
  EXPECT_EQ(ZoneMinutes(530), 330);
  EXPECT_EQ(ZoneMinutes(0), 0);
}

}  // namespace
}  // namespace qob
