// Eight bytes at a time are turned into bits by arithmetic on the whole word, the same on every
// processor.
#include "charset/byte_map.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qob {
namespace {

struct Bits {
  std::uint64_t eight_bit;
  std::uint64_t blank;
};

#if defined(__SSE2__)

constexpr std::size_t kStep = 16;

Bits BitsOf(const char* step) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(step));
  const int blanks = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(' ')));
  return {static_cast<unsigned>(_mm_movemask_epi8(bytes)), static_cast<unsigned>(blanks)};
}

#else

constexpr std::size_t kStep = 8;

constexpr std::uint64_t kHighBits = 0x8080808080808080u;
constexpr std::uint64_t kLowSeven = 0x7F7F7F7F7F7F7F7Fu;
constexpr std::uint64_t kBlanks = 0x2020202020202020u;

// The highest bit of each byte, gathered in the lowest eight bits.
std::uint64_t Gather(std::uint64_t high_bits) {
  return (high_bits >> 7) * 0x0102040810204080u >> 56;
}

// The highest bit of each byte that is a blank.
std::uint64_t BlankBits(std::uint64_t eight) {
  const std::uint64_t other = eight ^ kBlanks;
  return ~(((other & kLowSeven) + kLowSeven) | other) & kHighBits;
}

Bits BitsOf(const char* step) {
  std::uint64_t eight;
  std::memcpy(&eight, step, sizeof eight);
  if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
  return {Gather(eight & kHighBits), Gather(BlankBits(eight))};
}

#endif

}  // namespace

ByteMap::ByteMap(std::string_view text) : size_(text.size()), blocks_(short_blocks_) {
  const std::size_t count = (text.size() + kBits - 1) / kBits;
  if (count > kShortBlocks) {
    long_blocks_.resize(count);
    blocks_ = long_blocks_.data();
  }
  for (std::size_t block = 0; block < count; ++block) {
    const std::string_view bytes = text.substr(block * kBits, kBits);
    Block found = {0, 0};
    std::size_t bit = 0;
    for (; bytes.size() - bit >= kStep; bit += kStep) {
      const Bits bits = BitsOf(bytes.data() + bit);
      found.eight_bit |= bits.eight_bit << bit;
      found.blank |= bits.blank << bit;
    }
    if (bit < bytes.size()) {
      char last[kStep] = {};
      bytes.copy(last, kStep, bit);
      const Bits bits = BitsOf(last);
      found.eight_bit |= bits.eight_bit << bit;
      found.blank |= bits.blank << bit;
    }
    blocks_[block] = found;
  }
}

std::size_t ByteMap::WordStart(std::size_t floor, std::size_t before) const {
  std::size_t block = before / kBits;
  std::uint64_t rest = before % kBits == 0 ? 0 : blocks_[block].blank << (kBits - before % kBits);
  std::size_t end =
      before;  // `rest` holds the bytes right below it, the nearest in the highest bit
  while (rest == 0) {
    end = block * kBits;
    if (end <= floor) return floor;
    rest = blocks_[--block].blank;
  }
  return std::max(floor, end - static_cast<std::size_t>(std::countl_zero(rest)));
}

}  // namespace qob
