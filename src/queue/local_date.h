// The date text of the lines that submission writes: the moment in local time with its zone.
#pragma once
#include <cstdint>
#include <string>

namespace qob {

// "Sun, 15 Nov 2026 02:24:05 -0800". `now` in seconds since 1970. Empty for a year beyond 9999.
std::string LocalDateText(std::int64_t now);

}  // namespace qob
