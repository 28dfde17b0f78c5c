#include "platform/log/line_text.h"

#include <cstddef>

#include "platform/os/ascii.h"

namespace qob::log {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// Length of the well-formed UTF-8 character of two to four bytes at `at`, or 0.
std::size_t MultibyteLength(std::string_view text, std::size_t at) {
  const unsigned char lead = ByteAt(text, at);
  const std::size_t length = lead >= 0xF0 && lead <= 0xF4   ? 4
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xC2 && lead <= 0xDF ? 2
                                                            : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((ByteAt(text, at + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

void AppendHex(unsigned char byte, std::string* line) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  line->append("\\x").push_back(kDigits[byte >> 4]);
  line->push_back(kDigits[byte & 15]);
}

}  // namespace

void AppendVisible(std::string_view text, bool blanks, std::string* line) {
  for (std::size_t at = 0; at < text.size();) {
    const unsigned char byte = ByteAt(text, at);
    const std::size_t length = MultibyteLength(text, at);
    const bool high_control = length == 2 && byte == 0xC2 && ByteAt(text, at + 1) < 0xA0;
    if (length > 0 && !high_control) {
      line->append(text.substr(at, length));
      at += length;
      continue;
    }
    if (ascii::IsControl(byte) || high_control || (byte >= 0x80 && byte < 0xA0) ||
        (blanks && byte == ' ')) {
      AppendHex(byte, line);
    } else {
      line->push_back(static_cast<char>(byte));
    }
    ++at;
  }
}

}  // namespace qob::log
