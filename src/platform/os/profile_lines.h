// The lines of a profile file and what each of them is; shared by the reader and the editor.
#pragma once
#include <string_view>

namespace qob::os {

// The first line without its end; *end receives the line end's bytes (empty at the end of the
// text). Takes both off `rest`.
std::string_view TakeProfileLine(std::string_view* rest, std::string_view* end);

struct ProfileLine {
  enum class Kind { kBlank, kComment, kSection, kEntry, kOther };
  Kind kind = Kind::kBlank;
  std::string_view name;   // of the section, or the key; trimmed
  std::string_view value;  // of an entry: everything behind the '='
};
ProfileLine ClassifyProfileLine(std::string_view line);

// What a reader gets for the text behind the '='.
std::string_view ProfileValue(std::string_view written);

// The length of a byte order mark at the start.
std::size_t ProfileMark(std::string_view text);

}  // namespace qob::os
