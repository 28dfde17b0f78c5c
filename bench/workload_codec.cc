#include "workload_codec.h"

#include <array>
#include <cmath>

namespace bench {
namespace {

constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBinHexAlphabet =
    "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

unsigned ByteAt(std::string_view bytes, std::size_t index) {
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
}

void AppendHex(std::string* out, unsigned char byte) {
  out->push_back(kHexDigits[byte >> 4]);
  out->push_back(kHexDigits[byte & 15]);
}

// The CRC of BinHex: polynomial 0x1021, start 0, most significant bit first.
class Crc {
 public:
  Crc() {
    for (unsigned i = 0; i < 256; ++i) {
      unsigned value = i << 8;
      for (int bit = 0; bit < 8; ++bit) {
        value = (value & 0x8000U) != 0 ? (value << 1) ^ 0x1021U : value << 1;
      }
      table_[i] = static_cast<std::uint16_t>(value);
    }
  }
  std::string Of(std::string_view bytes) const {
    unsigned crc = 0;
    for (char c : bytes) {
      crc = ((crc << 8) ^ table_[((crc >> 8) ^ static_cast<unsigned char>(c)) & 0xFF]) & 0xFFFF;
    }
    return {static_cast<char>(crc >> 8), static_cast<char>(crc & 0xFF)};
  }

 private:
  std::array<std::uint16_t, 256> table_;
};

std::string BigEndian(std::uint64_t value, int bytes) {
  std::string out;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
    out.push_back(static_cast<char>((value >> shift) & 0xFF));
  }
  return out;
}

// Runs of four and more become byte, 0x90, count; a literal 0x90 becomes 0x90 0x00.
void AppendRunLength(std::string* out, std::string_view section) {
  constexpr char kMark = '\x90';
  for (std::size_t i = 0; i < section.size();) {
    std::size_t run = 1;
    while (run < 255 && i + run < section.size() && section[i + run] == section[i]) ++run;
    if (section[i] == kMark) {
      out->append({kMark, '\0'});
      ++i;
    } else if (run >= 4) {
      out->append({section[i], kMark, static_cast<char>(run)});
      i += run;
    } else {
      out->push_back(section[i]);
      ++i;
    }
  }
}

}  // namespace

std::uint64_t Random::Next() {
  state_ += 0x9E3779B97F4A7C15ULL;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

std::size_t Random::Below(std::size_t bound) { return static_cast<std::size_t>(Next() % bound); }

std::size_t Random::LogBetween(std::size_t low, std::size_t high) {
  // 1024 steps between the two ends; exp and log only see exact small inputs, so the result is
  // stable.
  const double step = static_cast<double>(Below(1025)) / 1024.0;
  const double ratio = static_cast<double>(high) / static_cast<double>(low);
  return static_cast<std::size_t>(static_cast<double>(low) * std::pow(ratio, step));
}

std::string Random::Bytes(std::size_t count) {
  std::string out(count, '\0');
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (i % 8 == 0) word = Next();
    out[i] = static_cast<char>(word & 0xFF);
    word >>= 8;
  }
  return out;
}

std::string Base64Text(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() / 3 * 4 + 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const unsigned group =
        ByteAt(bytes, i) << 16 | ByteAt(bytes, i + 1) << 8 | ByteAt(bytes, i + 2);
    out.push_back(kBase64Alphabet[group >> 18]);
    out.push_back(kBase64Alphabet[(group >> 12) & 63]);
    out.push_back(i + 1 < bytes.size() ? kBase64Alphabet[(group >> 6) & 63] : '=');
    out.push_back(i + 2 < bytes.size() ? kBase64Alphabet[group & 63] : '=');
  }
  return out;
}

std::string Base64Lines(std::string_view bytes) {
  constexpr std::size_t kBytesPerLine = 57;
  std::string out;
  out.reserve(bytes.size() / kBytesPerLine * 78 + 80);
  for (std::size_t i = 0; i < bytes.size(); i += kBytesPerLine) {
    out += Base64Text(bytes.substr(i, kBytesPerLine));
    out += "\r\n";
  }
  return out;
}

