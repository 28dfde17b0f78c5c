#include "rfc822/date_field.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "dates/date.h"
#include "frame/heap.h"

namespace qob {
namespace {

constexpr std::size_t kTextSize = 64;
static_assert(kTextSize >= kDateTextSize);

std::int32_t Seconds32(std::int64_t seconds) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, Limits::min(), Limits::max()));
}

}  // namespace

HeaderDate* NewHeaderDate(std::string_view value) {
  HeapPtr<HeaderDate> record(HeapRecord<HeaderDate>());
  HeapText text(static_cast<char*>(std::calloc(1, kTextSize)));
  if (record == nullptr || text == nullptr) return nullptr;
  record->text = text.release();
  UtcDate date{};
  if (ParseRfcDate(value, &date) || CurrentDate(&date)) {
    char written[kDateTextSize];
    FormatRfcDate(&date, written);
    std::memcpy(record->text, written, std::strlen(written));
    record->utc = Seconds32(SecondsOf(date));
  }
  return record.release();
}

}  // namespace qob
