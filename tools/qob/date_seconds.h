// A date of the library as seconds since 1970, UTC.
#ifndef TOOLS_QOB_DATE_SECONDS_H
#define TOOLS_QOB_DATE_SECONDS_H

#include <cstdint>

#include <qob3xapi/dates.h>

namespace cli {

// Days from 1970-01-01, by the calendar that is used today; months begin with March here.
inline std::int64_t DaysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

inline std::int64_t SecondsOf(const UtcDate& date) {
  const std::int64_t days = DaysFromCivil(date.year, date.month, date.day);
  return days * 86400 + date.hour * 3600 + date.minute * 60 + date.second -
         std::int64_t{date.zoneOffset} * 60;
}

}  // namespace cli

#endif
