// A group of characters c1..c4, each worth (c - 32) AND 63, holds 24 bits in that order. Where the
// processor can, four groups are decoded at a time: the differences of all sixteen characters, two
// multiply-and-add steps that join them to 24-bit numbers, and one shuffle into byte order.
#include "util/uu_groups.h"

#include <cstdint>
#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace qob {
namespace {

std::uint32_t SixBits(char c) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) - 32U) & 63U;
}

void DecodeGroup(const char* from, char* to) {
  const std::uint32_t bits =
      SixBits(from[0]) << 18 | SixBits(from[1]) << 12 | SixBits(from[2]) << 6 | SixBits(from[3]);
  to[0] = static_cast<char>(bits >> 16);
  to[1] = static_cast<char>(bits >> 8 & 255U);
  to[2] = static_cast<char>(bits & 255U);
}

#if defined(__x86_64__)

[[gnu::target("ssse3")]] void DecodeFour(const char* from, char* to) {
  const __m128i blanks = _mm_set1_epi8(' ');
  const __m128i six_bits = _mm_set1_epi8(63);
  const __m128i pairs = _mm_set1_epi32(0x01400140);   // c1 * 64 + c2
  const __m128i groups = _mm_set1_epi32(0x00011000);  // (c1, c2) * 4096 + (c3, c4)
  const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  __m128i value = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  value = _mm_and_si128(_mm_sub_epi8(value, blanks), six_bits);
  value = _mm_madd_epi16(_mm_maddubs_epi16(value, pairs), groups);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(value, order));
}

// At least four groups. The last step goes back over groups that are decoded already instead of
// past the end.
[[gnu::target("ssse3")]] void DecodeInFours(const char* from, std::size_t groups, char* to) {
  std::size_t done = 0;
  for (; groups - done >= 4; done += 4) DecodeFour(from + 4 * done, to + 3 * done);
  if (done < groups) DecodeFour(from + 4 * (groups - 4), to + 3 * (groups - 4));
}

#endif

}  // namespace

void DecodeUuGroups(const char* from, std::size_t groups, char* to) {
#if defined(__x86_64__)
  if (groups >= 4 && __builtin_cpu_supports("ssse3")) {
    DecodeInFours(from, groups, to);
    return;
  }
#endif
  DecodeUuGroupsPortable(from, groups, to);
}

void DecodeUuGroupsPortable(const char* from, std::size_t groups, char* to) {
  for (std::size_t i = 0; i < groups; ++i) DecodeGroup(from + 4 * i, to + 3 * i);
}

}  // namespace qob
