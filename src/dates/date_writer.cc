// Writes a date record as header text, and the calendar arithmetic of dates.
#include "dates/date.h"

#include <cstdio>
#include <cstring>

#include "dates/calendar.h"
#include "frame/report.h"

namespace qob {
namespace {

constexpr const char* kWeekdayNames[7] = {"Sat", "Sun", "Mon", "Tue", "Wed", "Thu", "Fri"};
constexpr const char* kLogName = "ParseDate";

bool NormaliseYear(UtcDate* date) {
  const std::int32_t year = FullYear(date->year);
  if (year == 0) {
    ReportAs(kLogName, kDetail, "Received invalid year value %i.  Use current year instead.",
             date->year);
    return false;
  }
  if (year != date->year) {
    ReportAs(kLogName, kDetail, "Received year value %i.  Changing it to %i.", date->year, year);
    date->year = year;
  }
  return true;
}

// The day number since a Saturday, in the reckoning that also holds for the old calendar's years.
const char* Weekday(const UtcDate& date) {
  const std::int64_t year = date.year;
  std::int64_t day = (year + 3) / 4 + year + 4;
  if (year > 1800) day += (year - 1601) / 400 - (year - 1701) / 100;
  if (year > 1752) day += 3;
  for (std::int32_t month = 1; month < date.month; ++month) day += DaysInMonth(year, month);
  day += date.day;
  return kWeekdayNames[(day % 7 + 7) % 7];
}

struct ZoneText {
  char text[24];
};

ZoneText FormatZone(const UtcDate& date) {
  ZoneText zone{"+0000"};
  if ((date.flags & QOB_DATE_ZONE_KNOWN) == 0) return zone;
  const long long offset = date.zoneOffset;
  const long long minutes = offset < 0 ? -offset : offset;
  std::snprintf(zone.text, sizeof zone.text, "%c%02lld%02lld", offset < 0 ? '-' : '+', minutes / 60,
                minutes % 60);
  return zone;
}

}  // namespace

bool FormatRfcDate(UtcDate* date, char (&text)[kDateTextSize]) {
  text[0] = '\0';
  if (date->month < 1 || date->month > 12 || !NormaliseYear(date)) return false;
  char seconds[16] = "";
  if ((date->flags & QOB_DATE_SECONDS_GIVEN) != 0) {
    std::snprintf(seconds, sizeof seconds, ":%02d", date->second);
  }
  char whole[128];  // every record fits, also one with wild numbers
  const int length =
      std::snprintf(whole, sizeof whole, "%s, %d %s %d %02d:%02d%s %s", Weekday(*date), date->day,
                    kMonthNames[date->month - 1].data(), date->year, date->hour, date->minute,
                    seconds, FormatZone(*date).text);
  if (length < 0 || static_cast<std::size_t>(length) >= kDateTextSize) return false;
  std::memcpy(text, whole, static_cast<std::size_t>(length) + 1);
  return true;
}

bool IsLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

std::int32_t DaysInMonth(std::int64_t year, std::int32_t month) {
  constexpr std::int32_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

std::int64_t DaysFromCivil(std::int64_t year, std::int32_t month, std::int32_t day) {
  // Years counted from March, so that the leap day is the last of its year; 400 years are 146,097
  // days.
  const std::int64_t march_year = month > 2 ? year : year - 1;
  const std::int64_t era = (march_year >= 0 ? march_year : march_year - 399) / 400;
  const std::int64_t year_of_era = march_year - era * 400;
  const std::int64_t march_month = (month + 9) % 12;
  const std::int64_t day_of_year = (153 * march_month + 2) / 5;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  constexpr std::int64_t kDaysTo1970 = 719'468;  // from 1 March of year 0
  return era * 146'097 + day_of_era - kDaysTo1970 + day - 1;
}

std::int64_t SecondsOf(const UtcDate& date) {
  const std::int64_t days = DaysFromCivil(date.year, date.month, date.day);
  const std::int64_t minutes = (days * 24 + date.hour) * 60 + date.minute -
                               ((date.flags & QOB_DATE_ZONE_KNOWN) != 0 ? date.zoneOffset : 0);
  return minutes * 60 + date.second;
}

}  // namespace qob
