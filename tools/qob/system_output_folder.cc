// The folder that extracted files go to. Every name is made relative to the folder's descriptor and
// exclusively, so that a link planted under a name is never followed and a file that stands there
// is never overwritten by accident.
#include "system.h"
#include "system_cleanup.h"
#include "system_copy.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::sys {
namespace {

// mkdir -p with mode 0700; the result is judged by the open that follows.
void MakeFolders(const std::string& path) {
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    ::mkdir(path.substr(0, at).c_str(), 0700);
  }
  ::mkdir(path.c_str(), 0700);
}

int CopyAndClose(int from, int to) {
  const int error = CopyAll(from, to);
  if (::close(to) != 0 && error == 0) return errno;
  return error;
}

// A new file under a hidden name that nobody has; its descriptor, or -1.
int CreateReplacement(int folder, std::string* name) {
  constexpr int kTries = 100;
  for (int attempt = 0; attempt < kTries; ++attempt) {
    *name = ".qob-" + std::to_string(::getpid()) + "-" + std::to_string(attempt) + ".new";
    const int file = CreatePendingOutput(folder, *name);
    if (file >= 0 || errno != EEXIST) return file;
  }
  errno = EBUSY;
  return -1;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) {
  MakeFolders(path);
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ < 0) error_ = errno;
}

OutputFolder::~OutputFolder() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

Placed OutputFolder::Place(const std::string& source, const std::string& name, bool replace) {
  if (!replace) {
    const Placed moved = Move(source, name);
    if (moved != Placed::kFailed) return moved;
  }
  return Copy(source, name, replace);
}

// The cheap way, where source and folder share a file system that knows an exclusive rename.
Placed OutputFolder::Move(const std::string& source, const std::string& name) {
  if (::renameat2(AT_FDCWD, source.c_str(), descriptor_, name.c_str(), RENAME_NOREPLACE) == 0) {
    return Placed::kDone;
  }
  return Keep(errno);
}

Placed OutputFolder::Copy(const std::string& source, const std::string& name, bool replace) {
  const int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (from < 0) return Keep(errno);
  // A replacement is written under a name of its own first, so that the old file is there until the
  // new one is whole.
  std::string written = name;
  int to = -1;
  if (replace) {
    to = CreateReplacement(descriptor_, &written);
  } else {
    to = CreatePendingOutput(descriptor_, written);
  }
  int error = to < 0 ? errno : CopyAndClose(from, to);
  ::close(from);
  if (to < 0) return Keep(error);
  if (error == 0 && replace &&
      ::renameat(descriptor_, written.c_str(), descriptor_, name.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) ::unlinkat(descriptor_, written.c_str(), 0);
  PendingOutputDone();
  return error == 0 ? Placed::kDone : Keep(error);
}

Placed OutputFolder::Keep(int error) {
  error_ = error;
  if (error == EEXIST) return Placed::kExists;
  return error == ENAMETOOLONG ? Placed::kNameTooLong : Placed::kFailed;
}

}  // namespace cli::sys
