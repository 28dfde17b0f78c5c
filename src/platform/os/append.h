// Files that several processes append whole lines to.
#pragma once
#include <cstddef>
#include <string_view>

#include "platform/os/file.h"
#include "platform/os/result.h"

namespace qob::os {

inline constexpr Handle kStandardError = 2;

// Opened or made (mode 0600, never through a symbolic link) for appending; no share locks.
Result<Handle> OpenForAppend(std::string_view path);
// One system call: other processes' lines never come in between. A short count is a line that was
// cut.
Result<std::size_t> AppendOnce(Handle file, const void* from, std::size_t size);
// The path still leads to that open file.
bool LeadsTo(std::string_view path, Handle file);

}  // namespace qob::os
