// Lock files: made by one, refused to all others until removed.
#pragma once
#include <string_view>

namespace qob::spool {

// True when this call made the file. path is complete (".lck" included).
bool MakeLockFile(std::string_view path);
bool RemoveLockFile(std::string_view path);

}  // namespace qob::spool
