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

// A character's bits where they stand in the 24 bits of a group, for each of its four places.
inline constexpr std::uint32_t kInvalidBase64Group = 1u << 31;
inline constexpr auto kBase64Places = [] {
  std::array<std::array<std::uint32_t, 256>, 4> places{};
  for (unsigned place = 0; place < 4; ++place) {
    for (unsigned byte = 0; byte < 256; ++byte) {
      const std::uint8_t value = kBase64Values[byte];
      places[place][byte] = value == kNotBase64
                                ? kInvalidBase64Group
                                : static_cast<std::uint32_t>(value) << (6 * (3 - place));
    }
  }
  return places;
}();

// The 24 bits of four characters; kInvalidBase64Group is set when one of them is outside the
// alphabet.
inline std::uint32_t Base64Group(const char* four) {
  const auto bits = [four](unsigned place) {
    return kBase64Places[place][static_cast<unsigned char>(four[place])];
  };
  return bits(0) | bits(1) | bits(2) | bits(3);
}
inline void PutBase64Bytes(std::uint32_t group, char* out) {
  out[0] = static_cast<char>(group >> 16);
  out[1] = static_cast<char>(group >> 8);
  out[2] = static_cast<char>(group);
}

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
