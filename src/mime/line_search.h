// Finds the few line starts of a body that can matter, many bytes at a time.
//
// A body is never cut into lines: what the parser waits for begins with one of at most four bytes
// (a hyphen for delimiter lines; a letter or a parenthesis for embedded blocks), so sixteen
// positions are looked at together for "line feed, then one of these".
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

// The bytes with which a line must begin to be looked at. A set of fewer than four repeats one of
// its members.
struct LineStarts {
  char bytes[4];
  bool only_first;  // all four are the same

  constexpr explicit LineStarts(char a) : bytes{a, a, a, a}, only_first(true) {}
  constexpr LineStarts(char a, char b, char c, char d) : bytes{a, b, c, d}, only_first(false) {}
  constexpr bool Has(char c) const {
    return c == bytes[0] || c == bytes[1] || c == bytes[2] || c == bytes[3];
  }
};

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Offset of the first byte behind a line feed that is one of `starts`; kNotFound when the text
// holds none. A line feed that ends the text finds nothing.
std::size_t FindLineStart(std::string_view text, const LineStarts& starts);
// Offset of the first colon, or of the first hyphen behind a line feed if that comes earlier;
// kNotFound without either.
std::size_t FindColonOrHyphenLine(std::string_view text);

}  // namespace qob
