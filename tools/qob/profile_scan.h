// The configuration file line by line, by the rules of the profile calls: what each line is, which
// value counts, and where it stands.
#ifndef TOOLS_QOB_PROFILE_SCAN_H
#define TOOLS_QOB_PROFILE_SCAN_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config_keys.h"

namespace cli {

struct ProfileEntry {
  std::size_t line = 0;  // from 1
  std::string section;   // "" before the first section
  std::string key;       // "" for a line that is no entry
  std::string value;     // trimmed, one pair of quotes taken off
  bool in_first = true;  // false in a section whose name stood before: such an entry is never read
};

struct ProfileSection {
  std::size_t line = 0;
  std::string name;
  std::size_t first_line =
      0;  // where the section of that name began first; equal to line for the first one
};

struct ProfileScan {
  std::vector<ProfileSection> sections;
  std::vector<ProfileEntry> entries;
};

ProfileScan ScanProfile(std::string_view text);

// The entry that gives a known key its value, or null.
const ProfileEntry* EntryOf(const ProfileScan& scan, const KeyRow& row);
// The entry that a plain look-up finds: the first of that name, whatever its case.
const ProfileEntry* EntryOf(const ProfileScan& scan, std::string_view section,
                            std::string_view key);

}  // namespace cli

#endif
