// Random dates read by this library and by python3's email.utils, where both follow the same rules:
// full numeric zones, four digit years, months as "Nov".
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "dates/date.h"

namespace qob {
namespace {

constexpr const char* kScript =
    "import sys, email.utils as u\n"
    "for line in open(sys.argv[1]):\n"
    "    t = u.parsedate_tz(line.rstrip('\\n'))\n"
    "    print(u.mktime_tz(t), t[9], *t[:6])\n";

std::vector<std::string> RandomDates() {
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::mt19937 random(822);
  const auto number = [&](unsigned low, unsigned high) {
    return low + static_cast<unsigned>(random()) % (high - low + 1);
  };
  std::vector<std::string> texts;
  for (int i = 0; i < 3000; ++i) {
    char text[96];
    std::snprintf(text, sizeof text,
                  number(0, 1) != 0 ? "Wed, %02u %s %u %02u:%02u:%02u %c%02u%02u"
                                    : "%u %s %u %u:%02u:%02u %c%02u%02u",
                  number(1, 28), kMonths[number(0, 11)], number(1980, 2037), number(0, 23),
                  number(0, 59), number(0, 59), number(0, 1) != 0 ? '+' : '-', number(0, 14),
                  number(0, 59));
    texts.emplace_back(text);
  }
  return texts;
}

TEST(RfcDate, AgreesWithAnIndependentReader) {
  const std::vector<std::string> texts = RandomDates();
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("qobdates-" + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  {
    std::ofstream dates(folder / "dates");
    for (const std::string& text : texts) dates << text << '\n';
    std::ofstream(folder / "read.py") << kScript;
  }
  const std::string command =
      "python3 " + (folder / "read.py").string() + " " + (folder / "dates").string();
  FILE* output = popen(command.c_str(), "r");
  ASSERT_NE(output, nullptr);
  for (const std::string& text : texts) {
    long long seconds = 0;
    int zone = 0;
    UtcDate expected{};
    ASSERT_EQ(std::fscanf(output, "%lld %d %d %d %d %d %d %d", &seconds, &zone, &expected.year,
                          &expected.month, &expected.day, &expected.hour, &expected.minute,
                          &expected.second),
              8)
        << "python3 did not answer for " << text;
    UtcDate date{};
    ASSERT_TRUE(ParseRfcDate(text, &date)) << text;
    EXPECT_EQ(SecondsOf(date), seconds) << text;
    EXPECT_EQ(date.zoneOffset * 60, zone) << text;
    EXPECT_TRUE(date.year == expected.year && date.month == expected.month &&
                date.day == expected.day && date.hour == expected.hour &&
                date.minute == expected.minute && date.second == expected.second)
        << text;
    EXPECT_EQ(date.flags, QOB_DATE_ZONE_KNOWN | QOB_DATE_SECONDS_GIVEN) << text;
  }
  EXPECT_EQ(pclose(output), 0);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace qob
