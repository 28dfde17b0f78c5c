// Marks the line feeds of a stretch, 64 bytes at a time.
#include "lineio/line_index.h"

#include <algorithm>
#include <bit>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qob {
namespace {

// Bit i tells that byte i of the 64 is a line feed.
#if defined(__SSE2__)
std::uint64_t LineFeeds(const std::uint8_t* from) {
  const __m128i line_feed = _mm_set1_epi8('\n');
  std::uint64_t found = 0;
  for (int i = 0; i < 64; i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
    const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, line_feed));
    found |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(mask)) << i;
  }
  return found;
}
#else
std::uint64_t LineFeeds(const std::uint8_t* from) {
  std::uint64_t found = 0;
  for (int i = 0; i < 64; ++i) found |= static_cast<std::uint64_t>(from[i] == '\n') << i;
  return found;
}
#endif

// Stores how far behind the base each marked line feed ends; *end grows by their number. Two are
// stored without asking whether there are so many: what is stored too much is overwritten by the
// next.
std::uint16_t* StoreEnds(std::uint64_t line_feeds, std::size_t offset, std::uint16_t* end) {
  constexpr std::uint64_t kNeverZero = std::uint64_t{1} << 63;
  const auto store = [&] {
    *end = static_cast<std::uint16_t>(
        offset + static_cast<std::size_t>(std::countr_zero(line_feeds | kNeverZero)) + 1);
    end += line_feeds != 0 ? 1 : 0;
    line_feeds &= line_feeds - 1;
  };
  store();
  store();
  while (line_feeds != 0) [[unlikely]] store();
  return end;
}

}  // namespace

void LineIndex::MoveTo(const std::uint8_t* cursor, std::size_t left) {
  if (count_ > 0 && cursor >= base_ && cursor < base_ + ends_[count_ - 1]) {
    const std::ptrdiff_t offset = cursor - base_;
    at_ = cursor;
    next_ = static_cast<std::uint32_t>(std::upper_bound(ends_, ends_ + count_, offset) - ends_);
  } else {
    Build(cursor, left);
  }
}

void LineIndex::Build(const std::uint8_t* cursor, std::size_t left) {
  base_ = at_ = cursor;
  std::uint16_t* end = ends_;
  const std::size_t span = std::min(left, kStretch);
  for (std::size_t offset = 0; span - offset >= kStep; offset += kStep) {
    end = StoreEnds(LineFeeds(cursor + offset), offset, end);
  }
  next_ = 0;
  count_ = static_cast<std::uint32_t>(end - ends_);
}

}  // namespace qob
