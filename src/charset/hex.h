// Hexadecimal digits of quoted-printable and of the Q encoding.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

namespace qob {

inline constexpr std::string_view kHexDigits = "0123456789ABCDEF";
inline constexpr std::uint8_t kNotHex = 0xFF;

inline constexpr std::array<std::uint8_t, 256> kHexValues = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(kNotHex);
  for (std::uint8_t value = 0; value < 10; ++value) table['0' + value] = value;
  for (std::uint8_t value = 10; value < 16; ++value) {
    table['A' + value - 10] = value;
    table['a' + value - 10] = value;
  }
  return table;
}();

inline constexpr std::uint8_t HexValue(char digit) {
  return kHexValues[static_cast<unsigned char>(digit)];
}

}  // namespace qob
