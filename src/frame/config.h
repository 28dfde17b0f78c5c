// The settings everybody reads: client name, directories, and the keys of "twmta.ini", fresh on every read.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qob {

// The name every log line carries; "" before start-up.
const char* ClientName();
// "" when not set.
const char* QueueDir();
const char* TempDir();
const char* InstallDir();

// The key's value from "twmta.ini" through the profile layer, cut to size - 1 bytes as a buffer of `size` cuts it.
std::string ConfigText(const char* section, const char* key, const char* fallback, std::size_t size);
// That value equals `expected`, ASCII case ignored.
bool ConfigIs(const char* section, const char* key, const char* fallback, std::size_t size, std::string_view expected);
// As QOBGetPrivateProfileInt.
std::int32_t ConfigInt(const char* section, const char* key, std::int32_t fallback);

}  // namespace qob
