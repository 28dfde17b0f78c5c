// The two double-byte forms of JIS X 0208 and the way between them.
//
// JIS: both bytes 0x21 to 0x7E. Shift-JIS: lead 0x81 to 0x9F or 0xE0 to 0xEF, trail 0x40 to 0xFC; a
// pair of JIS rows shares one lead byte, and the trail tells which row. 0xA1 to 0xDF are half-width
// katakana, one byte each. Lead bytes from 0xF0 on belong to no row and count as no lead.
#pragma once
#include <array>
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

// Both ways with the test whether the pair is one, for runs of pairs: 0 stands for no pair.
//
// A lead byte gives the higher of the two JIS rows that share it, and a trail byte the cell and
// what is to be taken off that row; a row gives its lead byte, and a cell its trail byte by the
// parity of the row.
struct PairTables {
  struct Trail {
    Octet cell;
    Octet off;
  };
  std::array<Octet, 256> row_of_lead{};
  std::array<Trail, 256> cell_of_trail{};
  std::array<Octet, 256> lead_of_row{};
  std::array<std::array<Octet, 256>, 2> trail_of_cell{};
};
inline constexpr PairTables kPairTables = [] {
  PairTables tables;
  for (unsigned c = 0; c < 256; ++c) {
    const Octet byte = static_cast<Octet>(c);
    if (IsShiftJisLead(byte)) tables.row_of_lead[c] = JisOf({byte, 0x9F}).first;
    if (IsShiftJisTrail(byte)) {
      tables.cell_of_trail[c] = {JisOf({0x81, byte}).second, static_cast<Octet>(c < 0x9F ? 1 : 0)};
    }
    if (!IsJis(byte)) continue;
    tables.lead_of_row[c] = ShiftJisOf({byte, 0x21}).first;
    tables.trail_of_cell[0][c] = ShiftJisOf({0x22, byte}).second;
    tables.trail_of_cell[1][c] = ShiftJisOf({0x21, byte}).second;
  }
  return tables;
}();

// Converts the pairs at the front, at most `most`; gives their number.
inline std::size_t JisRunOf(const Octet* shift_jis, std::size_t most, char* to) {
  std::size_t done = 0;
  for (; done < most; ++done, shift_jis += 2, to += 2) {
    const Octet row = kPairTables.row_of_lead[shift_jis[0]];
    const PairTables::Trail trail = kPairTables.cell_of_trail[shift_jis[1]];
    if (row == 0 || trail.cell == 0) break;
    to[0] = static_cast<char>(row - trail.off);
    to[1] = static_cast<char>(trail.cell);
  }
  return done;
}
inline std::size_t ShiftJisRunOf(const Octet* jis, std::size_t most, char* to) {
  std::size_t done = 0;
  for (; done < most; ++done, jis += 2, to += 2) {
    const Octet lead = kPairTables.lead_of_row[jis[0]];
    const Octet trail = kPairTables.trail_of_cell[jis[0] & 1][jis[1]];
    if (lead == 0 || trail == 0) break;
    to[0] = static_cast<char>(lead);
    to[1] = static_cast<char>(trail);
  }
  return done;
}

// A half-width katakana as its full-width Shift-JIS pair, joined with the sound mark behind it
// where the two make one character. `next` is the byte behind it, 0 when there is none.
struct WideKana {
  OctetPair pair;
  bool took_mark = false;
};
WideKana WideKanaOf(Octet kana, Octet next);

}  // namespace qob
