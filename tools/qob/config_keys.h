// The keys of twmta.ini that the mail system reads: default, buffer, and what kind of value each
// has.
#ifndef TOOLS_QOB_CONFIG_KEYS_H
#define TOOLS_QOB_CONFIG_KEYS_H

#include <cstddef>
#include <span>
#include <string_view>

namespace cli {

enum class ValueKind { kText, kSwitch, kTrueFalse, kNumber, kFolder, kFile, kZone, kWord };

struct KeyRow {
  const char* section;
  const char* key;
  const char* default_value;  // "" when there is none
  std::size_t buffer_bytes;   // with the NUL; a longer value is cut to one byte less
  ValueKind kind;
  const char* words = "";  // for kWord, divided by blanks
  bool exact = false;      // two keys that differ in case only: this spelling is the key
};

std::span<const KeyRow> KnownKeys();
// The row that a key of the file stands for, as the system looks it up; null for a key that nothing
// reads.
const KeyRow* FindKey(std::string_view section, std::string_view key);
bool IsKnownSection(std::string_view section);

bool EqualFold(std::string_view left, std::string_view right);

}  // namespace cli

#endif
