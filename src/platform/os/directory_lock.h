// One process at a time at work on the names of a directory. The lock is on the directory itself,
// so that no file has to be made for it, and it is gone with its holder.
#pragma once
#include <string_view>

#include "platform/os/file.h"

namespace qob::os {

class DirectoryLock {
 public:
  DirectoryLock() = default;
  // Also when a child of a fork still has the directory open.
  ~DirectoryLock();
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  // 0; ETIMEDOUT; or the error.
  int Take(std::string_view directory, int wait_ms);

 private:
  Handle directory_ = kNoHandle;
};

}  // namespace qob::os
