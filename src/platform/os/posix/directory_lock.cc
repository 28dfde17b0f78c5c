#include "platform/os/directory_lock.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"
#include "platform/os/process.h"

namespace qob::os {
namespace {

constexpr int kPauseMs = 5;

}  // namespace

int DirectoryLock::Take(std::string_view directory, int wait_ms) {
  const NativeName name(directory);
  if (name.error() != 0) return name.error();
  const int fd = System(Call::kOpen, name.view(),
                        [&] { return open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (fd < 0) return errno;
  int error = 0;
  for (int waited = 0;; waited += kPauseMs) {
    error = Outcome(Call::kLock, name.view(), [&] { return flock(fd, LOCK_EX | LOCK_NB); });
    if (error != EWOULDBLOCK || waited >= wait_ms) break;
    SleepMs(std::min(kPauseMs, wait_ms - waited));
  }
  if (error != 0) {
    close(fd);
    return error == EWOULDBLOCK ? ETIMEDOUT : error;
  }
  directory_ = fd;
  return 0;
}

DirectoryLock::~DirectoryLock() {
  if (directory_ == kNoHandle) return;
  flock(static_cast<int>(directory_), LOCK_UN);
  close(static_cast<int>(directory_));
}

}  // namespace qob::os