std::string QuotedPrintable(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  std::size_t column = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      out += "\r\n";
      column = 0;
      ++i;
      continue;
    }
    const bool plain = c >= ' ' && c <= '~' && c != '=';
    if (column + (plain ? 1 : 3) > 75) {
      out += "=\r\n";
      column = 0;
    }
    if (plain) {
      out.push_back(c);
      ++column;
    } else {
      out.push_back('=');
      AppendHex(&out, static_cast<unsigned char>(c));
      column += 3;
    }
  }
  return out;
}

std::string UuBlock(std::string_view name, std::string_view bytes) {
  constexpr std::size_t kBytesPerLine = 45;
  const auto symbol = [](unsigned value) {
    return value == 0 ? '`' : static_cast<char>(value + 32);
  };
  std::string out = "begin 644 " + std::string(name) + "\r\n";
  out.reserve(bytes.size() / kBytesPerLine * 63 + 100);
  for (std::size_t i = 0; i < bytes.size(); i += kBytesPerLine) {
    const std::string_view line = bytes.substr(i, kBytesPerLine);
    out.push_back(symbol(static_cast<unsigned>(line.size())));
    for (std::size_t k = 0; k < line.size(); k += 3) {
      const unsigned group = ByteAt(line, k) << 16 | ByteAt(line, k + 1) << 8 | ByteAt(line, k + 2);
      for (int shift = 18; shift >= 0; shift -= 6) out.push_back(symbol((group >> shift) & 63));
    }
    out += "\r\n";
  }
  return out + "`\r\nend\r\n";
}

std::string BinHexStream(std::string_view name, std::string_view data) {
  const Crc crc;
  std::string header(1, static_cast<char>(name.size()));
  header.append(name).append(1, '\0').append("BINAdBug");
  header += BigEndian(0, 2) + BigEndian(data.size(), 4) + BigEndian(0, 4);
  std::string packed;
  packed.reserve(data.size() + data.size() / 64 + 200);
  AppendRunLength(&packed, header + crc.Of(header));
  AppendRunLength(&packed, data);
  AppendRunLength(&packed, crc.Of(data));
  AppendRunLength(&packed, crc.Of({}));

  std::string out = "(This file must be converted with BinHex 4.0)\r\n\r\n:";
  out.reserve(packed.size() / 3 * 4 * 66 / 64 + 200);
  std::size_t column = 1;
  const auto put = [&](char c) {
    if (column == 64) {
      out += "\r\n";
      column = 0;
    }
    out.push_back(c);
    ++column;
  };
  for (std::size_t i = 0; i < packed.size(); i += 3) {
    const unsigned group =
        ByteAt(packed, i) << 16 | ByteAt(packed, i + 1) << 8 | ByteAt(packed, i + 2);
    const std::size_t symbols = packed.size() - i >= 3 ? 4 : packed.size() - i + 1;
    for (std::size_t k = 0; k < symbols; ++k) put(kBinHexAlphabet[(group >> (18 - 6 * k)) & 63]);
  }
  put(':');
  return out + "\r\n";
}

std::string ToLatin1(std::string_view utf8) {
  std::string out;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const unsigned lead = static_cast<unsigned char>(utf8[i]);
    if (lead < 0x80) {
      out.push_back(utf8[i]);
    } else {
      ++i;
      out.push_back(static_cast<char>((lead & 3U) << 6 | (ByteAt(utf8, i) & 0x3FU)));
    }
  }
  return out;
}

std::string EncodedWord(std::string_view charset, std::string_view text, bool base64) {
  std::string out = "=?" + std::string(charset) + (base64 ? "?B?" : "?Q?");
  if (base64) return out + Base64Text(text) + "?=";
  for (char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (plain) {
      out.push_back(c);
    } else {
      out.push_back('=');
      AppendHex(&out, static_cast<unsigned char>(c));
    }
  }
  return out + "?=";
}

}  // namespace bench
