// Month names, shared by the readers and the writer of dates.
#pragma once
#include <cstdint>
#include <string_view>

namespace qob {

inline constexpr std::string_view kMonthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

inline constexpr std::int32_t kFirstYear = 1980;
inline constexpr std::int32_t kLastYear = 2037;

// The full year for 0..37 and 80..99, the year itself within 1980..2037, else 0.
constexpr std::int32_t FullYear(std::int32_t year) {
  if (year >= 0 && year <= 37) return 2000 + year;
  if (year >= 80 && year <= 99) return 1900 + year;
  return year >= kFirstYear && year <= kLastYear ? year : 0;
}

}  // namespace qob
