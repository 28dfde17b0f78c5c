// Encoded words: which words of a text are encoded, how, and where the lines break.
#include "charset/word_encoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "charset/base64.h"
#include "charset/byte_map.h"
#include "charset/hex.h"

namespace qob {
namespace {

// A new word goes to a new line from this column on, and a word that is cut fills the line up to it
// ("?=" stands beyond).
constexpr std::ptrdiff_t kLineWidth = 75;
// The column after a fold: counted like the "?= " of a word, although only one blank stands there.
constexpr std::ptrdiff_t kFoldColumn = 3;
constexpr std::ptrdiff_t kCloseLength = 3;  // "?= "

// What the Q encoding writes for a byte: up to three characters, their number behind them. DEL and
// "_" stay as they are: this system's decoder does not turn "_" into a blank.
using QCode = std::array<char, 4>;
constexpr auto kQCodes = [] {
  std::array<QCode, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    const bool escaped = c < 33 || c > 127 ||
                         std::string_view("=?()<>@,:;\\.\"[]").find(byte) != std::string_view::npos;
    table[c] =
        escaped ? QCode{'=', kHexDigits[c >> 4], kHexDigits[c & 15], 3} : QCode{byte, 0, 0, 1};
  }
  return table;
}();

// Writes the encoded run and up to three bytes behind it; returns its end.
char* EncodeQ(std::string_view run, char* to) {
  for (char c : run) {
    const QCode& code = kQCodes[static_cast<unsigned char>(c)];
    std::memcpy(to, code.data(), code.size());
    to += code[3];
  }
  return to;
}

char* EncodeB(std::string_view run, char* to) {
  const auto byte = [&run](std::size_t at) { return static_cast<unsigned char>(run[at]); };
  for (; run.size() >= 3; run.remove_prefix(3), to += 4) {
    Base64EncodeGroup(byte(0), byte(1), byte(2), 0, to);
  }
  if (run.empty()) return to;
  Base64EncodeGroup(byte(0), run.size() == 2 ? byte(1) : 0, 0, run.size() == 2 ? 1 : 2, to);
  return to + 4;
}

}  // namespace

WordStyle::WordStyle(std::string_view charset, bool use_base64) : base64(use_base64) {
  prefix.reserve(charset.size() + 5);
  prefix.append("=?").append(charset).append(use_base64 ? "?B?" : "?Q?");
}

bool HasEightBit(std::string_view text) {
  std::size_t at = 0;
  for (; text.size() - at >= 8; at += 8) {
    std::uint64_t eight;
    std::memcpy(&eight, text.data() + at, 8);
    if ((eight & 0x8080808080808080u) != 0) return true;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 128) ++at;
  return at < text.size();
}

WordEncoder::WordEncoder(const WordStyle& style, TextBuffer* out)
    : out_(out),
      base64_(style.base64),
      prefix_(style.prefix),
      prefix_size_(static_cast<std::ptrdiff_t>(style.prefix.size())) {
  prefix_.copy(short_prefix_, sizeof short_prefix_);
}

void WordEncoder::Append(std::string_view text) {
  if (!HasEightBit(text)) {
    out_->Append(text);
    return;
  }
  const std::size_t start = out_->size();
  column_ = 0;
  AppendWords(text);
  const auto ends_in_space = [this] {
    return out_->back() == ' ' || out_->back() == '\n' || out_->back() == '\r';
  };
  while (out_->size() > start + 1 && ends_in_space()) out_->pop_back();
}

// Words without 8-bit bytes are copied in one piece with the blanks between and behind them.
void WordEncoder::AppendWords(std::string_view text) {
  const ByteMap map(text);
  std::size_t at = 0;
  for (std::size_t eight_bit = map.NextEightBit(0); eight_bit < text.size();) {
    const std::size_t start = map.WordStart(at, eight_bit);
    out_->SetEnd(TextBuffer::Copy(out_->Reserve(start - at), text.data() + at, start - at,
                                  text.size() - at));
    column_ += static_cast<std::ptrdiff_t>(start - at);
    std::size_t end = map.NextBlank(eight_bit);
    eight_bit = map.NextEightBit(end);
    while (eight_bit < text.size()) {
      const std::size_t next_end = map.NextBlank(end + 1);
      if (eight_bit > next_end) break;
      end = next_end;
      eight_bit = map.NextEightBit(end);
    }
    AppendRun(text.substr(start, end - start));
    at = end + 1;
  }
  if (at < text.size()) out_->Append(text.substr(at));
}

