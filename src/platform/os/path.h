// Paths of the library: composed with a backslash on every system, split at either sign, turned
// into the system's own form only where a system call is made.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace qob::os {

// Every backslash becomes a slash; nothing else changes.
std::string NativePath(std::string_view path);

// Place of the last '\\' or '/', or npos.
constexpr std::size_t LastSeparator(std::string_view path) { return path.find_last_of("\\/"); }

// What stands behind the last separator; the whole text when there is none.
constexpr std::string_view FileNamePart(std::string_view path) {
  const std::size_t at = LastSeparator(path);
  return at == std::string_view::npos ? path : path.substr(at + 1);
}

}  // namespace qob::os
