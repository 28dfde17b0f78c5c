// Names from the spool's counter, tried until one is free.
#include "util/temp_file.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "frame/config.h"
#include "platform/os/directory.h"
#include "platform/spool/counter.h"

namespace qob {
namespace {

constexpr std::size_t kLongestPrefix = 4;
constexpr int kNamesTried = 100;

// Eight digits, the prefix over the first of them: "MIME" and 123 give "MIME0123".
std::string FormatName(std::string_view prefix, std::int64_t number) {
  std::array<char, 24> digits{};
  std::snprintf(digits.data(), digits.size(), "%08u", static_cast<unsigned>(number));
  prefix = prefix.substr(0, kLongestPrefix);
  std::copy(prefix.begin(), prefix.end(), digits.begin());
  return digits.data();
}

}  // namespace

std::string TempName(std::string_view prefix) {
  const std::string directory = TempDir();
  if (directory.empty()) return {};
  for (int tried = 0; tried < kNamesTried; ++tried) {
    const std::int64_t number = spool::NextTemporary(directory);
    if (number < 0) return {};
    std::string path = directory + '\\' + FormatName(prefix, number);
    if (!os::Exists(path)) return path;
  }
  return {};
}

TempFile::~TempFile() { RemoveNow(); }

char* TempFile::HandOut() {
  char* copy = path_.empty() ? nullptr : HeapCopy(path_);
  if (copy != nullptr) path_.clear();
  return copy;
}

void TempFile::RemoveNow() {
  if (path_.empty()) return;
  os::RemoveFile(path_);
  path_.clear();
}

}  // namespace qob
