// UTF-8: is a text valid, how is a text of unknown bytes shown on a terminal or put into JSON.
#ifndef TOOLS_QOB_UTF8_H
#define TOOLS_QOB_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

struct Utf8Step {
  std::size_t length = 1;  // bytes to go on by, at least 1
  std::uint32_t code = 0;  // the character, when valid
  bool valid = false;
};

// The character at the start of a text that is not empty: well-formed as RFC 3629, no surrogates,
// shortest form.
Utf8Step NextCharacter(std::string_view text);

bool IsUtf8(std::string_view text);

// The text with every malformed byte as U+FFFD.
std::string Repaired(std::string_view text);

// One line that is safe to show: line breaks with the blanks after them become one blank, control
// characters, malformed bytes and characters that turn the direction of writing become escapes
// (\x1b, \u202e).
std::string Visible(std::string_view text);

// True for characters that have no place in a shown text or a file name: controls, line separators,
// direction marks, zero-width characters, private use and non-characters at the end of the planes.
bool IsUnsafeCharacter(std::uint32_t code);

std::string Base64(std::string_view bytes);

}  // namespace cli

#endif
