// BinHex 4.0 and AppleSingle once more, the slow and plain way: what the tests expect of the code
// comes from here or from constants, never from the code itself.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace qob::testing {

inline std::string Big(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text.push_back(static_cast<char>(value >> shift & 0xFF));
  }
  return text;
}

// Bit by bit through a register, two zero bytes behind the text, as the format has it.
inline std::uint16_t PlainCrc(std::string_view bytes) {
  std::uint32_t reg = 0;
  const std::string padded = std::string(bytes) + std::string(2, '\0');
  for (const char c : padded) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool out = (reg & 0x8000) != 0;
      reg = (reg << 1 | (static_cast<unsigned char>(c) >> bit & 1U)) & 0xFFFF;
      if (out) reg ^= 0x1021;
    }
  }
  return static_cast<std::uint16_t>(reg);
}

inline std::string WithCrc(std::string_view bytes) {
  return std::string(bytes) + Big(PlainCrc(bytes), 2);
}

struct MacFile {
  std::string name = "a";
  std::string type = "TEXT";
  std::string creator = "ttxt";
  std::uint16_t flags = 0;
  std::string data;
  std::string resource;
};

// The header section less its CRC, with any fork lengths.
inline std::string PlainHeader(const MacFile& file, std::uint64_t data_length,
                               std::uint64_t resource_length) {
  return Big(file.name.size(), 1) + file.name + std::string(1, '\0') + file.type + file.creator +
         Big(file.flags, 2) + Big(data_length, 4) + Big(resource_length, 4);
}
inline std::string PlainHeader(const MacFile& file) {
  return PlainHeader(file, file.data.size(), file.resource.size());
}

// All sections, not compressed.
inline std::string PlainSections(const MacFile& file) {
  return WithCrc(PlainHeader(file)) + WithCrc(file.data) + WithCrc(file.resource);
}

// Legal, though nothing is compressed: only the marker byte is made literal.
inline std::string Literal(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    out.push_back(c);
    if (c == '\x90') out.push_back('\0');
  }
  return out;
}

// Six-bit characters; a last short group is completed with zero bits and cut.
inline std::string SixBit(std::string_view bytes) {
  static const char kSet[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
  std::string out;
  std::uint32_t bits = 0;
  int held = 0;
  for (const char c : bytes) {
    bits = (bits << 8 | static_cast<unsigned char>(c)) & 0xFFFFF;
    held += 8;
    while (held >= 6) {
      held -= 6;
      out.push_back(kSet[bits >> held & 63]);
    }
  }
  if (held > 0) out.push_back(kSet[bits << (6 - held) & 63]);
  return out;
}

inline constexpr std::string_view kBannerLine = "(This file must be converted with BinHex 4.0)\r\n";

// Colon, lines of 64, colon, around compressed bytes.
inline std::string Lines(std::string_view packed) {
  const std::string text = ":" + SixBit(packed) + ":";
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += 64) out += text.substr(at, 64) + "\r\n";
  return out;
}
inline std::string PlainBinHex(const MacFile& file) {
  return std::string(kBannerLine) + Lines(Literal(PlainSections(file)));
}

// An AppleSingle file with data fork, resource fork, name and Finder info in this order.
inline std::string PlainAppleSingle(const MacFile& file) {
  const std::string finder = file.type + file.creator + Big(file.flags, 2) + std::string(22, '\0');
  std::string head = Big(0x00051600, 4) + Big(0x00020000, 4) + std::string(16, '\0') + Big(4, 2);
  std::uint64_t at = 74;
  const auto entry = [&](unsigned id, const std::string& bytes) {
    head += Big(id, 4) + Big(at, 4) + Big(bytes.size(), 4);
    at += bytes.size();
  };
  entry(1, file.data);
  entry(2, file.resource);
  entry(3, file.name);
  entry(9, finder);
  return head + file.data + file.resource + file.name + finder;
}

// Bytes that do not repeat and hold every value.
inline std::string Noise(std::size_t size, std::uint32_t seed = 1) {
  std::string bytes;
  bytes.reserve(size);
  for (std::size_t i = 0; i < size; ++i) {
    seed = seed * 1664525 + 1013904223;
    bytes.push_back(static_cast<char>(seed >> 24));
  }
  return bytes;
}

}  // namespace qob::testing
