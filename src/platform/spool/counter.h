// Counter files of a spool: four bytes, little-endian, the last number handed out. Exclusive
// opening makes each number unique among all processes that use the directory.
#pragma once
#include <cstdint>
#include <string_view>

namespace qob::spool {

// Next number of "unique.$$$" in `directory` (0 .. 0x7FFFFFFE; the first is 0), or -1. Waits as
// long as others hold it.
std::int32_t NextUnique(std::string_view directory);
// Next number of "tmpcnt.$$$" in `directory` (0 .. 99999998; the first is 1), or -1. Waits 1.0 s at
// most. A counter that cannot be read is deleted.
std::int64_t NextTemporary(std::string_view directory);

}  // namespace qob::spool
