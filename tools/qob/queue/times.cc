#include "times.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace cli::queue {
namespace {

constexpr std::int64_t kDaySeconds = 24 * 60 * 60;

struct Date {
  std::int64_t year;
  std::int64_t month;
  std::int64_t day;
};

// The Gregorian date of a day counted from 1970-01-01: eras of 400 years that begin in March, so
// that the leap day is the last of its year.
Date DateOfDay(std::int64_t days) {
  constexpr std::int64_t kEraDays = 146097;
  const std::int64_t shifted = days + 719468;
  const std::int64_t era = shifted / kEraDays;
  const std::int64_t day_of_era = shifted - era * kEraDays;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t march_month = (5 * day_of_year + 2) / 153;
  const std::int64_t month = march_month < 10 ? march_month + 3 : march_month - 9;
  return {year_of_era + era * 400 + (month <= 2 ? 1 : 0), month,
          day_of_year - (153 * march_month + 2) / 5 + 1};
}

char* PutTwo(std::int64_t value, char* at) {
  at[0] = static_cast<char>('0' + value / 10 % 10);
  at[1] = static_cast<char>('0' + value % 10);
  return at + 2;
}

}  // namespace

UtcText::UtcText(std::int64_t seconds) {
  const Date date = DateOfDay(seconds / kDaySeconds);
  const std::int64_t of_day = seconds % kDaySeconds;
  char* at = PutTwo(date.year / 100, text_);
  at = PutTwo(date.year, at);
  *at++ = '-';
  at = PutTwo(date.month, at);
  *at++ = '-';
  at = PutTwo(date.day, at);
  *at++ = 'T';
  at = PutTwo(of_day / 3600, at);
  *at++ = ':';
  at = PutTwo(of_day / 60 % 60, at);
  *at++ = ':';
  at = PutTwo(of_day % 60, at);
  *at = 'Z';
}

void AppendUtc(std::int64_t seconds, std::string* out) { *out += UtcText(seconds).view(); }

std::string LocalText(std::int64_t seconds) {
  const std::time_t moment = seconds;
  const std::tm* const local = std::localtime(&moment);
  std::array<char, 64> text{};
  if (local == nullptr ||
      std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", local) == 0)
    return "-";
  return text.data();
}

std::string DurationText(std::int64_t seconds) {
  const auto two = [](std::int64_t large, char large_unit, std::int64_t small, char small_unit) {
    std::string text = std::to_string(large);
    text += large_unit;
    text += std::to_string(small);
    text += small_unit;
    return text;
  };
  if (seconds < 0) return "-";
  if (seconds < 60) return std::to_string(seconds) + "s";
  if (seconds < 3600) return std::to_string(seconds / 60) + "m";
  if (seconds < kDaySeconds) return two(seconds / 3600, 'h', seconds / 60 % 60, 'm');
  return two(seconds / kDaySeconds, 'd', seconds / 3600 % 24, 'h');
}

std::string NextText(std::int64_t retry_at, std::int64_t now) {
  if (retry_at == 0) return "-";
  return retry_at <= now ? "due" : "in " + DurationText(retry_at - now);
}

std::string SizeText(std::int64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes);
  constexpr const char* kUnits = "KMGTPE";
  double size = static_cast<double>(bytes) / 1024;
  int unit = 0;
  for (; size >= 1024 && unit < 5; ++unit) size /= 1024;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), size < 9.95 ? "%.1f%c" : "%.0f%c", size, kUnits[unit]);
  return text.data();
}

}  // namespace cli::queue
