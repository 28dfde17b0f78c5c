// Locks between processes on single bytes of a file. They belong to the process: a child of a fork
// has none of them, and they end with the process whatever its children do. They do not exclude two
// parts of one process from each other, and closing any descriptor of the file gives up all of
// them; so a process opens such a file once, and nothing else of it touches the file.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/os/file.h"
#include "platform/os/file_status.h"

namespace qob::os {

enum class Hold { kShared, kAlone };

class ByteLocks {
 public:
  // A file that stands; never through a link. Where it may only be read, kAlone cannot be had.
  static Result<std::unique_ptr<ByteLocks>> Open(std::string_view path);
  // Gives up what is held; in a child of a fork it leaves the descriptor open, for closing it would
  // give up what the child holds through another.
  ~ByteLocks();
  ByteLocks(const ByteLocks&) = delete;
  ByteLocks& operator=(const ByteLocks&) = delete;

  const FileStatus& file() const { return file_; }
  bool may_be_alone() const { return may_be_alone_; }
  // 0; kSharingViolation; or the error. Never waits.
  int Take(std::int64_t byte, Hold hold);
  void GiveUp(std::int64_t byte);
  // From the start of the file, as ReadFile.
  Result<std::size_t> Read(void* to, std::size_t size) const;

 private:
  ByteLocks() = default;
  int Lock(short type, std::int64_t byte);

  int fd_ = -1;
  std::uint32_t process_ = 0;
  FileStatus file_;
  bool may_be_alone_ = false;
};

}  // namespace qob::os
