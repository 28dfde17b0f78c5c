// Both Japanese conversions once more, on whole texts and byte by byte: slow, plain, written apart
// from the library's.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace qob::testing {

using U8 = unsigned char;

inline bool ModelLead(int c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF); }
inline bool ModelTrail(int c) { return c >= 0x40 && c <= 0xFC; }
inline bool ModelKana(int c) { return c >= 0xA1 && c <= 0xDF; }
inline bool ModelJis(int c) { return c >= 0x21 && c <= 0x7E; }

inline std::string ModelToShiftJis(int j1, int j2) {
  const int s1 = ((j1 + 1) / 2) + (j1 < 0x5F ? 0x70 : 0xB0);
  const int s2 = j1 % 2 == 0 ? j2 + 0x7E : j2 > 0x5F ? j2 + 0x20 : j2 + 0x1F;
  return {static_cast<char>(s1), static_cast<char>(s2)};
}
inline std::string ModelToJis(int s1, int s2) {
  const int base = s1 < 0xA0 ? 0x70 : 0xB0;
  const int j1 = 2 * (s1 - base) - (s2 < 0x9F ? 1 : 0);
  const int j2 = s2 >= 0x9F ? s2 - 0x7E : s2 > 0x7F ? s2 - 0x20 : s2 - 0x1F;
  return {static_cast<char>(j1), static_cast<char>(j2)};
}

// The full-width row of each half-width katakana, by hand.
inline int ModelWide(int kana) {
  static constexpr int kCodes[63] = {
      0x8142, 0x8175, 0x8176, 0x8141, 0x8145, 0x8392, 0x8340, 0x8342, 0x8344, 0x8346, 0x8348,
      0x8383, 0x8385, 0x8387, 0x8362, 0x815B, 0x8341, 0x8343, 0x8345, 0x8347, 0x8349, 0x834A,
      0x834C, 0x834E, 0x8350, 0x8352, 0x8354, 0x8356, 0x8358, 0x835A, 0x835C, 0x835E, 0x8360,
      0x8363, 0x8365, 0x8367, 0x8369, 0x836A, 0x836B, 0x836C, 0x836D, 0x836E, 0x8371, 0x8374,
      0x8377, 0x837A, 0x837D, 0x837E, 0x8380, 0x8381, 0x8382, 0x8384, 0x8386, 0x8388, 0x8389,
      0x838A, 0x838B, 0x838C, 0x838D, 0x838F, 0x8393, 0x814A, 0x814B};
  return kCodes[kana - 0xA1];
}

// The machine as a reader of two registers c1, c2 with -1 for "not read".
inline std::string ModelEncode(std::string_view text, std::optional<std::string_view> mark) {
  std::string out;
  std::size_t at = 0;
  const auto read = [&] { return at < text.size() ? int{static_cast<U8>(text[at++])} : -1; };
  const auto single = [&](int c) {
    if (c < 0x80 || !mark) {
      out += static_cast<char>(c);
    } else {
      out += *mark;
    }
  };
  int c1 = read();
  int c2 = read();
  if (c1 < 0) return out;
  bool pending = ModelLead(c1) && ModelTrail(c2);
  bool two = false;
  for (;;) {
    if (pending || two) {
      int s1 = c1;
      int s2 = c2;
      if (ModelKana(c1)) {
        const int wide = ModelWide(c1);
        s1 = wide >> 8;
        s2 = wide & 0xFF;
        bool taken = false;
        if (c2 == 0xDE && c1 == 0xB3) {
          s2 = 0x94;
          taken = true;
        } else if (c2 == 0xDE && ((c1 >= 0xB6 && c1 <= 0xC4) || (c1 >= 0xCA && c1 <= 0xCE))) {
          s2 += 1;
          taken = true;
        } else if (c2 == 0xDF && c1 >= 0xCA && c1 <= 0xCE) {
          s2 += 2;
          taken = true;
        }
        if (!taken && c2 >= 0) --at;
      }
      if (pending) out += "\x1B$B";
      pending = false;
      two = true;
      out += ModelToJis(s1, s2);
      c1 = read();
      c2 = c1 < 0 ? -1 : read();
      if (c1 < 0) return out + "\x1B(J";
      if (c2 < 0) {
        out += "\x1B(J";
        single(c1);
        return out;
      }
      if (!(ModelLead(c1) && ModelTrail(c2)) && !ModelKana(c1)) {
        out += "\x1B(J";
        two = false;
      }
    } else {
      single(c1);
      if (c2 < 0) return out;
      c1 = c2;
      c2 = read();
      pending = (ModelLead(c1) && ModelTrail(c2)) || ModelKana(c1);
    }
  }
}

inline std::string ModelDecode(std::string_view text, bool repair) {
  std::string out;
  bool two = false;
  const auto at = [&](std::size_t i) {
    return i < text.size() ? int{static_cast<U8>(text[i])} : -1;
  };
  const auto line_end = [&](std::size_t i) {
    return at(i) == '\r' && (at(i + 1) == '\n' || at(i + 1) < 0);
  };
  const auto keep = [&](std::size_t i) {  // what no sequence swallows
    return at(i) < 0 || at(i) == '\r' || at(i) == '\n' || at(i) == 0;
  };
  std::size_t i = 0;
  while (i < text.size()) {
    const int c = at(i);
    if (line_end(i)) {
      out += "\r\n";
      i += 2;
    } else if (c == 0x1B && at(i + 1) == '$') {
      if (at(i + 2) == 'B' || at(i + 2) == '@') two = true;
      i += keep(i + 2) ? 2 : 3;
    } else if (c == 0x1B && at(i + 1) == '(') {
      if (at(i + 2) == 'B' || at(i + 2) == 'J') two = false;
      i += keep(i + 2) ? 2 : 3;
    } else if (c == 0x1B) {
      two = false;
      if (keep(i + 1)) {
        i += 1;
      } else {
        i += 2;
        if (at(i) >= 0 && at(i) != '\r') out += text[i++];
      }
    } else if (two) {
      if (c != '\r' && ModelJis(c) && ModelJis(at(i + 1))) {
        out += ModelToShiftJis(c, at(i + 1));
        i += 2;
      } else {
        out += text[i++];
      }
    } else if (repair && c == '$' && (at(i + 1) == 'B' || at(i + 1) == '@')) {
      std::string converted;
      std::size_t k = i + 2;
      std::size_t marker = 0;
      for (;;) {
        const std::size_t e = at(k) == 0x1B ? 1 : 0;
        if (k > i + 2 && at(k + e) == '(' && (at(k + e + 1) == 'B' || at(k + e + 1) == 'J')) {
          marker = e + 2;
          break;
        }
        if (!ModelJis(at(k)) || !ModelJis(at(k + 1))) break;
        converted += ModelToShiftJis(at(k), at(k + 1));
        k += 2;
      }
      if (marker != 0) {
        out += converted;
        i = k + marker;
        continue;
      }
      while (i < text.size() && !line_end(i) && at(i) != '\n') out += text[i++];
      if (i < text.size() && line_end(i)) {
        out += "\r\n";
        i += 2;
      } else if (i < text.size()) {
        out += text[i++];
      }
    } else {
      out += text[i++];
    }
  }
  return out;
}

}  // namespace qob::testing
