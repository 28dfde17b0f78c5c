/* Dates of mail: header text, the C library's ctime text, and the broken-down record between them.
 *
 * Texts are NUL-terminated bytes. The readers allocate the record they give with malloc; the caller releases it with free.
 * They fail quietly; only UTC2rfc logs, at level 6 under "ParseDate", and only about years. No call keeps state; each may run
 * on any thread. */
#ifndef QOB3XAPI_DATES_H
#define QOB3XAPI_DATES_H
#include <qob3xapi/frame.h>

#define QOB_DATE_ZONE_KNOWN    1
#define QOB_DATE_SECONDS_GIVEN 2

typedef struct UtcDate {
    int32_t year;
    int32_t month;       /* 1..12 */
    int32_t day;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t reserved;    /* 0 */
    int32_t zoneOffset;  /* minutes east of UTC */
    int32_t flags;       /* bit 0 zone known, bit 1 seconds given */
} UtcDate;

QOB_C_BEGIN

/* UTC2rfc - writes a date record as header text, "Sun, 15 Nov 2026 02:24:05 -0800".
 * Shape   the day is not padded; seconds stand there only with flag QOB_DATE_SECONDS_GIVEN; without QOB_DATE_ZONE_KNOWN the
 *         zone is "+0000". A year of 0..37 or 80..99 is brought to four digits in the record too, which is logged; any other
 *         year outside 1980..2037 is logged and refused. Other fields are written as they are, the weekday computed.
 * Units   text: 40 bytes, NUL included, always suffice.
 * Owner   both are the caller's; the record may stand on the stack.
 * Result  1 text written; 0 and an empty text for a null record, a month or year out of range, or a record whose text would
 *         not fit; 0 for a null text.
 * Thread  any.
 * Source  RFC 822 section 5.1 with the years of RFC 1123 section 5.2.14. */
QOBAPI int32_t UTC2rfc(UtcDate* date, char* text);
/* rfc2UTC - reads the date of a header field.
 * Shape   weekday (skipped unread, may be missing), day, month, year, then hours, minutes and seconds as far as they stand
 *         there, then the zone: "+hhmm", "-hhmm" or one of the system's 64 names in capitals. What follows is ignored. Months
 *         are known by their first three letters in exactly that case: "Nov", "November", not "NOV". Two-digit years 00..37
 *         and 80..99 become four digits. A zone that is not known leaves offset 0 and its flag clear.
 * Units   zoneOffset: minutes east of UTC.
 * Owner   *date is the caller's, released with free.
 * Result  1; 0 and *date null for a null text or one that is no date, a day that the month does not have, a year outside
 *         1980..2037, an hour above 23, a minute or second above 59, or when memory is exhausted.
 * Thread  any.
 * Source  RFC 822 section 5.1; zone names and their values are the system's own. */
QOBAPI int32_t rfc2UTC(const char* text, UtcDate** date);
/* ctime2UTC - reads the text of the C library's ctime, "Sun Nov 15 02:24:05 2026".
 * Shape   weekday (skipped unread, must be there), month, day, time, optionally a zone name of letters, year; what follows is
 *         ignored. Rules for months, years, days and times as for rfc2UTC. A zone offset of 0, also that of "GMT", is replaced
 *         by the process's own offset in standard time, and the zone then counts as known.
 * Units   zoneOffset: minutes east of UTC.
 * Owner   *date is the caller's, released with free.
 * Result  1; 0 and *date null as for rfc2UTC, and for a text without year.
 * Thread  any; the offset comes from the environment's TZ.
 * Source  the ctime form of ISO C; the zone name in it is the system's own. */
QOBAPI int32_t ctime2UTC(const char* text, UtcDate** date);

QOB_C_END
#endif
