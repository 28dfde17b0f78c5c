// BinHex 4.0, as both directions need it.
//
// The text: a banner line, a colon, lines of 64 characters (the colon counts as the first), a
// colon. Each character stands for six bits; the bytes they make up are run-length compressed:
//
//   X 90 n   n copies of X in total (n = 2..255; readers take 1 as none added)
//   90 00    the byte 0x90 itself
//
// and what is compressed are the sections
//
//   header         name length 1, name 1..63, version 1, type 4, creator 4, Finder flags 2, data
//   fork length 4, resource
//                  fork length 4, CRC 2
//   data fork      its bytes, CRC 2
//   resource fork  its bytes, CRC 2
//
// with all integers big-endian.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qob::binhex {

inline constexpr std::string_view kBanner = "(This file must be converted with BinHex 4.0)\r\n";
inline constexpr std::string_view kAlphabet =
    "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
static_assert(kAlphabet.size() == 64);

inline constexpr std::size_t kLineLength = 64;
inline constexpr std::size_t kNameLimit = 63;
inline constexpr unsigned char kRunMarker = 0x90;
inline constexpr unsigned kRunLimit = 255;
inline constexpr std::size_t kFixedHeaderSize = 20;  // the header less name and CRC
inline constexpr std::size_t kCrcSize = 2;

struct Header {
  std::string name;
  std::uint32_t type = 0;
  std::uint32_t creator = 0;
  std::uint16_t flags = 0;
  std::uint32_t data_length = 0;
  std::uint32_t resource_length = 0;
};

}  // namespace qob::binhex
