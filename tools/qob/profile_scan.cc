#include "profile_scan.h"

#include <map>

namespace cli {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kSpace = " \t\v\f";

std::string_view Trimmed(std::string_view text, std::string_view signs) {
  const std::size_t first = text.find_first_not_of(signs);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(signs) - first + 1);
}

std::string_view ValueOf(std::string_view written) {
  const std::string_view value = Trimmed(written, " \t");
  const bool quoted = value.size() >= 2 && value.front() == value.back() &&
                      (value.front() == '"' || value.front() == '\'');
  return quoted ? value.substr(1, value.size() - 2) : value;
}

// Takes one line off the text; it ends at LF, CR or CR LF.
std::string_view TakeLine(std::string_view* text) {
  const std::size_t end = text->find_first_of("\r\n");
  const std::string_view line = text->substr(0, end);
  if (end == std::string_view::npos) {
    *text = {};
    return line;
  }
  const bool two = text->substr(end).starts_with("\r\n");
  text->remove_prefix(end + (two ? 2 : 1));
  return line;
}

std::string Folded(std::string_view text) {
  std::string folded(text);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

class Scanner {
 public:
  ProfileScan Scan(std::string_view text);

 private:
  void TakeSection(std::string_view name);
  void TakeEntry(std::string_view line);

  ProfileScan scan_;
  std::map<std::string, std::size_t> first_line_of_;
  std::size_t line_ = 0;
};

void Scanner::TakeSection(std::string_view name) {
  const auto [found, fresh] = first_line_of_.emplace(Folded(name), line_);
  scan_.sections.push_back({line_, std::string(name), found->second});
}

void Scanner::TakeEntry(std::string_view line) {
  ProfileEntry entry;
  entry.line = line_;
  if (!scan_.sections.empty()) {
    entry.section = scan_.sections.back().name;
    entry.in_first = scan_.sections.back().line == scan_.sections.back().first_line;
  }
  const std::size_t equals = line.find('=');
  if (equals != std::string_view::npos) {
    entry.key = Trimmed(line.substr(0, equals), kSpace);
    entry.value = ValueOf(line.substr(equals + 1));
  } else {
    entry.value = Trimmed(line, kSpace);
  }
  scan_.entries.push_back(std::move(entry));
}

ProfileScan Scanner::Scan(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  while (!text.empty()) {
    ++line_;
    std::string_view line = TakeLine(&text);
    line.remove_prefix(std::min(line.find_first_not_of(kSpace), line.size()));
    if (line.empty() || line.front() == ';') continue;
    const std::size_t close = line.find(']');
    if (line.front() == '[' && close != std::string_view::npos) {
      TakeSection(Trimmed(line.substr(1, close - 1), kSpace));
    } else {
      TakeEntry(line);
    }
  }
  return std::move(scan_);
}

}  // namespace

ProfileScan ScanProfile(std::string_view text) { return Scanner().Scan(text); }

const ProfileEntry* EntryOf(const ProfileScan& scan, std::string_view section,
                            std::string_view key) {
  for (const ProfileEntry& entry : scan.entries) {
    const bool same =
        entry.in_first && EqualFold(entry.section, section) && EqualFold(entry.key, key);
    if (same && !entry.section.empty() && !entry.key.empty()) return &entry;
  }
  return nullptr;
}

// Of two keys that differ in case only, the one in exactly that case wins; a match in other case
// counts only if it is not the exact spelling of the other key.
const ProfileEntry* EntryOf(const ProfileScan& scan, const KeyRow& row) {
  if (!row.exact) return EntryOf(scan, row.section, row.key);
  const ProfileEntry* loose = nullptr;
  for (const ProfileEntry& entry : scan.entries) {
    if (!entry.in_first || !EqualFold(entry.section, row.section) || !EqualFold(entry.key, row.key))
      continue;
    if (entry.key == row.key) return &entry;
    const bool of_other = std::string_view(FindKey(entry.section, entry.key)->key) == entry.key;
    if (loose == nullptr && !of_other) loose = &entry;
  }
  return loose;
}

}  // namespace cli
