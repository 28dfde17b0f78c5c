/* The date calls as a C program uses them. */
#include <qob3xapi/dates.h>

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

int DateRoundTrip(const char* text, char* written) {
  UtcDate* date = NULL;
  int result;
  if (rfc2UTC(text, &date) != 1) return -1;
  result = UTC2rfc(date, written);
  free(date);
  return result;
}

int DateFromCtime(const char* text, int32_t* year, int32_t* flags) {
  UtcDate* date = NULL;
  if (ctime2UTC(text, &date) != 1) return date == NULL ? 0 : -1;
  *year = date->year;
  *flags = date->flags;
  free(date);
  return 1;
}

/* Nine 32-bit words in the documented order. */
int DateRecordIsNineWords(void) {
  return sizeof(UtcDate) == 36 && offsetof(UtcDate, year) == 0 && offsetof(UtcDate, month) == 4 &&
         offsetof(UtcDate, day) == 8 && offsetof(UtcDate, hour) == 12 &&
         offsetof(UtcDate, minute) == 16 && offsetof(UtcDate, second) == 20 &&
         offsetof(UtcDate, reserved) == 24 && offsetof(UtcDate, zoneOffset) == 28 &&
         offsetof(UtcDate, flags) == 32 && QOB_DATE_ZONE_KNOWN == 1 && QOB_DATE_SECONDS_GIVEN == 2;
}
