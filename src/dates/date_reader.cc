// Reads the two texts of a date: the header form (RFC 822, 5.1) and the C library's ctime form.
//
// Both are made of the same pieces in another order. A piece that must be there and is not fails
// the whole date; what stands between pieces is white space, after the weekday also punctuation.
#include "dates/date.h"

#include <algorithm>

#include "dates/calendar.h"
#include "dates/zone_names.h"
#include "platform/os/ascii.h"
#include "platform/os/process.h"

namespace qob {
namespace {

// Long runs of digits stay at a value that no field accepts.
constexpr std::int32_t kNumberLimit = 99'999'999;

class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text.substr(0, text.find('\0'))) {}

  unsigned char Look() const { return rest_.empty() ? 0 : static_cast<unsigned char>(rest_[0]); }
  void Skip() { rest_.remove_prefix(1); }
  void SkipSpace() {
    while (ascii::IsSpace(Look())) Skip();
  }
  void SkipSpaceAndPunctuation() {
    while (ascii::IsSpace(Look()) || IsPunctuation(Look())) Skip();
  }
  std::string_view Letters() {
    std::size_t length = 0;
    while (length < rest_.size() && ascii::IsAlpha(static_cast<unsigned char>(rest_[length])))
      ++length;
    const std::string_view run = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return run;
  }
  // False when no digit stands here.
  bool Number(std::int32_t* value) {
    if (!ascii::IsDigit(Look())) return false;
    std::int32_t number = 0;
    for (; ascii::IsDigit(Look()); Skip()) {
      number = std::min(number * 10 + (Look() - '0'), kNumberLimit);
    }
    *value = number;
    return true;
  }
  // ":" and a number directly behind it; a ":" alone stays.
  bool ColonNumber(std::int32_t* value) {
    if (rest_.size() < 2 || rest_[0] != ':' ||
        !ascii::IsDigit(static_cast<unsigned char>(rest_[1]))) {
      return false;
    }
    Skip();
    return Number(value);
  }
  bool Take(std::size_t count, std::string_view* bytes) {
    if (rest_.size() < count) return false;
    *bytes = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return true;
  }

 private:
  static bool IsPunctuation(unsigned char c) {
    return c > ' ' && c < 127 && !ascii::IsAlpha(c) && !ascii::IsDigit(c);
  }

  std::string_view rest_;
};

void ReadWeekday(Cursor* cursor) {
  cursor->SkipSpace();
  if (!cursor->Letters().empty()) cursor->SkipSpaceAndPunctuation();
}

bool ReadDay(Cursor* cursor, UtcDate* date) {
  cursor->SkipSpace();
  return cursor->Number(&date->day);
}

// "Nov" and "November", not "NOV".
bool ReadMonth(Cursor* cursor, UtcDate* date) {
  cursor->SkipSpace();
  const std::string_view name = cursor->Letters().substr(0, 3);
  for (std::int32_t month = 1; month <= 12; ++month) {
    if (name == kMonthNames[month - 1]) {
      date->month = month;
      return true;
    }
  }
  return false;
}

bool ReadYear(Cursor* cursor, UtcDate* date) {
  cursor->SkipSpace();
  std::int32_t year = 0;
  if (!cursor->Number(&year)) return false;
  date->year = FullYear(year);
  return date->year != 0;
}

bool DayFitsMonth(const UtcDate& date) {
  return date.day >= 1 && date.day <= DaysInMonth(date.year, date.month);
}

// Missing parts stay 0.
bool ReadTime(Cursor* cursor, UtcDate* date) {
  cursor->SkipSpace();
  if (cursor->Number(&date->hour)) {
    cursor->SkipSpace();
    if (cursor->ColonNumber(&date->minute)) {
      cursor->SkipSpace();
      if (cursor->ColonNumber(&date->second)) date->flags |= QOB_DATE_SECONDS_GIVEN;
    }
    cursor->SkipSpace();
  }
  return date->hour <= 23 && date->minute <= 59 && date->second <= 59;
}

// Four bytes taken as hhmm; what is not a digit counts by its distance from '0'.
void ReadNumericZone(Cursor* cursor, UtcDate* date) {
  const bool west = cursor->Look() == '-';
  cursor->Skip();
  std::string_view digits;
  if (!cursor->Take(4, &digits)) return;
  const auto value = [&](std::size_t at) { return static_cast<unsigned char>(digits[at]) - '0'; };
  const int minutes = (value(0) * 10 + value(1)) * 60 + value(2) * 10 + value(3);
  date->zoneOffset = west ? -minutes : minutes;
  date->flags |= QOB_DATE_ZONE_KNOWN;
}

void ReadZone(Cursor* cursor, UtcDate* date) {
  cursor->SkipSpace();
  if (cursor->Look() == '+' || cursor->Look() == '-') return ReadNumericZone(cursor, date);
  const int value = FindZone(cursor->Letters());
  if (value == kUnknownZone) return;
  date->zoneOffset = ZoneMinutes(value);
  date->flags |= QOB_DATE_ZONE_KNOWN;
}

}  // namespace

bool ParseRfcDate(std::string_view text, UtcDate* date) {
  Cursor cursor(text);
  UtcDate read{};
  ReadWeekday(&cursor);
  if (!ReadDay(&cursor, &read) || !ReadMonth(&cursor, &read) || !ReadYear(&cursor, &read) ||
      !DayFitsMonth(read) || !ReadTime(&cursor, &read)) {
    return false;
  }
  ReadZone(&cursor, &read);
  *date = read;
  return true;
}

bool ParseCtimeDate(std::string_view text, std::int32_t local_offset, UtcDate* date) {
  Cursor cursor(text);
  UtcDate read{};
  ReadWeekday(&cursor);
  if (!ReadMonth(&cursor, &read) || !ReadDay(&cursor, &read) || !ReadTime(&cursor, &read))
    return false;
  if (ascii::IsAlpha(cursor.Look())) ReadZone(&cursor, &read);
  if (!ReadYear(&cursor, &read) || !DayFitsMonth(read)) return false;
  if (read.zoneOffset == 0) {
    read.zoneOffset = local_offset;
    read.flags |= QOB_DATE_ZONE_KNOWN;
  }
  *date = read;
  return true;
}

std::int32_t LocalOffset() {
  os::RefreshTimeZone();
  return static_cast<std::int32_t>(-os::TimeZoneDifference() / 60);
}

bool ParseCtimeDate(std::string_view text, UtcDate* date) {
  return ParseCtimeDate(text, LocalOffset(), date);
}

bool CurrentDate(UtcDate* date) {
  const os::LocalText now = os::LocalTimeText(os::Now());
  if (!ParseCtimeDate(now.text, date)) return false;
  if (now.daylight) date->zoneOffset += 60;
  return true;
}

}  // namespace qob
