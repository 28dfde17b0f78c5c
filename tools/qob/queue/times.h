// Moments and durations as the queue's commands show them.
#ifndef TOOLS_QOB_QUEUE_TIMES_H
#define TOOLS_QOB_QUEUE_TIMES_H

#include <cstdint>
#include <string>
#include <string_view>

namespace cli::queue {

// "2026-11-21T22:15:00Z" of seconds since 1970, from 0 on, up to the year 9999.
class UtcText {
 public:
  explicit UtcText(std::int64_t seconds);
  std::string_view view() const { return {text_, sizeof text_}; }

 private:
  char text_[20];
};
void AppendUtc(std::int64_t seconds, std::string* out);
// "2026-11-21 23:15:00 +0100" in the local zone.
std::string LocalText(std::int64_t seconds);

// The two largest units: "45s", "12m", "2h13m", "3d4h"; "-" for less than nothing.
std::string DurationText(std::int64_t seconds);
// "due", or "in 2h13m"; "-" for a moment that is not set.
std::string NextText(std::int64_t retry_at, std::int64_t now);
// "812", "4.2K", "17M"
std::string SizeText(std::int64_t bytes);

}  // namespace cli::queue

#endif
