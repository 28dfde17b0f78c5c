// Has anybody changed the file? Seen without a lock and without a system call: every commit, of
// whatever process, ends by writing the header of the log's index, which lies in memory that all
// share. It is noted before something is read; while it is still the same, what was read is what
// the file says. Only for reads outside of transactions: one that stands may be older than the
// header.
//
// header: offset size
//   0  48  format, counter of changes, pages of log and file, checksums of the log and of the
//   header
//  48  48  the same again, written first
#pragma once
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qob::store {

inline constexpr std::size_t kLogHeaderWords = 24;
using LogHeader = std::array<std::uint32_t, kLogHeaderWords>;

// `at`: where the log's index begins.
inline LogHeader ReadLogHeader(std::uint32_t* at) {
  LogHeader header;
  for (std::size_t i = 0; i < kLogHeaderWords; ++i) {
    header[i] = std::atomic_ref<std::uint32_t>(at[i]).load(std::memory_order_acquire);
  }
  return header;
}

}  // namespace qob::store
