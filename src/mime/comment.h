// White space and comments of structured header values (RFC 822, section 3.1.4): parentheses nest,
// a backslash takes the next character with it. They are skipped between tokens only; the readers
// of quoted strings never call this.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

inline constexpr char kBadComment[] = "Invalid comment or continuation.";

// Moves *at behind the white space and comments that stand there; false, and *at at the end, when a
// comment is not closed.
bool SkipComments(std::string_view text, std::size_t* at);
// Place of the first byte of `wanted` at or behind `from` that stands outside comments, or
// text.size() when there is none; npos when a comment is not closed.
std::size_t FindOutsideComments(std::string_view text, std::size_t from, std::string_view wanted);
// The text without the white space and comments around it. An unclosed comment counts as text.
std::string_view TrimComments(std::string_view text);

// No control characters and none of the tspecials ()<>@,;\:"/[]?= (RFC 1341, section 4), and not
// empty.
bool IsMimeToken(std::string_view text);

}  // namespace qob
