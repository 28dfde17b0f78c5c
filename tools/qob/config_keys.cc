#include "config_keys.h"

namespace cli {
namespace {

using enum ValueKind;

// Where several places read one key with buffers of different sizes, the smallest is what a value
// must fit into.
constexpr KeyRow kKeys[] = {
    {"Gateway", "TimeZone", "PST8PDT", 16, kZone},
    {"Gateway", "QueueDirectory", "", 260, kFolder},
    {"Gateway", "TemporaryDirectory", "", 260, kFolder},
    {"Gateway", "InstallationId", "*", 64, kText},
    {"Gateway", "LocalCharSet", "US-ASCII", 32, kText},
    {"Config", "InstallDirectory", "", 260, kFolder},
    {"Ldap", "HostName", "localhost", 128, kText},
    {"Connection", "GatewayHostName", "twgate", 128, kText},
    {"Connection", "GatewayDomain", "", 128, kText},
    {"Routing", "PrimaryRelayHostName", "", 128, kText},
    {"Options", "StrictMimeParsing", "YES", 16, kSwitch},
    {"Options", "AcceptBlankValueInContentTypeParm", "NO", 16, kSwitch},
    {"Options", "EnableRFC1522Encoding", "YES", 32, kSwitch},
    {"Options", "RFC1522codingMethod", "Quoted-printable", 64, kText},
    {"Options", "Force1522Decoding", "NO", 32, kSwitch},
    {"Options", "TabSize", "8", 10, kNumber},
    {"Options", "DisableJISinHeaders", "NO", 16, kSwitch},
    {"Options", "RepairDamagedJISinHeaders", "YES", 16, kSwitch},
    {"Options", "ScanForJIS", "", 16, kSwitch},
    {"Options", "RepairDamagedJIS", "YES", 16, kSwitch},
    {"Options", "InvalidCharacterMark", "", 32, kText},
    {"Options", "mimePreambleFile", "none", 260, kFile},
    {"Options", "useHostname", "YES", 16, kSwitch},
    {"Options", "qualifySenderHosts", "YES", 16, kSwitch},
    {"Options", "qualifyRecipientHosts", "YES", 16, kSwitch},
    {"Options", "qualifyAddress", "YES", 16, kSwitch},
    {"Options", "rrqHeader", "Return-Receipt-To", 128, kText},
    {"Options", "BounceSender", "postmaster", 128, kText},
    {"Options", "BounceToPostmaster", "NO", 4, kSwitch, "", true},
    {"Options", "bounceToPostmaster", "NO", 8, kSwitch, "", true},
    {"Submission", "Channel", "smtp", 64, kText},
    {"Debug", "LogFileIO", "FALSE", 10, kTrueFalse},
    {"Debug", "LogLocking", "NO", 256, kSwitch},
    {"Log", "Destination", "file", 32, kWord, "file stderr syslog"},
    {"Log", "Level", "6", 64, kNumber},
    {"Store", "Durability", "commit", 32, kWord, "commit system"},
    {"Store", "Group", "", 64, kText},
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool EqualFold(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (Lower(left[i]) != Lower(right[i])) return false;
  }
  return true;
}

std::span<const KeyRow> KnownKeys() { return kKeys; }

const KeyRow* FindKey(std::string_view section, std::string_view key) {
  const KeyRow* found = nullptr;
  for (const KeyRow& row : kKeys) {
    if (!EqualFold(section, row.section) || !EqualFold(key, row.key)) continue;
    if (key == row.key) return &row;
    if (found == nullptr) found = &row;
  }
  return found;
}

bool IsKnownSection(std::string_view section) {
  for (const KeyRow& row : kKeys) {
    if (EqualFold(section, row.section)) return true;
  }
  return false;
}

}  // namespace cli
