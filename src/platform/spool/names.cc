#include "platform/spool/names.h"

#include <cstdio>

#include "platform/os/ascii.h"
#include "platform/os/path.h"

namespace qob::spool {
namespace {

constexpr std::size_t kNameInKey = 14;
constexpr std::size_t kDirectoryName = 15;
constexpr std::size_t kDigits = 8;

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

std::string_view WithoutTrailingSeparators(std::string_view path) {
  while (!path.empty() && IsSeparator(path.back())) path.remove_suffix(1);
  return path;
}

// One to eight hexadecimal digits and nothing else.
std::optional<std::uint32_t> Hexadecimal(std::string_view digits) {
  if (digits.empty() || digits.size() > kDigits) return std::nullopt;
  std::uint32_t value = 0;
  for (const char c : digits) {
    const int digit = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<std::uint32_t>(digit);
  }
  return value;
}

std::string UpperDigits(std::uint32_t id) {
  char digits[kDigits + 1];
  std::snprintf(digits, sizeof digits, "%08X", id);
  return digits;
}

}  // namespace

std::string QueuePath(std::string_view directory, std::uint32_t id) {
  std::string path(directory);
  path += '\\';
  path += UpperDigits(id);
  return path;
}

std::string RecordKey(std::uint32_t id, char kind) { return UpperDigits(id) + kind; }

std::string StoredKey(std::uint32_t id, char kind) {
  std::string key = RecordKey(id, kind);
  for (char& c : key) c = static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  return key;
}

std::string RecordKeyOf(std::string_view queue_path, char kind) {
  std::string key(os::FileNamePart(queue_path).substr(0, kNameInKey));
  key += kind;
  return key;
}

std::optional<std::uint32_t> ReadId(std::string_view digits) {
  return digits.size() == kDigits ? Hexadecimal(digits) : std::nullopt;
}

std::optional<std::uint32_t> IdOfKey(std::string_view key) {
  // The last character goes first: a message's "F" is a hexadecimal digit too.
  if (!key.empty()) key.remove_suffix(1);
  return Hexadecimal(key);
}

int SeparatorRuns(std::string_view path) {
  int runs = 0;
  bool inside = false;
  for (const char c : path) {
    if (IsSeparator(c) && !inside) ++runs;
    inside = IsSeparator(c);
  }
  return runs;
}

std::string_view DirectoryName(std::string_view directory) {
  return os::FileNamePart(WithoutTrailingSeparators(directory)).substr(0, kDirectoryName);
}

std::string_view HoldingDirectoryName(std::string_view queue_path) {
  const std::size_t name = os::LastSeparator(queue_path);
  if (name == std::string_view::npos) return {};
  const std::string_view directory = WithoutTrailingSeparators(queue_path.substr(0, name));
  if (os::LastSeparator(directory) == std::string_view::npos) return {};
  return DirectoryName(directory);
}

}  // namespace qob::spool
