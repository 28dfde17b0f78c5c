// Names in the file system: existence, size, copy, rename, remove, list. Paths are in library form.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/result.h"

namespace qob::os {

bool Exists(std::string_view path);
// Readable by this process and not a directory.
bool IsReadableFile(std::string_view path);
bool IsDirectory(std::string_view path);
// A directory in which this process may make and remove files.
bool IsWritableDirectory(std::string_view path);
Result<std::int64_t> SizeOf(std::string_view path);

// Each gives 0 or the error.
int RemoveFile(std::string_view path);
// Atomic; with replace false an existing target is an error and stays. Across file systems the file
// is copied beside the target first.
int RenameFile(std::string_view from, std::string_view to, bool replace);
// The copy appears under its name only when it is complete; mode of the source.
int CopyFile(std::string_view from, std::string_view to, bool replace);
// `to` gets the permissions of `from`.
int CopyMode(std::string_view from, std::string_view to);
// `to` gets the owner and group of `from`; nothing is asked of the system when it has them already.
int CopyOwner(std::string_view from, std::string_view to);
int MakeDirectory(std::string_view path);
// Made by this call, empty; kExists when anything stands there.
int MakeEmptyFile(std::string_view path);
// The same with those bytes in it: nobody ever sees the file without them, also behind a power cut.
// It is on stable storage afterwards. An error of the last step, flushing the directory, leaves it
// standing.
int MakeFileWith(std::string_view path, std::string_view bytes);

// Names in `directory` that end in `suffix` (ASCII case ignored), directories included, "." and
// ".." not; in no order.
Result<std::vector<std::string>> ListNames(std::string_view directory, std::string_view suffix);

}  // namespace qob::os
