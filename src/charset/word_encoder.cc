// Encoded words: which words of a text are encoded, how, and where the lines break.
#include "charset/word_encoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "charset/base64.h"
#include "charset/hex.h"

namespace qob {
namespace {

// A new word goes to a new line from this column on, and a word that is cut fills the line up to it
// ("?=" stands beyond).
constexpr std::ptrdiff_t kLineWidth = 75;
// The column after a fold: counted like the "?= " of a word, although only one blank stands there.
constexpr std::ptrdiff_t kFoldColumn = 3;
constexpr std::ptrdiff_t kCloseLength = 3;  // "?= "

// Written as "=XX" by the Q encoding. DEL and "_" are not among them, so "_" stays itself when it
// is read back.
constexpr auto kEscaped = [] {
  std::array<bool, 256> table{};
  for (unsigned c = 0; c < 256; ++c) table[c] = c < 33 || c > 127;
  for (char c : std::string_view("=?()<>@,:;\\.\"[]")) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

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
  for (; at < text.size(); ++at) {
    if (static_cast<unsigned char>(text[at]) >= 128) return true;
  }
  return false;
}

void WordEncoder::Append(std::string_view text) {
  if (!HasEightBit(text)) {
    out_->append(text);
    return;
  }
  const std::size_t start = out_->size();
  column_ = 0;
  AppendWords(text);
  while (out_->size() > start + 1 &&
         std::string_view(" \r\n").find(out_->back()) != std::string_view::npos) {
    out_->pop_back();
  }
}

void WordEncoder::AppendWords(std::string_view text) {
  const auto word_end = [&](std::size_t from) {
    return std::min(text.find(' ', from), text.size());
  };
  for (std::size_t at = 0; at <= text.size();) {
    std::size_t end = word_end(at);
    if (!HasEightBit(text.substr(at, end - at))) {
      out_->append(text, at, end - at).push_back(' ');
      column_ += static_cast<std::ptrdiff_t>(end - at) + 1;
    } else {
      while (end < text.size()) {
        const std::size_t next_end = word_end(end + 1);
        if (!HasEightBit(text.substr(end + 1, next_end - end - 1))) break;
        end = next_end;
      }
      AppendRun(text.substr(at, end - at));
    }
    at = end + 1;
  }
}

void WordEncoder::AppendRun(std::string_view run) {
  if (style_.base64) {
    EncodeB(run);
  } else {
    EncodeQ(run);
  }
  Emit(encoded_);
}

void WordEncoder::EncodeQ(std::string_view run) {
  encoded_.resize(3 * run.size());
  char* to = encoded_.data();
  for (char c : run) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (kEscaped[byte]) {
      to[0] = '=';
      to[1] = kHexDigits[byte >> 4];
      to[2] = kHexDigits[byte & 15];
      to += 3;
    } else {
      *to++ = c;
    }
  }
  encoded_.resize(static_cast<std::size_t>(to - encoded_.data()));
}

void WordEncoder::EncodeB(std::string_view run) {
  encoded_.resize((run.size() + 2) / 3 * 4);
  char* to = encoded_.data();
  for (std::size_t at = 0; at < run.size(); at += 3, to += 4) {
    const auto byte = [&](std::size_t i) {
      return at + i < run.size() ? static_cast<unsigned char>(run[at + i])
                                 : static_cast<unsigned char>(0);
    };
    const std::size_t real = std::min<std::size_t>(run.size() - at, 3);
    Base64EncodeGroup(byte(0), byte(1), byte(2), static_cast<int>(3 - real), to);
  }
}

void WordEncoder::Fold() {
  out_->append("\r\n ");
  column_ = kFoldColumn;
}

// How much of the encoded text a word that is cut takes; not positive when the line has no room for
// any.
std::ptrdiff_t WordEncoder::PieceLength(std::string_view encoded) const {
  const std::ptrdiff_t length =
      kLineWidth - static_cast<std::ptrdiff_t>(style_.prefix.size()) - column_;
  if (length <= 0) return length;
  if (style_.base64) return length / 4 * 4;
  // An escape is not split when its "=" is the second or third character before the cut. Its "=" as
  // the last character is not looked at, and the third also pushes a complete escape to the next
  // line: both are how lines have always been cut.
  const auto is_sign = [&](std::ptrdiff_t at) {
    return at >= 0 && static_cast<std::size_t>(at) < encoded.size() &&
           encoded[static_cast<std::size_t>(at)] == '=';
  };
  if (is_sign(length - 2)) return length - 2;
  if (is_sign(length - 3)) return length - 3;
  return length;
}

void WordEncoder::Emit(std::string_view encoded) {
  const std::ptrdiff_t prefix = static_cast<std::ptrdiff_t>(style_.prefix.size());
  do {
    if (column_ >= kLineWidth) Fold();
    const std::ptrdiff_t rest = static_cast<std::ptrdiff_t>(encoded.size());
    if (rest + prefix + column_ + kCloseLength < kLineWidth) {
      out_->append(style_.prefix).append(encoded).append("?= ");
      column_ += rest + prefix + kCloseLength;
      return;
    }
    std::ptrdiff_t length = PieceLength(encoded);
    if (length <= 0 && column_ > kFoldColumn) {
      Fold();
      continue;
    }
    if (length <= 0) length = style_.base64 ? 4 : 3;  // a charset name that fills the line
    const std::string_view piece = encoded.substr(0, static_cast<std::size_t>(length));
    out_->append(style_.prefix).append(piece).append("?=");
    Fold();
    encoded.remove_prefix(piece.size());
  } while (!encoded.empty());
}

}  // namespace qob
