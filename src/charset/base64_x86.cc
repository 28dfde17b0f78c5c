// Base64 groups 16 or 32 characters at a time, for x86-64 processors that can; chosen when the
// program runs.
//
// A character is looked up by its two halves. Each row of high halves (2: "+/", 3: digits, 4 and 6:
// letters from 1 on, 5 and 7: letters up to A) has a bit of its own; a character is valid when the
// low half's set of refusing rows does not hold the bit of its row. The value is the character plus
// an offset that depends on the row alone, "/" excepted.
#include "charset/base64_decoder.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <bit>
#include <cstdint>

namespace qob {
namespace {

// Index: high half. 16 = never valid.
#define QOB_ROWS 16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16
// Index: low half; which rows refuse it.
#define QOB_REFUSALS                                                                              \
  16 + 1 + 4, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1 + 2, \
      16 + 2 + 8, 16 + 1 + 2 + 8, 16 + 1 + 2 + 8, 16 + 1 + 2 + 8, 16 + 2 + 8
// Index: high half, one less for "/".
#define QOB_OFFSETS 0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0
// The three bytes of each 24-bit group, most significant first.
#define QOB_PICK 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1

// Steps over the line end at a group border. False when something else stands there.
inline bool StepOverLineEnd(const char** from, const char* end) {
  if (end - *from < 2 || (*from)[0] != '\r' || (*from)[1] != '\n') return false;
  *from += 2;
  return true;
}

__attribute__((target("ssse3"))) Base64Run DecodeGroupsSsse3(std::string_view in, char* out) {
  const __m128i rows = _mm_setr_epi8(QOB_ROWS);
  const __m128i refusals = _mm_setr_epi8(QOB_REFUSALS);
  const __m128i offsets = _mm_setr_epi8(QOB_OFFSETS);
  const __m128i pick = _mm_setr_epi8(QOB_PICK);
  const __m128i low_half = _mm_set1_epi8(0x0F);
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= 16) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(text, 4), low_half);
    const __m128i refused = _mm_and_si128(
        _mm_shuffle_epi8(rows, high), _mm_shuffle_epi8(refusals, _mm_and_si128(text, low_half)));
    const unsigned valid =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(refused, _mm_setzero_si128())));
    const __m128i slash = _mm_cmpeq_epi8(text, _mm_set1_epi8('/'));
    const __m128i values = _mm_add_epi8(text, _mm_shuffle_epi8(offsets, _mm_add_epi8(high, slash)));
    const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(groups, pick));
    if (valid == 0xFFFF) {  // a branch, so that the next block need not wait for this one's mask
      from += 16;
      to += 12;
      continue;
    }
    const unsigned good = static_cast<unsigned>(std::countr_one(valid));
    from += good / 4 * 4;
    to += good / 4 * 3;
    if (good % 4 != 0 || !StepOverLineEnd(&from, end)) break;
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

__attribute__((target("avx2"))) Base64Run DecodeGroupsAvx2(std::string_view in, char* out) {
  const __m256i rows = _mm256_setr_epi8(QOB_ROWS, QOB_ROWS);
  const __m256i refusals = _mm256_setr_epi8(QOB_REFUSALS, QOB_REFUSALS);
  const __m256i offsets = _mm256_setr_epi8(QOB_OFFSETS, QOB_OFFSETS);
  const __m256i pick = _mm256_setr_epi8(QOB_PICK, QOB_PICK);
  const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
  const __m256i low_half = _mm256_set1_epi8(0x0F);
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= 32) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), low_half);
    const __m256i refused =
        _mm256_and_si256(_mm256_shuffle_epi8(rows, high),
                         _mm256_shuffle_epi8(refusals, _mm256_and_si256(text, low_half)));
    const std::uint32_t valid = static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(refused, _mm256_setzero_si256())));
    const __m256i slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));
    const __m256i values =
        _mm256_add_epi8(text, _mm256_shuffle_epi8(offsets, _mm256_add_epi8(high, slash)));
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, pick), join);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
    if (valid ==
        0xFFFFFFFF) {  // a branch, so that the next block need not wait for this one's mask
      from += 32;
      to += 24;
      continue;
    }
    const unsigned good = static_cast<unsigned>(std::countr_one(valid));
    from += good / 4 * 4;
    to += good / 4 * 3;
    if (good % 4 != 0 || !StepOverLineEnd(&from, end)) break;
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

}  // namespace

Base64Kernel Base64KernelSsse3() {
  return __builtin_cpu_supports("ssse3") ? &DecodeGroupsSsse3 : nullptr;
}

Base64Kernel Base64KernelAvx2() {
  return __builtin_cpu_supports("avx2") ? &DecodeGroupsAvx2 : nullptr;
}

}  // namespace qob

#else

namespace qob {
Base64Kernel Base64KernelSsse3() { return nullptr; }
Base64Kernel Base64KernelAvx2() { return nullptr; }
}  // namespace qob

#endif
