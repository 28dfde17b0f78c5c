#include "charset/quoted_printable_encoder.h"

#include <array>
#include <cstring>

#include "charset/byte_run.h"
#include "charset/hex.h"

namespace qob {
namespace {

// A unit is begun only on a line of no more than this many characters.
constexpr std::size_t kBreakBehind = 72;
constexpr std::string_view kFrom = "From ";

// "=XX" for each byte, and one character more to copy.
constexpr auto kUnits = [] {
  std::array<std::array<char, 4>, 256> units{};
  for (std::size_t c = 0; c < 256; ++c) units[c] = {'=', kHexDigits[c >> 4], kHexDigits[c & 15], 0};
  return units;
}();

struct Text {
  static constexpr bool kIsText = true;
  static constexpr auto kEncoded = [] {
    std::array<bool, 256> encoded{};
    for (std::size_t c = 0; c < 256; ++c) encoded[c] = c < 32 || c == '=' || c >= 127;
    encoded['\t'] = false;
    return encoded;
  }();
  bool Ends(unsigned char c) const { return kEncoded[c]; }
#if defined(__SSE2__)
  RunBlock Ends(RunBlock block) const {
    const RunBlock controls = But(Below(block, 32), Equal(block, '\t'));
    return Either(controls, Either(Equal(block, '='), Equal(block, 127)));
  }
#endif
};

struct Binary {
  static constexpr bool kIsText = false;
  bool Ends(unsigned char c) const { return c < 33 || c == '=' || c >= 127; }
#if defined(__SSE2__)
  RunBlock Ends(RunBlock block) const {
    return Either(Below(block, 33), Either(Equal(block, '='), Equal(block, 127)));
  }
#endif
};

// Length of the line end that `rest` begins with.
std::size_t LineEnd(std::string_view rest) {
  if (rest[0] == '\n') return 1;
  return rest[0] == '\r' && rest.size() > 1 && rest[1] == '\n' ? 2 : 0;
}

// What would mean something at the start of a line.
bool Hides(bool text, std::string_view rest) {
  return rest[0] == '.' || (text && rest.starts_with(kFrom));
}

}  // namespace

template <class Kind>
std::size_t QuotedPrintableEncoder::Encode(const Kind& kind, std::string_view in, bool last,
                                           char** out) {
  const std::size_t stop = last ? in.size() : in.size() - (kFrom.size() - 1);
  std::size_t at = 0;
  std::size_t column = column_;
  char* to = *out;
  while (at < stop) {
    const std::string_view rest = in.substr(at);
    if (const std::size_t size = Kind::kIsText ? LineEnd(rest) : 0; size > 0) {
      std::memcpy(to, rest.data(), size);
      to += size;
      at += size;
      column = 0;
      continue;
    }
    if (column > kBreakBehind) {
      std::memcpy(to, "=\r\n", 3);
      to += 3;
      column = 0;
    }
    if (column > 0 || !Hides(Kind::kIsText, rest)) {
      const std::size_t room = kBreakBehind + 1 - column;
      const std::size_t run = CopyRun(kind, rest.data(), rest.size(), room, to);
      at += run;
      to += run;
      column += run;
      if (run > 0) continue;
    }
    std::memcpy(to, kUnits[static_cast<unsigned char>(rest[0])].data(), 4);
    to += 3;
    column += 3;
    ++at;
  }
  column_ = column;
  *out = to;
  return at;
}

std::size_t QuotedPrintableEncoder::Feed(std::string_view in, bool last, char** out) {
  if (!last && in.size() < kFrom.size()) return 0;
  return form_ == QuotedForm::kText ? Encode(Text(), in, last, out)
                                    : Encode(Binary(), in, last, out);
}

}  // namespace qob
