#include "filter_values.h"

#include <charconv>
#include <chrono>
#include <ctime>

namespace cli::queue {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// Digits from the front of the text, which loses them.
std::optional<std::int64_t> TakeDigits(std::string_view* text) {
  std::int64_t number = 0;
  const char* const end = text->data() + text->size();
  if (text->empty() || text->front() == '-') return std::nullopt;
  const auto [stop, error] = std::from_chars(text->data(), end, number);
  if (error != std::errc()) return std::nullopt;
  text->remove_prefix(static_cast<std::size_t>(stop - text->data()));
  return number;
}

std::optional<std::int64_t> Times(std::int64_t number, std::int64_t factor) {
  std::int64_t product = 0;
  if (__builtin_mul_overflow(number, factor, &product)) return std::nullopt;
  return product;
}

std::optional<std::int64_t> Plus(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) return std::nullopt;
  return sum;
}

std::int64_t SecondsOfUnit(char unit) {
  switch (Lower(unit)) {
    case 's':
      return 1;
    case 'm':
      return kMinute;
    case 'h':
      return kHour;
    case 'd':
      return kDay;
    case 'w':
      return 7 * kDay;
    default:
      return 0;
  }
}

// So many digits with a value in that range, from the front.
std::optional<int> TakeField(std::string_view* text, std::size_t digits, int least, int most) {
  if (text->size() < digits) return std::nullopt;
  int value = 0;
  for (const char c : text->substr(0, digits)) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  text->remove_prefix(digits);
  return value < least || value > most ? std::nullopt : std::optional(value);
}

bool TakeSign(std::string_view* text, std::string_view signs) {
  if (text->empty() || signs.find(Lower(text->front())) == signs.npos) return false;
  text->remove_prefix(1);
  return true;
}

// "T10:30", "T10:30:15"; nothing at all is midnight.
bool TakeTimeOfDay(std::string_view* text, std::tm* moment) {
  if (!TakeSign(text, "t ")) return true;
  const auto hour = TakeField(text, 2, 0, 23);
  if (!hour.has_value() || !TakeSign(text, ":")) return false;
  const auto minute = TakeField(text, 2, 0, 59);
  if (!minute.has_value()) return false;
  std::optional<int> second = 0;
  if (TakeSign(text, ":")) second = TakeField(text, 2, 0, 60);
  if (!second.has_value()) return false;
  moment->tm_hour = *hour;
  moment->tm_min = *minute;
  moment->tm_sec = *second;
  return true;
}

bool TakeDate(std::string_view* text, std::tm* moment) {
  const auto year = TakeField(text, 4, 1970, 9999);
  if (!year.has_value() || !TakeSign(text, "-")) return false;
  const auto month = TakeField(text, 2, 1, 12);
  if (!month.has_value() || !TakeSign(text, "-")) return false;
  const auto day = TakeField(text, 2, 1, 31);
  if (!day.has_value()) return false;
  moment->tm_year = *year - 1900;
  moment->tm_mon = *month - 1;
  moment->tm_mday = *day;
  return std::chrono::year_month_day(std::chrono::year(*year),
                                     std::chrono::month(static_cast<unsigned>(*month)),
                                     std::chrono::day(static_cast<unsigned>(*day)))
      .ok();
}

std::int64_t UtcSeconds(const std::tm& moment) {
  const std::chrono::sys_days days = std::chrono::year(moment.tm_year + 1900) /
                                     std::chrono::month(static_cast<unsigned>(moment.tm_mon + 1)) /
                                     std::chrono::day(static_cast<unsigned>(moment.tm_mday));
  return days.time_since_epoch().count() * kDay + moment.tm_hour * kHour + moment.tm_min * kMinute +
         moment.tm_sec;
}

// "Z" or "+01:00" and nothing behind it: seconds east.
std::optional<std::int64_t> ReadZone(std::string_view text) {
  if (TakeSign(&text, "z")) return text.empty() ? std::optional<std::int64_t>(0) : std::nullopt;
  const bool west = text.starts_with('-');
  if (!TakeSign(&text, "+-")) return std::nullopt;
  const auto hours = TakeField(&text, 2, 0, 23);
  if (!hours.has_value() || !TakeSign(&text, ":")) return std::nullopt;
  const auto minutes = TakeField(&text, 2, 0, 59);
  if (!minutes.has_value() || !text.empty()) return std::nullopt;
  const std::int64_t east = *hours * kHour + *minutes * kMinute;
  return west ? -east : east;
}

std::optional<std::int64_t> ReadDate(std::string_view text) {
  std::tm moment{};
  if (!TakeDate(&text, &moment) || !TakeTimeOfDay(&text, &moment)) return std::nullopt;
  if (text.empty()) {
    moment.tm_isdst = -1;
    return std::mktime(&moment);
  }
  const auto east = ReadZone(text);
  if (!east.has_value()) return std::nullopt;
  return UtcSeconds(moment) - *east;
}

}  // namespace

std::optional<std::int64_t> ReadCount(std::string_view text) {
  const auto number = TakeDigits(&text);
  return text.empty() ? number : std::nullopt;
}

std::optional<std::int64_t> ReadSize(std::string_view text) {
  const auto number = TakeDigits(&text);
  if (!number.has_value() || text.empty()) return number;
  if (text.size() != 1) return std::nullopt;
  constexpr std::string_view kUnits = "kmgt";
  const std::size_t unit = kUnits.find(Lower(text.front()));
  if (unit == kUnits.npos) return std::nullopt;
  return Times(*number, std::int64_t{1} << (10 * (unit + 1)));
}

std::optional<std::int64_t> ReadDuration(std::string_view text) {
  std::optional<std::int64_t> total = 0;
  bool first = true;
  while (first || !text.empty()) {
    const auto number = TakeDigits(&text);
    if (!number.has_value()) return std::nullopt;
    if (text.empty()) return first ? number : std::nullopt;
    const std::int64_t unit = SecondsOfUnit(text.front());
    if (unit == 0) return std::nullopt;
    text.remove_prefix(1);
    const auto seconds = Times(*number, unit);
    if (!seconds.has_value()) return std::nullopt;
    total = Plus(*total, *seconds);
    if (!total.has_value()) return std::nullopt;
    first = false;
  }
  return total;
}

std::optional<std::int64_t> ReadMoment(std::string_view text, std::int64_t now) {
  if (text.starts_with('@')) return ReadCount(text.substr(1));
  if (text.size() < 3 || Lower(text[0]) != 'n' || Lower(text[1]) != 'o' || Lower(text[2]) != 'w')
    return ReadDate(text);
  text.remove_prefix(3);
  if (text.empty()) return now;
  const bool before = text.starts_with('-');
  if (!TakeSign(&text, "+-")) return std::nullopt;
  const auto distance = ReadDuration(text);
  if (!distance.has_value()) return std::nullopt;
  return Plus(now, before ? -*distance : *distance);
}

}  // namespace cli::queue
