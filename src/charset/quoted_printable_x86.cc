// Quoted-printable text 16 or 32 bytes at a time, for x86-64 processors; chosen when the program
// runs.
//
// A block is copied whole. What may not stay is found in bit masks: every "=", a CR without LF
// behind it, an LF without CR before it. The copy then counts up to the first of them.
#include "charset/quoted_printable_decoder.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <bit>
#include <cstdint>

#include "charset/quoted_printable_kernel.h"

namespace qob {
namespace {

// What the masks of one block say; bit n = byte n. `last` is the bit of the block's last byte.
struct Marks {
  std::uint32_t equals;
  std::uint32_t cr;
  std::uint32_t lf;
};

// After the block's `width` bytes were stored at *to: moves both cursors behind what may stay, and
// over an escape there. One byte and an LF behind the block can be read. False when the kernel
// cannot go on.
template <unsigned width>
inline bool Settle(const Marks& marks, const char** from, char** to) {
  constexpr std::uint32_t kLast = 1u << (width - 1);
  const bool split_line_end = (marks.cr & kLast) != 0 && (*from)[width] == '\n';
  const std::uint32_t cr_alone = marks.cr & ~(marks.lf >> 1) & ~(split_line_end ? kLast : 0);
  const std::uint32_t lf_alone = marks.lf & ~(marks.cr << 1);
  const std::uint32_t stops = marks.equals | cr_alone | lf_alone;
  if (stops == 0) {
    *from += width;
    *to += width;
    if (split_line_end) {
      *(*to)++ = '\n';
      ++*from;
    }
    return true;
  }
  const unsigned stop = static_cast<unsigned>(std::countr_zero(stops));
  *from += stop;
  *to += stop;
  return **from == '=' && CopyEscape(from, to);
}

// Bytes behind a block that a kernel looks at: the rest of an escape or line end, and one byte
// behind that.
constexpr std::ptrdiff_t kBehind = 3;

QuotedPrintableRun CopyPlainSse2(std::string_view in, char* out) {
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= 16 + kBehind) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const auto mark = [&](char c) {
      return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, _mm_set1_epi8(c))));
    };
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), text);
    if (!Settle<16>({mark('='), mark('\r'), mark('\n')}, &from, &to)) break;
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

__attribute__((target("avx2"))) inline std::uint32_t Mark(__m256i text, char c) {
  return static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_cmpeq_epi8(text, _mm256_set1_epi8(c))));
}

__attribute__((target("avx2"))) QuotedPrintableRun CopyPlainAvx2(std::string_view in, char* out) {
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= 32 + kBehind) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), text);
    if (!Settle<32>({Mark(text, '='), Mark(text, '\r'), Mark(text, '\n')}, &from, &to)) break;
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

}  // namespace

QuotedPrintableKernel QuotedPrintableKernelSse2() { return &CopyPlainSse2; }

QuotedPrintableKernel QuotedPrintableKernelAvx2() {
  return __builtin_cpu_supports("avx2") ? &CopyPlainAvx2 : nullptr;
}

}  // namespace qob

#else

namespace qob {
QuotedPrintableKernel QuotedPrintableKernelSse2() { return nullptr; }
QuotedPrintableKernel QuotedPrintableKernelAvx2() { return nullptr; }
}  // namespace qob

#endif
