// How the queue's commands write moments and durations.
#include "queue/times.h"

#include <gtest/gtest.h>

#include <chrono>

namespace cli::queue {
namespace {

TEST(QueueTimes, WriteMomentsAsRfc3339) {
  EXPECT_EQ(UtcText(0).view(), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcText(951782399).view(), "2000-02-28T23:59:59Z");
  EXPECT_EQ(UtcText(951782400).view(), "2000-02-29T00:00:00Z");
  EXPECT_EQ(UtcText(0x7FFFFFFF).view(), "2038-01-19T03:14:07Z");
}

TEST(QueueTimes, KnowEveryDayAsTheCalendarDoes) {
  for (int day = 0; day < 120000; ++day) {
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
    char expected[32];
    std::snprintf(expected, sizeof expected, "%04d-%02u-%02uT01:02:03Z",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()));
    ASSERT_EQ(UtcText(day * std::int64_t{86400} + 3723).view(), expected);
  }
}

TEST(QueueTimes, ShortenDurations) {
  EXPECT_EQ(DurationText(-1), "-");
  EXPECT_EQ(DurationText(0), "0s");
  EXPECT_EQ(DurationText(59), "59s");
  EXPECT_EQ(DurationText(60), "1m");
  EXPECT_EQ(DurationText(3599), "59m");
  EXPECT_EQ(DurationText(3600), "1h0m");
  EXPECT_EQ(DurationText(86399), "23h59m");
  EXPECT_EQ(DurationText(90061), "1d1h");
}

TEST(QueueTimes, TellTheNextTry) {
  EXPECT_EQ(NextText(0, 100), "-");
  EXPECT_EQ(NextText(100, 100), "due");
  EXPECT_EQ(NextText(99, 100), "due");
  EXPECT_EQ(NextText(160, 100), "in 1m");
}

TEST(QueueTimes, ShortenSizes) {
  EXPECT_EQ(SizeText(0), "0");
  EXPECT_EQ(SizeText(1023), "1023");
  EXPECT_EQ(SizeText(1024), "1.0K");
  EXPECT_EQ(SizeText(4300), "4.2K");
  EXPECT_EQ(SizeText(20 * 1024 * 1024), "20M");
}

}  // namespace
}  // namespace cli::queue
