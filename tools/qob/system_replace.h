// A file of the user's that gets new contents in one step: whoever opens it sees the old file or
// the new one, whole.
#ifndef TOOLS_QOB_SYSTEM_REPLACE_H
#define TOOLS_QOB_SYSTEM_REPLACE_H

#include <cstdint>
#include <optional>
#include <string>

namespace cli::sys {

// What stood under a name when it was looked at.
struct Original {
  std::string path;  // without links
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size_bytes = 0;
  std::int64_t changed_ns = 0;
};

// Nothing, and *error set, when the file cannot be found; *error 0: it is no regular file.
std::optional<Original> LookAtOriginal(const std::string& path, int* error);

// Gives it the bytes of source, with the same owner, group and mode, flushed before it takes the
// name. 0 or the errno; then the file is as it was.
int ReplaceOriginal(const Original& original, const std::string& source);
// The error of ReplaceOriginal that says that somebody has written to the file since.
bool IsChangedMeanwhile(int error);

}  // namespace cli::sys

#endif
