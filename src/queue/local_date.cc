// Made from the C library's ctime text, "Sun Nov 15 02:24:05 2026", whose columns are fixed.
#include "queue/local_date.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/os/process.h"

namespace qob {
namespace {

constexpr long kHour = 3600;
constexpr long kHalfDay = 12 * kHour;
constexpr std::size_t kCtimeSize = 24;

// Seconds west of UTC. A zone east of the date line in summer is told by its other name, twelve
// hours and more west: zones reach twelve hours to either side.
long SecondsWest(bool daylight) {
  long west = os::TimeZoneDifference();
  if (!daylight) return west;
  west -= kHour;
  return west < -kHalfDay ? west + 2 * kHalfDay : west;
}

}  // namespace

std::string LocalDateText(std::int64_t now) {
  const os::LocalText local = os::LocalTimeText(now);
  const std::string_view text(local.text);
  if (text.size() < kCtimeSize) return {};
  const std::string_view day = text.substr(text[8] == ' ' ? 9 : 8, text[8] == ' ' ? 1 : 2);
  const long west = SecondsWest(local.daylight);
  std::array<char, 40> zone{};
  std::snprintf(zone.data(), zone.size(), " %c%02ld%02ld", west > 0 ? '-' : '+',
                std::labs(west) / kHour, std::labs(west) % kHour / 60);
  std::string date(text.substr(0, 3));
  date.append(", ").append(day);
  date.append(text.substr(3, 5));   // " Nov "
  date.append(text.substr(20, 4));  // "2026"
  date.append(text.substr(10, 9));  // " 02:24:05"
  date.append(zone.data());
  return date;
}

}  // namespace qob
