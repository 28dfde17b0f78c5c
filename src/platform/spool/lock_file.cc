#include "platform/spool/lock_file.h"

#include "platform/os/directory.h"

namespace qob::spool {

bool MakeLockFile(std::string_view path) { return os::MakeEmptyFile(path) == 0; }
bool RemoveLockFile(std::string_view path) { return os::RemoveFile(path) == 0; }

}  // namespace qob::spool
