// The profile layer and the process's own settings.
#include "frame/config.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstring>
#include <limits>

#include "platform/os/ascii.h"
#include "platform/os/profile.h"
#include "platform/spool/site.h"

namespace qob {
namespace {

std::atomic<std::int32_t> profile_mode{kProfileIni};

constexpr std::size_t kLongestSwitch = 512;

bool ModeServes(std::int32_t mode) { return mode == kProfileIni || mode == kProfileConfigApi; }

// What the profile layer gives when the file cannot be looked at: the default, cut and without
// trailing blanks.
std::uint32_t CopyFallback(const char* fallback, char* buffer, std::uint32_t size) {
  std::string_view text = fallback == nullptr ? "" : fallback;
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return static_cast<std::uint32_t>(length);
}

}  // namespace

const char* ClientName() { return spool::TheSite().client; }
const char* QueueDir() { return spool::TheSite().queue_dir; }
const char* TempDir() { return spool::TheSite().temp_dir; }
const char* InstallDir() { return spool::TheSite().install_dir; }

std::int32_t ProfileMode() { return profile_mode.load(std::memory_order_relaxed); }
void SetProfileMode(std::int32_t mode) { profile_mode.store(mode, std::memory_order_relaxed); }

std::uint32_t ProfileText(const char* section, const char* key, const char* fallback, char* buffer,
                          std::uint32_t size, const char* file) {
  if (!ModeServes(ProfileMode()) || buffer == nullptr || size == 0) return 0;
  if (file == nullptr) return CopyFallback(fallback, buffer, size);
  try {
    return os::ReadProfile(section, key, fallback, buffer, size, file);
  } catch (...) {
    return CopyFallback(fallback, buffer, size);
  }
}

std::int32_t ProfileInt(const char* section, const char* key, std::int32_t fallback,
                        const char* file) {
  std::array<char, 16> fallback_text{};
  std::to_chars(fallback_text.data(), fallback_text.data() + fallback_text.size() - 1, fallback);
  std::array<char, 64> value{};
  ProfileText(section, key, fallback_text.data(), value.data(), value.size(), file);
  return LeadingNumber(value.data());
}

bool WriteProfileText(const char* section, const char* key, const char* value, const char* file) {
  if (!ModeServes(ProfileMode()) || section == nullptr || file == nullptr) return false;
  return os::WriteProfile(section, key, value, file);
}

std::int32_t LeadingNumber(std::string_view text) {
  constexpr std::int64_t kLimit = std::numeric_limits<std::int32_t>::max();
  text = ascii::TrimLeft(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  std::int64_t number = 0;
  for (char c : text) {
    if (!ascii::IsDigit(static_cast<unsigned char>(c))) break;
    number = std::min(number * 10 + (c - '0'), kLimit + 1);
  }
  return static_cast<std::int32_t>(negative ? -number : std::min(number, kLimit));
}

std::uint32_t ConfigReader::Read(const char* section, const char* key, const char* fallback,
                                 char* buffer, std::size_t size) const {
  if (!ModeServes(ProfileMode())) return 0;
  return file_.Read(section, key, fallback, buffer, static_cast<std::uint32_t>(size));
}

std::string ConfigReader::Text(const char* section, const char* key, const char* fallback,
                               std::size_t size) const {
  std::string value(size, '\0');
  value.resize(Read(section, key, fallback, value.data(), size));
  return value;
}

bool ConfigReader::Is(const char* section, const char* key, const char* fallback, std::size_t size,
                      std::string_view expected) const {
  std::array<char, kLongestSwitch> value{};
  const std::size_t room = std::min(size, value.size());
  const std::uint32_t length = Read(section, key, fallback, value.data(), room);
  return ascii::EqualFold({value.data(), length}, expected);
}

bool ConfigIsExact(const char* section, const char* key, const char* other, const char* fallback,
                   std::size_t size, std::string_view expected) {
  if (!ModeServes(ProfileMode())) return false;
  std::array<char, kLongestSwitch> value{};
  const auto room = static_cast<std::uint32_t>(std::min(size, value.size()));
  const std::uint32_t length =
      os::ReadProfileExact(section, key, other, fallback, value.data(), room, kConfigFile);
  return ascii::EqualFold({value.data(), length}, expected);
}

std::int32_t ConfigInt(const char* section, const char* key, std::int32_t fallback) {
  return ProfileInt(section, key, fallback, kConfigFile);
}

}  // namespace qob
