// Which messages a scan with a filter hands out.
#pragma once
#include <cstdint>
#include <string_view>

#include <qob3xapi/queueid.h>

namespace qob {

// Both bounds belong to the range; a maximum below 1 is none.
inline bool SizeFits(const QueueScanFilter& filter, std::int64_t bytes) {
  return bytes >= filter.minimumSize && (filter.maximumSize < 1 || bytes <= filter.maximumSize);
}

inline bool StateFits(const QueueScanFilter& filter, std::string_view state_text) {
  return filter.takeAll != 0 || state_text.empty();
}

}  // namespace qob
