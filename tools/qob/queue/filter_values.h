// The values of a filter: numbers with units, durations, moments. Each gives nothing for a text
// that is none or does not fit 64 bits.
#ifndef TOOLS_QOB_QUEUE_FILTER_VALUES_H
#define TOOLS_QOB_QUEUE_FILTER_VALUES_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace cli::queue {

// "12"
std::optional<std::int64_t> ReadCount(std::string_view text);
// "4096", "10k", "2M", "1G": units of 1024, of either case
std::optional<std::int64_t> ReadSize(std::string_view text);
// "90", "90s", "5m", "1h30m", "2d", "1w": seconds without a unit
std::optional<std::int64_t> ReadDuration(std::string_view text);
// "now", "now-2h", "now+30m"; "2026-11-21", "2026-11-21T10:30", "2026-11-21T10:30:00Z",
// "2026-11-21T10:30:00+01:00" (without a zone: the local one); "@1795257000" (seconds since 1970)
std::optional<std::int64_t> ReadMoment(std::string_view text, std::int64_t now);

}  // namespace cli::queue

#endif
