// Quoted-printable text 64 bytes at a time, for x86-64 processors; chosen when the program runs.
//
// What may not stay is found in bit masks: every "=", a CR without LF behind it, an LF without CR
// before it. The block is then taken apart at its escapes without a look at the bytes between them,
// and left at the first stray CR or LF.
#include "charset/quoted_printable_decoder.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "charset/hex.h"

namespace qob {
namespace {

constexpr std::ptrdiff_t kBlock = 64;
// Copies go in steps of this many bytes and may read and write so far behind what counts.
constexpr std::ptrdiff_t kStep = 32;
// Bytes behind a block that are looked at: the rest of an escape or line end, one byte behind that,
// a copy's overhang.
constexpr std::ptrdiff_t kBehind = 3 + kStep;

// Bit n is byte n of a block.
struct Marks {
  std::uint64_t equals;
  std::uint64_t cr;
  std::uint64_t lf;
};

inline char* Copy(const char* from, std::ptrdiff_t size, char* to) {
  for (std::ptrdiff_t at = 0; at < size; at += kStep) std::memcpy(to + at, from + at, kStep);
  return to + size;
}

// Takes one block apart. False when the kernel cannot go on; the cursors then stand where it
// stopped.
[[gnu::always_inline]] inline bool TakeBlock(const Marks& marks, const char** from, char** to) {
  const char* const block = *from;
  const bool split_line_end = (marks.cr >> (kBlock - 1)) != 0 && block[kBlock] == '\n';
  const std::uint64_t lf_behind = marks.lf >> 1 | static_cast<std::uint64_t>(split_line_end)
                                                      << (kBlock - 1);
  const std::uint64_t strays = (marks.cr & ~lf_behind) | (marks.lf & ~(marks.cr << 1));
  const std::ptrdiff_t limit = std::countr_zero(strays);  // the block's size when there are none
  std::uint64_t signs =
      limit == kBlock ? marks.equals : marks.equals & ((std::uint64_t{1} << limit) - 1);
  std::ptrdiff_t done = 0;
  char* out = *to;
  for (; signs != 0; signs &= signs - 1) {
    const std::ptrdiff_t sign = std::countr_zero(signs);
    if (sign < done)
      break;  // "=" as a digit of an escape: not well-formed, the step before has stopped
    out = Copy(block + done, sign - done, out);
    const unsigned high = HexValue(block[sign + 1]);
    const unsigned low = HexValue(block[sign + 2]);
    const bool digits = (high | low) < 16;
    const bool soft_break = block[sign + 1] == '\r' && block[sign + 2] == '\n';
    if (!(digits | soft_break)) {
      *from = block + sign;
      *to = out;
      return false;
    }
    *out = static_cast<char>(high << 4 | low);
    out += digits;
    done = sign + 3;
  }
  const std::ptrdiff_t end = limit == kBlock && split_line_end ? kBlock + 1 : limit;
  if (done < end) {
    out = Copy(block + done, end - done, out);
    done = end;
  }
  *from = block + done;
  *to = out;
  return limit == kBlock;
}

std::uint64_t MarkSse2(const __m128i (&text)[4], char c) {
  std::uint64_t mask = 0;
  for (int i = 0; i < 4; ++i) {
    const int part = _mm_movemask_epi8(_mm_cmpeq_epi8(text[i], _mm_set1_epi8(c)));
    mask |= static_cast<std::uint64_t>(part) << (16 * i);
  }
  return mask;
}

QuotedPrintableRun CopyPlainSse2(std::string_view in, char* out) {
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= kBlock + kBehind) {
    __m128i text[4];
    for (int i = 0; i < 4; ++i)
      text[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 16 * i));
    const Marks marks = {MarkSse2(text, '='), MarkSse2(text, '\r'), MarkSse2(text, '\n')};
    if (!TakeBlock(marks, &from, &to)) break;
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

__attribute__((target("avx2"))) inline std::uint64_t MarkAvx2(__m256i low, __m256i high, char c) {
  const __m256i wanted = _mm256_set1_epi8(c);
  const auto low_mask =
      static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low, wanted)));
  const auto high_mask =
      static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, wanted)));
  return static_cast<std::uint64_t>(high_mask) << 32 | low_mask;
}

__attribute__((target("avx2"))) QuotedPrintableRun CopyPlainAvx2(std::string_view in, char* out) {
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from >= kBlock + kBehind) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 32));
    const Marks marks = {MarkAvx2(low, high, '='), MarkAvx2(low, high, '\r'),
                         MarkAvx2(low, high, '\n')};
    if (!TakeBlock(marks, &from, &to)) break;
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