// The run is encoded where its word would stand, and mostly fits the line there.
void WordEncoder::AppendRun(std::string_view run) {
  char* const word = out_->Reserve(style_room() + kEncodedRoom * run.size());
  char* const encoded = PutPrefix(word);
  char* const end = base64_ ? EncodeB(run, encoded) : EncodeQ(run, encoded);
  if (column_ + (end - word) + kCloseLength < kLineWidth) {
    std::memcpy(end, "?= ", kCloseLength);
    out_->SetEnd(end + kCloseLength);
    column_ += end - word + kCloseLength;
    return;
  }
  encoded_.assign(encoded, end);
  Emit(encoded_);
}

char* WordEncoder::PutPrefix(char* to) const {
  if (prefix_.size() <= sizeof short_prefix_) {
    std::memcpy(to, short_prefix_, sizeof short_prefix_);
  } else {
    std::memcpy(to, prefix_.data(), prefix_.size());
  }
  return to + prefix_.size();
}

void WordEncoder::Fold() {
  out_->Append("\r\n ");
  column_ = kFoldColumn;
}

// How much of the encoded text a word that is cut takes; not positive when the line has no room for
// any.
std::ptrdiff_t WordEncoder::PieceLength(std::string_view encoded) const {
  const std::ptrdiff_t length = kLineWidth - prefix_size_ - column_;
  if (length <= 0) return length;
  if (base64_) return length / 4 * 4;
  // An escape whose "=" is the second character before the cut moves to the next line, and so does
  // one, although complete, whose "=" is the third. A "=" right before the cut is not looked at.
  // The cuts stay exactly there.
  const auto is_sign = [&](std::ptrdiff_t at) {
    return at >= 0 && static_cast<std::size_t>(at) < encoded.size() &&
           encoded[static_cast<std::size_t>(at)] == '=';
  };
  if (is_sign(length - 2)) return length - 2;
  if (is_sign(length - 3)) return length - 3;
  return length;
}

// One word around the first `size` characters of the encoded text, and a line end behind it.
void WordEncoder::EmitPiece(std::string_view encoded, std::size_t size) {
  constexpr std::string_view kCloseAndFold = "?=\r\n ";
  char* to = PutPrefix(out_->Reserve(style_room() + size));
  to = TextBuffer::Copy(to, encoded.data(), size, encoded.size());
  std::memcpy(to, kCloseAndFold.data(), kCloseAndFold.size());
  out_->SetEnd(to + kCloseAndFold.size());
  column_ = kFoldColumn;
}

void WordEncoder::Emit(std::string_view encoded) {
  do {
    if (column_ >= kLineWidth) Fold();
    const std::ptrdiff_t rest = static_cast<std::ptrdiff_t>(encoded.size());
    if (rest + prefix_size_ + column_ + kCloseLength < kLineWidth) {
      char* to = PutPrefix(out_->Reserve(style_room() + encoded.size()));
      to = TextBuffer::Copy(to, encoded.data(), encoded.size(), encoded.size());
      std::memcpy(to, "?= ", kCloseLength);
      out_->SetEnd(to + kCloseLength);
      column_ += rest + prefix_size_ + kCloseLength;
      return;
    }
    std::ptrdiff_t length = PieceLength(encoded);
    if (length <= 0 && column_ > kFoldColumn) {
      Fold();
      continue;
    }
    if (length <= 0) length = base64_ ? 4 : 3;  // a charset name that fills the line
    const std::size_t size = std::min(static_cast<std::size_t>(length), encoded.size());
    EmitPiece(encoded, size);
    encoded.remove_prefix(size);
  } while (!encoded.empty());
}

}  // namespace qob
