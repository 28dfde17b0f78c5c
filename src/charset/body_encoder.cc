#include "charset/body_encoder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "charset/base64.h"
#include "charset/hex.h"

namespace qob {
namespace {

constexpr std::size_t kBlock = LineReader::kBlockSize / 2;

// ---- base64

constexpr std::size_t kLineBytes = 54;
constexpr std::size_t kLineChars = 72;
constexpr std::size_t kLinesAtOnce = 512;

struct TwoChars {
  char at[2];
};
// Two characters for each value of twelve bits.
constexpr std::array<TwoChars, 4096> kPairs = [] {
  std::array<TwoChars, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {{kBase64Alphabet[i >> 6], kBase64Alphabet[i & 63]}};
  }
  return pairs;
}();

void EncodeLine(const unsigned char* from, char* to) {
  for (std::size_t i = 0; i < kLineBytes; i += 3, to += 4) {
    const unsigned group = static_cast<unsigned>(from[i] << 16 | from[i + 1] << 8 | from[i + 2]);
    std::memcpy(to, &kPairs[group >> 12], 2);
    std::memcpy(to + 2, &kPairs[group & 4095], 2);
  }
  to[0] = '\r';
  to[1] = '\n';
}

void WriteLastLine(std::string_view rest, FileWriter& out) {
  char line[kLineChars];
  char* to = line;
  const auto byte = [&](std::size_t i) {
    return i < rest.size() ? static_cast<unsigned char>(rest[i]) : static_cast<unsigned char>(0);
  };
  for (std::size_t i = 0; i < rest.size(); i += 3, to += 4) {
    const int padding = rest.size() - i >= 3 ? 0 : static_cast<int>(3 - (rest.size() - i));
    Base64EncodeGroup(byte(i), byte(i + 1), byte(i + 2), padding, to);
  }
  out.Write({line, static_cast<std::size_t>(to - line)});
  // Eighteen groups make a whole line, a padded one among them too.
  out.Write(static_cast<std::size_t>(to - line) == kLineChars ? "\r\n\r\n" : "\r\n");
}

// ---- quoted-printable

// A unit is begun only on a line of no more than this many characters.
constexpr std::size_t kBreakBehind = 72;
constexpr std::string_view kFrom = "From ";
constexpr std::string_view kSoftBreak = "=\r\n";

constexpr std::array<bool, 256> MakePlain(bool text) {
  std::array<bool, 256> plain{};
  for (std::size_t c = text ? 32 : 33; c < 127; ++c) plain[c] = c != '=';
  plain['\t'] = text;
  return plain;
}
constexpr std::array<bool, 256> kPlainText = MakePlain(true);
constexpr std::array<bool, 256> kPlainBinary = MakePlain(false);

class QuotedWriter {
 public:
  QuotedWriter(QuotedForm form, FileWriter& out)
      : text_(form == QuotedForm::kText), plain_(text_ ? kPlainText : kPlainBinary), out_(out) {}

  // Takes what can be judged of `bytes`, all of it when they are the last. The count taken.
  std::size_t Take(std::string_view bytes, bool last);

 private:
  std::size_t LineEnd(std::string_view rest) const;
  std::size_t Unit(std::string_view rest);
  void Encoded(char c);

  const bool text_;
  const std::array<bool, 256>& plain_;
  FileWriter& out_;
  std::size_t column_ = 0;
};

// Length of the line end that `rest` begins with; 0 in the binary form.
std::size_t QuotedWriter::LineEnd(std::string_view rest) const {
  if (!text_) return 0;
  if (rest[0] == '\n') return 1;
  return rest.substr(0, 2) == "\r\n" ? 2 : 0;
}

void QuotedWriter::Encoded(char c) {
  const auto byte = static_cast<unsigned char>(c);
  const char unit[] = {'=', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
  out_.Write({unit, sizeof unit});
  column_ += sizeof unit;
}

// One encoded byte, or the plain bytes that this output line takes.
std::size_t QuotedWriter::Unit(std::string_view rest) {
  if (column_ > kBreakBehind) {
    out_.Write(kSoftBreak);
    column_ = 0;
  }
  const bool first = column_ == 0;
  const bool hides = first && (rest[0] == '.' || (text_ && rest.starts_with(kFrom)));
  if (hides || !plain_[static_cast<unsigned char>(rest[0])]) {
    Encoded(rest[0]);
    return 1;
  }
  const std::size_t room = std::min(rest.size(), kBreakBehind + 1 - column_);
  std::size_t run = 1;
  while (run < room && plain_[static_cast<unsigned char>(rest[run])]) ++run;
  out_.Write(rest.substr(0, run));
  column_ += run;
  return run;
}

std::size_t QuotedWriter::Take(std::string_view bytes, bool last) {
  std::size_t at = 0;
  while (at < bytes.size() && (last || bytes.size() - at >= kFrom.size()) && !out_.failed()) {
    const std::string_view rest = bytes.substr(at);
    const std::size_t line_end = LineEnd(rest);
    if (line_end > 0) {
      out_.Write(rest.substr(0, line_end));
      column_ = 0;
    }
    at += line_end > 0 ? line_end : Unit(rest);
  }
  return at;
}

}  // namespace

bool WriteBase64(LineReader& in, FileWriter& out) {
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    const std::size_t lines = std::min(window.size() / kLineBytes, kLinesAtOnce);
    if (lines == 0) break;
    char* to = out.Reserve(lines * (kLineChars + 2));
    if (to == nullptr) return false;
    const auto* from = reinterpret_cast<const unsigned char*>(window.data());
    for (std::size_t i = 0; i < lines; ++i) {
      EncodeLine(from + i * kLineBytes, to + i * (kLineChars + 2));
    }
    out.Advance(lines * (kLineChars + 2));
    in.Consume(lines * kLineBytes);
  }
  WriteLastLine(in.window(), out);
  in.Consume(in.window().size());
  return !out.failed();
}

bool WriteQuotedPrintable(LineReader& in, QuotedForm form, FileWriter& out) {
  QuotedWriter writer(form, out);
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty()) return !out.failed();
    in.Consume(writer.Take(window, window.size() < kBlock));
    if (out.failed()) return false;
  }
}

}  // namespace qob
