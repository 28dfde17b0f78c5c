// Lines of base64 16 or 32 characters at a time, for x86-64 processors that can; chosen when the
// program runs.
//
// Each 32-bit place gets the three bytes of a group as (2nd, 1st, 3rd, 2nd), so that two
// multiplications move its four sixths into four bytes. A value then becomes a character by an
// offset that depends on its range alone: 0 to 25, 26 to 51, each digit, "+", "/". The last step of
// a line goes back over groups that are encoded already instead of past its end.
#include "charset/base64_lines.h"

#if defined(__x86_64__)
#include <immintrin.h>

namespace qob {
namespace {

// The offsets by range: 26 to 51, ten digits, "+", "/", 0 to 25.
#define QOB_RANGE_OFFSETS                                                                   \
  'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, \
      '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0
// Twelve bytes as four groups, the first byte at place FIRST.
#define QOB_SPREAD(first)                                                                        \
  first + 1, first, first + 2, first + 1, first + 4, first + 3, first + 5, first + 4, first + 7, \
      first + 6, first + 8, first + 7, first + 10, first + 9, first + 11, first + 10

__attribute__((target("ssse3"))) inline __m128i Encoded(__m128i spread) {
  const __m128i high = _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(0x0FC0FC00)),
                                       _mm_set1_epi32(0x04000040));
  const __m128i low = _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(0x003F03F0)),
                                      _mm_set1_epi32(0x01000010));
  const __m128i values = _mm_or_si128(high, low);
  const __m128i upper = _mm_cmpgt_epi8(_mm_set1_epi8(26), values);
  const __m128i range = _mm_or_si128(_mm_subs_epu8(values, _mm_set1_epi8(51)),
                                     _mm_and_si128(upper, _mm_set1_epi8(13)));
  return _mm_add_epi8(values, _mm_shuffle_epi8(_mm_setr_epi8(QOB_RANGE_OFFSETS), range));
}

// Sixteen bytes, twelve of them spread over four places.
__attribute__((target("ssse3"))) inline __m128i Load(const unsigned char* from, __m128i spread) {
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), spread);
}

__attribute__((target("ssse3"))) void EncodeLinesSsse3(const unsigned char* from, std::size_t lines,
                                                       char* to) {
  const __m128i first = _mm_setr_epi8(QOB_SPREAD(0));
  const __m128i last = _mm_setr_epi8(QOB_SPREAD(4));
  const auto store = [](char* at, __m128i chars) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at), chars);
  };
  for (; lines > 0; --lines, from += kBase64LineBytes, to += kBase64LineSize) {
    for (std::size_t i = 0; i < 4; ++i) store(to + 16 * i, Encoded(Load(from + 12 * i, first)));
    store(to + 56, Encoded(Load(from + 38, last)));  // the bytes from 42 on
    to[kBase64LineChars] = '\r';
    to[kBase64LineChars + 1] = '\n';
  }
}

__attribute__((target("avx2"))) inline __m256i Encoded(__m256i spread) {
  const __m256i high = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0FC0FC00)),
                                          _mm256_set1_epi32(0x04000040));
  const __m256i low = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003F03F0)),
                                         _mm256_set1_epi32(0x01000010));
  const __m256i values = _mm256_or_si256(high, low);
  const __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
  const __m256i range = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                        _mm256_and_si256(upper, _mm256_set1_epi8(13)));
  return _mm256_add_epi8(
      values, _mm256_shuffle_epi8(_mm256_setr_epi8(QOB_RANGE_OFFSETS, QOB_RANGE_OFFSETS), range));
}

__attribute__((target("avx2"))) void EncodeLinesAvx2(const unsigned char* from, std::size_t lines,
                                                     char* to) {
  // Two loads of sixteen bytes that touch none but the twenty-four.
  const __m256i spread = _mm256_setr_epi8(QOB_SPREAD(0), QOB_SPREAD(4));
  const auto step = [&](const unsigned char* bytes, char* at) __attribute__((target("avx2"))) {
    const __m256i both = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(bytes + 8),
                                             reinterpret_cast<const __m128i*>(bytes));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), Encoded(_mm256_shuffle_epi8(both, spread)));
  };
  for (; lines > 0; --lines, from += kBase64LineBytes, to += kBase64LineSize) {
    step(from, to);
    step(from + 24, to + 32);
    step(from + 30, to + 40);
    to[kBase64LineChars] = '\r';
    to[kBase64LineChars + 1] = '\n';
  }
}

}  // namespace

Base64LineKernel Base64LinesSsse3() {
  return __builtin_cpu_supports("ssse3") ? &EncodeLinesSsse3 : nullptr;
}

Base64LineKernel Base64LinesAvx2() {
  return __builtin_cpu_supports("avx2") ? &EncodeLinesAvx2 : nullptr;
}

}  // namespace qob

#else

namespace qob {
Base64LineKernel Base64LinesSsse3() { return nullptr; }
Base64LineKernel Base64LinesAvx2() { return nullptr; }
}  // namespace qob

#endif
