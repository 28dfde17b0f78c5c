// One change to a profile file's text. Everything that is not changed keeps its bytes: comments,
// order, blank lines, line ends, a byte order mark, and on a changed line what stands before the
// value.
#include <optional>
#include <string>
#include <string_view>

#include "platform/os/ascii.h"
#include "platform/os/profile_lines.h"
#include "platform/os/profile_text.h"

namespace qob::os {
namespace {

struct Place {
  std::size_t start = 0;  // offsets in the text
  std::size_t end = 0;    // line end included
};

// Where in the text a section and a key stand.
struct Found {
  bool section = false;
  Place header_to_end;        // from the section's header to the next header or the end of the text
  std::size_t append_at = 0;  // behind the section's last line that is not blank
  std::optional<Place> entry;
  std::size_t value_start = 0;  // behind the '='
  std::size_t blanks = 0;       // between the '=' and the value
  std::size_t value_end = 0;
};

Found Locate(std::string_view text, std::string_view section, const std::string_view* key) {
  Found found;
  std::string_view rest = text.substr(ProfileMark(text));
  bool inside = false;
  while (!rest.empty()) {
    const std::size_t start = text.size() - rest.size();
    std::string_view line_end;
    const std::string_view line = TakeProfileLine(&rest, &line_end);
    const std::size_t end = text.size() - rest.size();
    const ProfileLine what = ClassifyProfileLine(line);
    if (what.kind == ProfileLine::Kind::kSection) {
      if (inside) {
        found.header_to_end.end = start;
        return found;
      }
      inside = ascii::EqualFold(what.name, section);
      if (inside) {
        found.section = true;
        found.header_to_end.start = start;
      }
    }
    if (!inside) continue;
    if (what.kind != ProfileLine::Kind::kBlank) found.append_at = end;
    if (key != nullptr && !found.entry && what.kind == ProfileLine::Kind::kEntry &&
        ascii::EqualFold(what.name, *key)) {
      found.entry = Place{start, end};
      found.value_end = start + line.size();
      found.value_start = found.value_end - what.value.size();
      const std::size_t first = what.value.find_first_not_of(" \t");
      found.blanks = first == std::string_view::npos ? 0 : first;
    }
  }
  found.header_to_end.end = text.size();
  return found;
}

// As the first line of the text ends.
std::string_view LineEndOf(std::string_view text) {
  std::string_view end;
  TakeProfileLine(&text, &end);
  return end.empty() ? std::string_view("\n") : end;
}

std::string Replaced(std::string_view text, std::size_t start, std::size_t end,
                     std::string_view by) {
  std::string result;
  result.reserve(text.size() - (end - start) + by.size());
  result.append(text.substr(0, start)).append(by).append(text.substr(end));
  return result;
}

// `lines` put in at `at`; a text before it that lacks its line end gets one.
std::string Inserted(std::string_view text, std::size_t at, std::string lines,
                     std::string_view line_end) {
  const bool after_open_line =
      at > ProfileMark(text) && text[at - 1] != '\n' && text[at - 1] != '\r';
  if (after_open_line) lines.insert(0, line_end);
  return Replaced(text, at, at, lines);
}

}  // namespace

std::string EditProfile(std::string_view text, std::string_view section,
                        const std::string_view* key, const std::string_view* value) {
  section = ascii::Trim(section);
  std::string_view wanted;
  if (key != nullptr) {
    wanted = ascii::Trim(*key);
    key = &wanted;
  }
  const Found found = Locate(text, section, key);
  if (key == nullptr) {
    if (!found.section) return std::string(text);
    return Replaced(text, found.header_to_end.start, found.header_to_end.end, {});
  }
  if (value == nullptr) {
    if (!found.entry) return std::string(text);
    return Replaced(text, found.entry->start, found.entry->end, {});
  }
  if (found.entry) {
    const bool own_blanks = value->empty() || value->starts_with(' ') || value->starts_with('\t');
    const std::size_t start = found.value_start + (own_blanks ? 0 : found.blanks);
    return Replaced(text, start, found.value_end, *value);
  }

  const std::string_view line_end = LineEndOf(text);
  std::string lines;
  if (!found.section) lines.append("[").append(section).append("]").append(line_end);
  lines.append(*key).append("=").append(*value).append(line_end);
  return Inserted(text, found.section ? found.append_at : text.size(), std::move(lines), line_end);
}

}  // namespace qob::os
