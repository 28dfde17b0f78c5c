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

/* 1 text written, 0 and empty text otherwise. text = caller's buffer, 40 characters suffice; date->year may be normalised. */
QOBAPI int32_t UTC2rfc(UtcDate* date, char* text);
/* 1 and a new record in *date (free()), or 0 and null. */
QOBAPI int32_t rfc2UTC(const char* text, UtcDate** date);
/* 1 and a new record in *date (free()), or 0 and null. */
QOBAPI int32_t ctime2UTC(const char* text, UtcDate** date);

QOB_C_END
#endif
