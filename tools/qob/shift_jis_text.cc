#include "shift_jis_text.h"

#include <optional>
#include <utility>

#include "failure.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

using Byte = unsigned char;

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kByteOrderMark = 0xFEFF;
constexpr std::uint32_t kFirstKana = 0xFF61;  // half-width, the code 0xA1 in one byte
constexpr std::uint32_t kLastKana = 0xFF9F;
constexpr std::uint32_t kFirstKanaCode = 0xA1;
constexpr std::uint32_t kLastKanaCode = 0xDF;
constexpr std::size_t kCodes = 0x10000;

// Lead bytes that a row of JIS X 0208 stands behind; those from 0xF0 on have none.
bool IsLead(Byte c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF); }
bool IsTrail(Byte c) { return c >= 0x40 && c <= 0xFC && c != 0x7F; }
bool IsKana(Byte c) { return c >= kFirstKanaCode && c <= kLastKanaCode; }

// Every two-byte code on a line of its own: what is no code spoils its own line only.
std::string AllCodes(std::vector<std::uint16_t>* codes) {
  std::string text;
  for (unsigned lead = 0x81; lead <= 0xEF; ++lead) {
    for (unsigned trail = 0x40; trail <= 0xFC; ++trail) {
      if (!IsLead(static_cast<Byte>(lead)) || !IsTrail(static_cast<Byte>(trail))) continue;
      text += static_cast<char>(lead);
      text += static_cast<char>(trail);
      text += '\n';
      codes->push_back(static_cast<std::uint16_t>(lead << 8 | trail));
    }
  }
  return text;
}

void AppendUtf8(std::uint32_t code, std::string* out) {
  const auto tail = [&](int shift) { *out += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    *out += static_cast<char>(code);
  } else if (code < 0x800) {
    *out += static_cast<char>(0xC0 | code >> 6);
    tail(0);
  } else {
    *out += static_cast<char>(0xE0 | code >> 12);
    tail(6);
    tail(0);
  }
}

std::string Hex(std::uint32_t number, int digits) {
  std::string text;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    text += "0123456789ABCDEF"[number >> shift & 15];
  return text;
}

// Counts one more and remembers the first.
void Note(std::size_t line, const std::string& what, Misfits* misfits) {
  if (misfits->count++ > 0) return;
  misfits->first_line = line;
  misfits->first = what;
}

// May more bytes make a character of what begins here?
bool MayGoOn(std::string_view text) {
  const auto lead = static_cast<Byte>(text.front());
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 1;
  return lead <= 0xF4 && text.size() < length;
}

}  // namespace

ShiftJisTable::ShiftJisTable() : characters_(kCodes), codes_(kCodes) {
  Take("SHIFT_JIS", false);
  Take("CP932", true);
}

// Where both sets know a code, the first one tells its character; the other's character for it is
// taken on the way back too.
void ShiftJisTable::Take(const std::string& charset, bool wider) {
  std::vector<std::uint16_t> all;
  const std::string text = AllCodes(&all);
  const std::optional<std::string> utf8 = sys::ToUtf8(text, charset);
  if (!utf8.has_value()) {
    if (wider) return;
    throw Failure(ExitCode::kSoftware,
                  "the system's iconv does not know " + charset +
                      ": install its character sets, or convert between UTF-8 and Shift-JIS "
                      "elsewhere");
  }
  std::string_view rest = *utf8;
  for (const std::uint16_t code : all) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) break;
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    if (line.empty()) continue;
    const Utf8Step step = NextCharacter(line);
    if (!step.valid || step.length != line.size() || step.code == kReplacement ||
        step.code < 0x80 || step.code >= kCodes)
      continue;
    if (characters_[code] == 0) characters_[code] = step.code;
    if (codes_[step.code] == 0) codes_[step.code] = code;
  }
}

std::uint16_t ShiftJisTable::CodeOf(std::uint32_t character) const {
  if (character >= kFirstKana && character <= kLastKana)
    return static_cast<std::uint16_t>(character - kFirstKana + kFirstKanaCode);
  return character < kCodes ? codes_[character] : std::uint16_t{0};
}

void Utf8ToShiftJis::Misfit(const std::string& what, std::string* out) {
  Note(line_, what, &misfits_);
  *out += mark_;
}

void Utf8ToShiftJis::Convert(std::string_view* text, bool last, std::string* out) {
  const auto first = static_cast<Byte>(text->front());
  const bool at_start = std::exchange(at_start_, false);
  if (first < 0x80) {
    if (first == '\n') ++line_;
    *out += static_cast<char>(first);
    return text->remove_prefix(1);
  }
  const Utf8Step step = NextCharacter(*text);
  if (!step.valid) {
    if (!last && MayGoOn(*text)) {
      left_ = *text;
      at_start_ = at_start;
      return text->remove_prefix(text->size());
    }
    Misfit("the byte " + Hex(first, 2) + ", which is no UTF-8", out);
    return text->remove_prefix(1);
  }
  text->remove_prefix(step.length);
  if (step.code == kByteOrderMark && at_start) return;
  const std::uint16_t code = table_.CodeOf(step.code);
  if (code == 0) return Misfit("U+" + Hex(step.code, step.code > 0xFFFF ? 5 : 4), out);
  if (code > 0xFF) *out += static_cast<char>(code >> 8);
  *out += static_cast<char>(code & 0xFF);
}

void Utf8ToShiftJis::Take(std::string_view block, std::string* out) {
  // The few bytes that the last block ended in, with as many as a character may have.
  while (!left_.empty() && !block.empty()) {
    const std::string pending = std::exchange(left_, {}) + block.front();
    block.remove_prefix(1);
    std::string_view text = pending;
    while (!text.empty()) {
      Convert(&text, false, out);
    }
  }
  while (!block.empty()) {
    Convert(&block, false, out);
    at_start_ = at_start_ && !left_.empty();
  }
}

void Utf8ToShiftJis::Finish(std::string* out) {
  const std::string pending = std::exchange(left_, {});
  std::string_view text = pending;
  while (!text.empty()) Convert(&text, true, out);
}

void ShiftJisToUtf8::Misfit(std::uint32_t code, std::string* out) {
  Note(line_,
       code > 0xFF ? "the bytes " + Hex(code >> 8, 2) + " " + Hex(code & 0xFF, 2)
                   : "the byte " + Hex(code, 2),
       &misfits_);
  AppendUtf8(kReplacement, out);
}

void ShiftJisToUtf8::Take(std::string_view block, std::string* out) {
  for (const char sign : block) {
    const auto c = static_cast<Byte>(sign);
    if (const Byte lead = std::exchange(lead_, Byte{0}); lead != 0) {
      if (IsTrail(c)) {
        const auto code = static_cast<std::uint16_t>(lead << 8 | c);
        const std::uint32_t character = table_.CharacterOf(code);
        if (character == 0) {
          Misfit(code, out);
        } else {
          AppendUtf8(character, out);
        }
        continue;
      }
      Misfit(lead, out);
    }
    if (c < 0x80) {
      if (c == '\n') ++line_;
      *out += sign;
    } else if (IsKana(c)) {
      AppendUtf8(kFirstKana + c - kFirstKanaCode, out);
    } else if (IsLead(c)) {
      lead_ = c;
    } else {
      Misfit(c, out);
    }
  }
}

void ShiftJisToUtf8::Finish(std::string* out) {
  if (const Byte lead = std::exchange(lead_, Byte{0}); lead != 0) Misfit(lead, out);
}

}  // namespace cli
