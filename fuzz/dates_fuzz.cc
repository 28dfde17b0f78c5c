// Both readers of dates; what they give is in range, can be written, and is read back as it was.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dates/date.h"
#include "support/exact_copy.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

void CheckDate(UtcDate date) {
  Check(date.year >= 1980 && date.year <= 2037 && date.month >= 1 && date.month <= 12);
  Check(date.day >= 1 && date.day <= qob::DaysInMonth(date.year, date.month));
  Check(date.hour >= 0 && date.hour <= 23 && date.minute >= 0 && date.minute <= 59);
  Check(date.second >= 0 && date.second <= 59 && date.reserved == 0);
  char text[qob::kDateTextSize];
  if (!qob::FormatRfcDate(&date, text)) return;
  const bool usual_zone = date.zoneOffset > -100 * 60 && date.zoneOffset < 100 * 60;
  UtcDate again{};
  Check(qob::ParseRfcDate(text, &again));
  if (usual_zone)
    Check(qob::SecondsOf(again) ==
          qob::SecondsOf(date) - ((date.flags & QOB_DATE_SECONDS_GIVEN) != 0 ? 0 : date.second));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const qob::testing::ExactCopy text({reinterpret_cast<const char*>(data), size});
  UtcDate date{};
  if (qob::ParseRfcDate(text.view(), &date)) CheckDate(date);
  if (qob::ParseCtimeDate(text.view(), 60, &date)) CheckDate(date);
  // Any nine numbers may be handed to the writer.
  if (size >= sizeof date) {
    std::memcpy(&date, data, sizeof date);
    char written[qob::kDateTextSize];
    Check(qob::FormatRfcDate(&date, written) == (written[0] != '\0'));
    Check(std::memchr(written, 0, sizeof written) != nullptr);
  }
  return 0;
}
