// Copying the bytes of a text that need no attention, sixteen at a time where the processor can.
//
// A kind of run tells which bytes end it: Ends(byte), and for a block of sixteen Ends(block) with
// all bits of the places set that end it.
#pragma once
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qob {

// What CopyRun may store behind the bytes that it copied.
inline constexpr std::size_t kRunOverhang = 16;

#if defined(__SSE2__)
inline constexpr bool kRunBlocks = true;
using RunBlock = __m128i;
inline RunBlock BlockOf(char c) { return _mm_set1_epi8(c); }
inline RunBlock Equal(RunBlock a, char c) { return _mm_cmpeq_epi8(a, BlockOf(c)); }
// Signed: what is beyond ASCII is below every character.
inline RunBlock Below(RunBlock a, char c) { return _mm_cmplt_epi8(a, BlockOf(c)); }
inline RunBlock Either(RunBlock a, RunBlock b) { return _mm_or_si128(a, b); }
inline RunBlock But(RunBlock a, RunBlock not_these) { return _mm_andnot_si128(not_these, a); }
#else
inline constexpr bool kRunBlocks = false;
#endif

// Copies the bytes of a run, at most `limit`, and gives their number. `size` bytes may be read.
template <class Kind, bool kBlocks = kRunBlocks>
inline std::size_t CopyRun(const Kind& kind, const char* from, std::size_t size, std::size_t limit,
                           char* to) {
  std::size_t done = 0;
#if defined(__SSE2__)
  if constexpr (kBlocks) {
    for (; done < limit && size - done >= 16; done += 16) {
      const RunBlock block = _mm_loadu_si128(reinterpret_cast<const RunBlock*>(from + done));
      _mm_storeu_si128(reinterpret_cast<RunBlock*>(to + done), block);
      const unsigned ends = static_cast<unsigned>(_mm_movemask_epi8(kind.Ends(block)));
      if (ends != 0) {
        return std::min(limit, done + static_cast<std::size_t>(std::countr_zero(ends)));
      }
    }
  }
#endif
  limit = std::min(limit, size);
  for (; done < limit && !kind.Ends(static_cast<unsigned char>(from[done])); ++done) {
    to[done] = from[done];
  }
  return std::min(done, limit);
}

}  // namespace qob
