// The base64 alphabet of RFC 2045 and its two directions, one group at a time.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

namespace qob {

inline constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What the decoding table gives for a byte outside the alphabet.
inline constexpr std::uint8_t kNotBase64 = 0xFF;

inline constexpr std::array<std::uint8_t, 256> kBase64Values = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(kNotBase64);
  for (std::uint8_t value = 0; value < 64; ++value) {
    table[static_cast<unsigned char>(kBase64Alphabet[value])] = value;
  }
  return table;
}();

// Writes four characters for three bytes. padding 0: all three are real; 1: two are, the last
// character is "="; 2: one is, the last two are "==".
inline void Base64EncodeGroup(unsigned char b0, unsigned char b1, unsigned char b2, int padding,
                              char* out) {
  const unsigned group = static_cast<unsigned>(b0 << 16 | b1 << 8 | b2);
  out[0] = kBase64Alphabet[group >> 18];
  out[1] = kBase64Alphabet[group >> 12 & 63];
  out[2] = padding == 2 ? '=' : kBase64Alphabet[group >> 6 & 63];
  out[3] = padding >= 1 ? '=' : kBase64Alphabet[group & 63];
}

}  // namespace qob
