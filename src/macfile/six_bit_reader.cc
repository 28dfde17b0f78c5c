// Four characters at a time through four tables that hold each value in its place; a character
// without a value sets a bit above the 24, and the group is then looked at one by one.
#include "macfile/six_bit_reader.h"

#include <array>

#include "macfile/binhex_format.h"

namespace qob::binhex {
namespace {

constexpr std::uint32_t kNoValue = 0x80000000;
using Table = std::array<std::uint32_t, 256>;

constexpr Table MakeTable(unsigned shift) {
  Table table{};
  for (std::uint32_t& entry : table) entry = kNoValue;
  for (std::uint32_t value = 0; value < kAlphabet.size(); ++value) {
    table[static_cast<unsigned char>(kAlphabet[value])] = value << shift;
  }
  return table;
}

constexpr Table kFirst = MakeTable(18);
constexpr Table kSecond = MakeTable(12);
constexpr Table kThird = MakeTable(6);
constexpr Table kFourth = MakeTable(0);

constexpr unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

std::uint32_t Group(const char* at) {
  return kFirst[Byte(at[0])] | kSecond[Byte(at[1])] | kThird[Byte(at[2])] | kFourth[Byte(at[3])];
}

char* PutGroup(std::uint32_t group, char* to) {
  to[0] = static_cast<char>(group >> 16);
  to[1] = static_cast<char>(group >> 8 & 0xFF);
  to[2] = static_cast<char>(group & 0xFF);
  return to + 3;
}

constexpr bool IsPassedOver(unsigned char c) { return c <= 0x20 || c == 0x7F; }

}  // namespace

SixBitReader::Step SixBitReader::Decode(std::string_view text, char* out) {
  const char* at = text.data();
  const char* const end = at + text.size();
  char* to = out;
  Stop stop = Stop::kTextUsedUp;
  while (at != end) {
    if (held_ == 0) {
      while (end - at >= 4) {
        const std::uint32_t group = Group(at);
        if (group >= kNoValue) break;
        to = PutGroup(group, to);
        at += 4;
      }
      if (at == end) break;
    }
    const unsigned char c = Byte(*at);
    const std::uint32_t value = kFourth[c];
    if (value != kNoValue) {
      bits_ = bits_ << 6 | value;
      if (++held_ == 4) {
        to = PutGroup(bits_, to);
        bits_ = 0;
        held_ = 0;
      }
    } else if (!IsPassedOver(c)) {
      stop = c == ':' ? Stop::kColon : Stop::kForeign;
      break;
    }
    ++at;
  }
  return {static_cast<std::size_t>(at - text.data()), static_cast<std::size_t>(to - out), stop};
}

std::size_t SixBitReader::Finish(char* out) {
  std::size_t made = 0;
  if (held_ == 2) out[made++] = static_cast<char>(bits_ >> 4 & 0xFF);
  if (held_ == 3) {
    out[made++] = static_cast<char>(bits_ >> 10 & 0xFF);
    out[made++] = static_cast<char>(bits_ >> 2 & 0xFF);
  }
  bits_ = 0;
  held_ = 0;
  return made;
}

}  // namespace qob::binhex
