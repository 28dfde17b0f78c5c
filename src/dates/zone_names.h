// The names of time zones that dates may carry, with the values this system gives them.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

inline constexpr int kUnknownZone = -99;

struct ZoneName {
  std::string_view name;
  int hhmm;  // signed: -1030 is written for ten and a half hours west
};

inline constexpr std::size_t kZoneCount = 64;
extern const ZoneName kZoneNames[kZoneCount];

// The table's value for that name, or kUnknownZone.
int FindZone(std::string_view name);
// Minutes east of UTC for a table value.
int ZoneMinutes(int hhmm);

}  // namespace qob
