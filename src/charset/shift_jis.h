// The two double-byte forms of JIS X 0208 and the way between them.
//
// JIS: both bytes 0x21 to 0x7E. Shift-JIS: lead 0x81 to 0x9F or 0xE0 to 0xEF, trail 0x40 to 0xFC; a
// pair of JIS rows shares one lead byte, and the trail tells which row. 0xA1 to 0xDF are half-width
// katakana, one byte each. Lead bytes from 0xF0 on belong to no row and count as no lead.
#pragma once
#include <cstddef>
#include <cstdint>

namespace qob {

using Octet = unsigned char;

struct OctetPair {
  Octet first = 0;
  Octet second = 0;
};

constexpr bool IsShiftJisLead(Octet c) {
  return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF);
}
constexpr bool IsShiftJisTrail(Octet c) { return c >= 0x40 && c <= 0xFC; }
constexpr bool IsHalfWidthKana(Octet c) { return c >= 0xA1 && c <= 0xDF; }
constexpr bool IsJis(Octet c) { return c >= 0x21 && c <= 0x7E; }

constexpr OctetPair ShiftJisOf(OctetPair jis) {
  const int lead = ((jis.first + 1) >> 1) + (jis.first < 0x5F ? 0x70 : 0xB0);
  const int trail =
      jis.first % 2 == 0 ? jis.second + 0x7E : jis.second + (jis.second > 0x5F ? 0x20 : 0x1F);
  return {static_cast<Octet>(lead), static_cast<Octet>(trail)};
}

constexpr OctetPair JisOf(OctetPair shift_jis) {
  const int base = shift_jis.first < 0xA0 ? 0x70 : 0xB0;
  const int s2 = shift_jis.second;
  const int j1 = 2 * (shift_jis.first - base) - (s2 < 0x9F ? 1 : 0);
  const int j2 = s2 >= 0x9F ? s2 - 0x7E : s2 - (s2 > 0x7F ? 0x20 : 0x1F);
  return {static_cast<Octet>(j1), static_cast<Octet>(j2)};
}

// A half-width katakana as its full-width Shift-JIS pair, joined with the sound mark behind it
// where the two make one character. `next` is the byte behind it, 0 when there is none.
struct WideKana {
  OctetPair pair;
  bool took_mark = false;
};
WideKana WideKanaOf(Octet kana, Octet next);

}  // namespace qob
