// qob config check: mistakes in the site's configuration, each with its line.
#include <algorithm>

#include "commands.h"
#include "json_line.h"
#include "output.h"
#include "site_profile.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.config-check/1";

struct Finding {
  std::size_t line;  // 0: the whole file
  std::string text;
};

std::string Named(const ProfileEntry& entry) { return "[" + entry.section + "] " + entry.key; }

class Checker {
 public:
  explicit Checker(const SiteProfile& profile) : profile_(profile) {}

  std::vector<Finding> Check();

 private:
  void Add(std::size_t line, const std::string& text) { findings_.push_back({line, text}); }
  void CheckSection(const ProfileSection& section);
  void CheckEntry(const ProfileEntry& entry);
  void CheckValue(const ProfileEntry& entry, const KeyRow& row);
  void CheckKind(const ProfileEntry& entry, const KeyRow& row);
  void CheckFolder(const ProfileEntry& entry);

  const SiteProfile& profile_;
  std::vector<Finding> findings_;
};

std::vector<Finding> Checker::Check() {
  if (!profile_.exists()) Add(0, "does not exist: every value is its default");
  for (const ProfileSection& section : profile_.scan().sections) CheckSection(section);
  for (const ProfileEntry& entry : profile_.scan().entries) CheckEntry(entry);
  std::stable_sort(
      findings_.begin(), findings_.end(),
      [](const Finding& left, const Finding& right) { return left.line < right.line; });
  return findings_;
}

void Checker::CheckSection(const ProfileSection& section) {
  if (section.line != section.first_line) {
    Add(section.line, "section [" + section.name + "] stands on line " +
                          std::to_string(section.first_line) +
                          " already: nothing below this line is read");
  } else if (!IsKnownSection(section.name)) {
    Add(section.line, "unknown section [" + section.name + "]");
  }
}

void Checker::CheckEntry(const ProfileEntry& entry) {
  if (entry.key.empty())
    return Add(entry.line,
               "not an entry, a section or a comment: \"" + entry.value + "\" is not read");
  if (entry.section.empty())
    return Add(entry.line,
               "key \"" + entry.key + "\" stands before the first section and is not read");
  if (!entry.in_first || !IsKnownSection(entry.section)) return;  // told for its section
  const KeyRow* const row = FindKey(entry.section, entry.key);
  if (row == nullptr) return Add(entry.line, "unknown key " + Named(entry));
  const ProfileEntry* const first = EntryOf(profile_.scan(), *row);
  if (first != nullptr && first != &entry) {
    return Add(entry.line, Named(entry) + " is set on line " + std::to_string(first->line) +
                               " already: this value is not read");
  }
  CheckValue(entry, *row);
}

void Checker::CheckValue(const ProfileEntry& entry, const KeyRow& row) {
  const std::size_t longest = row.buffer_bytes - 1;
  if (entry.value.size() > longest) {
    std::string text = Named(entry) + " is longer than " + std::to_string(longest) +
                       " bytes and is cut to \"" + entry.value.substr(0, longest) + "\"";
    if (row.kind == ValueKind::kZone) text += "; TimeZone=xxx keeps the system's zone";
    return Add(entry.line, text);
  }
  CheckKind(entry, row);
}

bool IsOneOf(const std::string& value, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return EqualFold(value, word); });
}

bool IsNumber(const std::string& value) {
  const std::size_t first = value.starts_with('-') || value.starts_with('+') ? 1 : 0;
  return value.size() > first && value.find_first_not_of("0123456789", first) == std::string::npos;
}

bool IsListed(const std::string& value, std::string_view words) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(' '), words.size());
    if (EqualFold(value, words.substr(0, end))) return true;
    words.remove_prefix(std::min(words.size(), end + 1));
  }
  return false;
}

void Checker::CheckKind(const ProfileEntry& entry, const KeyRow& row) {
  const std::string shown = "\"" + entry.value + "\"";
  switch (row.kind) {
    case ValueKind::kSwitch:
      if (!IsOneOf(entry.value, {"YES", "NO"}))
        Add(entry.line, Named(entry) + " is " + shown + ": use YES or NO");
      return;
    case ValueKind::kTrueFalse:
      if (!IsOneOf(entry.value, {"TRUE", "FALSE"}))
        Add(entry.line, Named(entry) + " is " + shown + ": use TRUE or FALSE");
      return;
    case ValueKind::kNumber:
      if (!IsNumber(entry.value)) Add(entry.line, Named(entry) + " is " + shown + ": use a number");
      return;
    case ValueKind::kWord:
      if (!IsListed(entry.value, row.words))
        Add(entry.line, Named(entry) + " is " + shown + ": use one of " + row.words);
      return;
    case ValueKind::kFolder:
      return CheckFolder(entry);
    case ValueKind::kText:
    case ValueKind::kFile:
    case ValueKind::kZone:
      return;
  }
}

void Checker::CheckFolder(const ProfileEntry& entry) {
  std::string path = entry.value;
  std::replace(path.begin(), path.end(), '\\', '/');
  if (path.empty())
    return Add(entry.line, Named(entry) + " is empty: name a directory, or remove the line");
  const sys::Status status = sys::StatusOf(path);
  if (status.kind == sys::Kind::kMissing)
    return Add(entry.line, Named(entry) + ": " + path + ": " + sys::ErrorText(status.error) +
                               ": make the directory");
  if (status.kind != sys::Kind::kFolder)
    Add(entry.line, Named(entry) + ": " + path + ": not a directory");
}

void Print(const Arguments& arguments, const SiteProfile& profile, const Finding& finding) {
  if (!arguments.Has("--json")) {
    const std::string line = finding.line == 0 ? "" : std::to_string(finding.line) + ":";
    return Out().Line(Visible(profile.path() + ":" + line + " " + finding.text));
  }
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", profile.path());
  line["line"] = finding.line == 0 ? Json() : Json(finding.line);
  PutText(&line, "finding", finding.text);
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunConfigCheck(const Arguments& arguments) {
  const SiteProfile profile(arguments);
  const std::vector<Finding> findings = Checker(profile).Check();
  for (const Finding& finding : findings) Print(arguments, profile, finding);
  Out().Flush();
  return findings.empty() ? ExitCode::kOk : ExitCode::kConfig;
}

}  // namespace cli
