// The settings everybody reads: client name, directories, and the keys of "twmta.ini", fresh on
// every read.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/profile.h"

namespace qob {

// The one configuration file; a bare name, so the profile layer looks for it in the configuration
// directory.
inline constexpr char kConfigFile[] = "twmta.ini";

// The name every log line carries; "" before start-up.
const char* ClientName();
// "" when not set.
const char* QueueDir();
const char* TempDir();
const char* InstallDir();

// How profile calls are served. Both modes go to the file; with any other value every profile call
// gives 0 and touches nothing.
inline constexpr std::int32_t kProfileIni = 0;
inline constexpr std::int32_t kProfileConfigApi = 1;
std::int32_t ProfileMode();
void SetProfileMode(std::int32_t mode);

// The profile layer. Never fails: without memory for the file the default is the value.
std::uint32_t ProfileText(const char* section, const char* key, const char* fallback, char* buffer,
                          std::uint32_t size, const char* file);
std::int32_t ProfileInt(const char* section, const char* key, std::int32_t fallback,
                        const char* file);

// True on success; throws std::bad_alloc.
bool WriteProfileText(const char* section, const char* key, const char* value, const char* file);

// The leading decimal number of a text: white space, a sign, digits; held at the ends of 32 bits. 0
// for other text.
std::int32_t LeadingNumber(std::string_view text);

// The keys of "twmta.ini" through the profile layer, all from one look at the file.
class ConfigReader {
 public:
  ConfigReader() : file_(kConfigFile) {}
  // The key's value, cut to size - 1 bytes as a buffer of `size` cuts it. Throws std::bad_alloc.
  std::string Text(const char* section, const char* key, const char* fallback,
                   std::size_t size) const;
  // That value equals `expected`, ASCII case ignored. Does not throw; size at most 512.
  bool Is(const char* section, const char* key, const char* fallback, std::size_t size,
          std::string_view expected) const;

 private:
  std::uint32_t Read(const char* section, const char* key, const char* fallback, char* buffer,
                     std::size_t size) const;
  os::ProfileReader file_;
};

// One key alone.
inline std::string ConfigText(const char* section, const char* key, const char* fallback,
                              std::size_t size) {
  return ConfigReader().Text(section, key, fallback, size);
}
inline bool ConfigIs(const char* section, const char* key, const char* fallback, std::size_t size,
                     std::string_view expected) {
  return ConfigReader().Is(section, key, fallback, size, expected);
}
// For two keys that differ in case only and mean different things: the entry spelled exactly like
// `key` wins, one in another case counts unless it is spelled exactly like `other`. Does not throw;
// size at most 512.
bool ConfigIsExact(const char* section, const char* key, const char* other, const char* fallback,
                   std::size_t size, std::string_view expected);
// As QOBGetPrivateProfileInt. Does not throw.
std::int32_t ConfigInt(const char* section, const char* key, std::int32_t fallback);

}  // namespace qob
