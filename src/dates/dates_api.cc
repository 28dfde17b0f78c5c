// The exported date calls.
#include <qob3xapi/dates.h>

#include <cstring>

#include "dates/date.h"
#include "frame/guard.h"
#include "frame/heap.h"

namespace {

// A heap copy of what `parse` reads, or null.
template <class Parse>
int32_t NewDate(const char* text, UtcDate** date, Parse&& parse) {
  if (date == nullptr) return 0;
  *date = nullptr;
  UtcDate read{};
  if (text == nullptr || !parse(text, &read)) return 0;
  qob::HeapPtr<UtcDate> record(qob::HeapRecord<UtcDate>());
  if (record == nullptr) return 0;
  *record = read;
  *date = record.release();
  return 1;
}

}  // namespace

extern "C" QOBAPI int32_t UTC2rfc(UtcDate* date, char* text) {
  return qob::Guarded(0, [&] {
    if (text == nullptr) return 0;
    text[0] = '\0';
    char written[qob::kDateTextSize];
    if (date == nullptr || !qob::FormatRfcDate(date, written)) return 0;
    std::strcpy(text, written);
    return 1;
  });
}

extern "C" QOBAPI int32_t rfc2UTC(const char* text, UtcDate** date) {
  return qob::Guarded(0, [&] {
    return NewDate(text, date,
                   [](const char* from, UtcDate* to) { return qob::ParseRfcDate(from, to); });
  });
}

extern "C" QOBAPI int32_t ctime2UTC(const char* text, UtcDate** date) {
  return qob::Guarded(0, [&] {
    return NewDate(text, date,
                   [](const char* from, UtcDate* to) { return qob::ParseCtimeDate(from, to); });
  });
}
