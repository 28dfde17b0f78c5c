// Dates of mail: the text of a header field or of the C library's ctime to the broken-down record,
// and back.
//
// The readers take any bytes, fail quietly and leave the record alone when they fail. They are
// built for the dates that mail really carries, not as a validator: the weekday is skipped unread,
// text behind the zone is ignored.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qob3xapi/dates.h>

namespace qob {

// "Sun, 15 Nov 2026 02:24:05 -0800". False when the text is no date; *date is then unchanged.
bool ParseRfcDate(std::string_view text, UtcDate* date);

// "Sun Nov 15 02:24:05 2026", with an optional zone name before the year. A date whose zone offset
// is 0 afterwards, also one that names "GMT", gets `local_offset` (minutes east of UTC) and counts
// as known. False as above.
bool ParseCtimeDate(std::string_view text, std::int32_t local_offset, UtcDate* date);
// The same with the process's own offset.
bool ParseCtimeDate(std::string_view text, UtcDate* date);

// Minutes east of UTC in standard time, from TZ as it stands now.
std::int32_t LocalOffset();

// Room for every text that FormatRfcDate writes, NUL included.
inline constexpr std::size_t kDateTextSize = 40;

// Writes the header form and a NUL. False and "" when month or year are out of range or the text
// would not fit. A year of two digits is brought to four in *date; that and a refused year are
// logged.
bool FormatRfcDate(UtcDate* date, char (&text)[kDateTextSize]);

// Now, in local time with its offset, daylight saving counted: text and seconds name the present
// moment.
bool CurrentDate(UtcDate* date);

// Days from 1 Jan 1970 to that day of the proleptic Gregorian calendar; month 1..12, any day
// number.
std::int64_t DaysFromCivil(std::int64_t year, std::int32_t month, std::int32_t day);
// Seconds since 1970, UTC; an unknown zone counts as UTC. Month 1..12.
std::int64_t SecondsOf(const UtcDate& date);

bool IsLeapYear(std::int64_t year);
// Days of that month; month 1..12.
std::int32_t DaysInMonth(std::int64_t year, std::int32_t month);

}  // namespace qob
