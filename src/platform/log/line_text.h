// How a text stands in a log line.
#pragma once
#include <string>
#include <string_view>

namespace qob::log {

// Appends the text with its control characters as \xHH: the ASCII ones, and those of the range 0x80
// to 0x9F, alone or as UTF-8. Every other byte stays, a backslash too. With `blanks` set, a blank
// becomes \x20.
void AppendVisible(std::string_view text, bool blanks, std::string* line);

}  // namespace qob::log
