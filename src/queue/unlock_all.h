// Sweeps the locks of a queue directory, whoever holds them: for the moment before any program of
// the system runs.
#pragma once
#include <cstdint>
#include <string_view>

namespace qob {

// The number of lock files removed. Throws std::bad_alloc.
std::int32_t UnlockAll(std::string_view directory);

}  // namespace qob
