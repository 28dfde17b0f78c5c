#include "text_scan.h"

#include <algorithm>

namespace cli::mail {
namespace {

constexpr std::string_view kDelimiter = "--QOB.Boundary.";

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

void TextScan::EndLine(bool returned) {
  const std::int64_t length = column_ - (returned ? 1 : 0);
  traits_.longest_line = std::max(traits_.longest_line, length);
  const char last = returned ? before_that_ : before_;
  if (length > 0 && IsBlank(last)) traits_.trailing_blank = true;
  if (!returned) traits_.bare_feed = true;
  column_ = 0;
  matched_ = 0;
}

// RFC 3629: the second byte of a character has narrower bounds after some first ones.
void TextScan::TakeUtf8(unsigned char byte) {
  if (utf8_left_ > 0) {
    if (byte < utf8_low_ || byte > utf8_high_) traits_.utf8 = false;
    --utf8_left_;
    utf8_low_ = 0x80;
    utf8_high_ = 0xBF;
    return;
  }
  if (byte < 0x80) return;
  if (byte < 0xC2 || byte > 0xF4) traits_.utf8 = false;
  utf8_left_ = byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
  if (byte == 0xE0) utf8_low_ = 0xA0;
  if (byte == 0xED) utf8_high_ = 0x9F;
  if (byte == 0xF0) utf8_low_ = 0x90;
  if (byte == 0xF4) utf8_high_ = 0x8F;
}

void TextScan::Take(std::string_view block) {
  for (const char c : block) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (traits_.utf8 && (byte >= 0x80 || utf8_left_ > 0)) TakeUtf8(byte);
    if (byte >= 0x80) ++traits_.eight_bit;
    if (c == '\0') traits_.nul = true;
    if (before_ == '\r' && c != '\n') traits_.bare_return = true;
    if (c == '\n') {
      EndLine(before_ == '\r');
    } else {
      if (matched_ == static_cast<std::size_t>(column_) && matched_ < kDelimiter.size() &&
          c == kDelimiter[matched_] && ++matched_ == kDelimiter.size()) {
        traits_.delimiter = true;
      }
      ++column_;
    }
    before_that_ = before_;
    before_ = c;
  }
  traits_.size_bytes += static_cast<std::int64_t>(block.size());
}

TextTraits TextScan::Finish() {
  if (before_ == '\r') traits_.bare_return = true;
  traits_.longest_line = std::max(traits_.longest_line, column_);
  if (column_ > 0 && IsBlank(before_)) traits_.trailing_blank = true;
  if (utf8_left_ > 0) traits_.utf8 = false;
  return traits_;
}

}  // namespace cli::mail
