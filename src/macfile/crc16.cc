// Eight bytes per step: kShift[k][b] is the register after byte b and k zero bytes, so that the
// eight contributions of a step are independent of each other and only joined by exclusive or.
#include "macfile/crc16.h"

#include <array>
#include <cstddef>

namespace qob {
namespace {

constexpr unsigned kPolynomial = 0x1021;
constexpr std::size_t kStep = 8;

using Table = std::array<std::uint16_t, 256>;

constexpr std::array<Table, kStep> MakeTables() {
  std::array<Table, kStep> tables{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    unsigned value = byte << 8;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 0x8000) != 0 ? (value << 1) ^ kPolynomial : value << 1;
    }
    tables[0][byte] = static_cast<std::uint16_t>(value);
  }
  for (std::size_t k = 1; k < kStep; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const unsigned value = tables[k - 1][byte];
      tables[k][byte] = static_cast<std::uint16_t>((value << 8) ^ tables[0][value >> 8]);
    }
  }
  return tables;
}

constexpr std::array<Table, kStep> kShift = MakeTables();

constexpr unsigned Byte(char c) { return static_cast<unsigned char>(c); }

}  // namespace

void Crc16::Update(std::string_view bytes) {
  unsigned value = value_;
  const char* at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= kStep; left -= kStep, at += kStep) {
    const unsigned high = kShift[7][Byte(at[0]) ^ (value >> 8)] ^
                          kShift[6][Byte(at[1]) ^ (value & 0xFF)] ^ kShift[5][Byte(at[2])] ^
                          kShift[4][Byte(at[3])];
    const unsigned low = kShift[3][Byte(at[4])] ^ kShift[2][Byte(at[5])] ^ kShift[1][Byte(at[6])] ^
                         kShift[0][Byte(at[7])];
    value = high ^ low;
  }
  for (; left > 0; --left, ++at) {
    value = ((value << 8) & 0xFFFF) ^ kShift[0][Byte(*at) ^ (value >> 8)];
  }
  value_ = static_cast<std::uint16_t>(value);
}

}  // namespace qob
