#include "util/uuencode.h"

#include <algorithm>
#include <cstring>

namespace qob {
namespace {

constexpr std::size_t kLineBytes = 45;
constexpr std::size_t kBlock = LineReader::kBlockSize / 2;
// Length character, sixty characters, CR LF.
constexpr std::size_t kLongestLine = 1 + 60 + 2;

// The grave accent stands for zero: a blank would get lost on the way.
constexpr char Char(unsigned six_bits) {
  return six_bits == 0 ? '`' : static_cast<char>(six_bits + 32);
}

// The last group is filled up with zero bytes. The length of the line.
std::size_t EncodeLine(std::string_view bytes, char* line) {
  char padded[kLineBytes] = "";
  std::memcpy(padded, bytes.data(), bytes.size());
  char* to = line;
  *to++ = Char(static_cast<unsigned>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t k) {
      return static_cast<unsigned>(static_cast<unsigned char>(padded[i + k]));
    };
    const unsigned group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (int shift = 18; shift >= 0; shift -= 6) *to++ = Char(group >> shift & 63);
  }
  *to++ = '\r';
  *to++ = '\n';
  return static_cast<std::size_t>(to - line);
}

}  // namespace

bool WriteUuencoded(LineReader& in, std::string_view name, FileWriter& out) {
  out.Write("begin 666 ");
  out.Write(name);
  out.Write(" \r\n");
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    std::string_view window = in.window();
    if (window.empty()) break;
    const bool last = window.size() < kBlock;
    while (window.size() >= kLineBytes || (last && !window.empty())) {
      const std::size_t size = std::min(window.size(), kLineBytes);
      char* line = out.Reserve(kLongestLine);
      if (line == nullptr) return false;
      out.Advance(EncodeLine(window.substr(0, size), line));
      window.remove_prefix(size);
    }
    in.Consume(in.window().size() - window.size());
  }
  out.Write("`\r\nend\r\n\r\n");
  return !out.failed();
}

}  // namespace qob
