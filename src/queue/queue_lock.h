// The locks that keep two processes off one message: "<queue path>.lck", whose existence is the
// lock. A refused lock is no failure and never logged; nobody takes one over from a process that
// died.
#pragma once
#include <optional>
#include <string_view>
#include <utility>

namespace qob {

// The locks of one exported call: [Debug] LogLocking is looked at once, when the first lock is
// taken or let go. Nothing here throws or needs memory.
class QueueLocks {
 public:
  // 0 taken by this call; os::kExists somebody has it; another error: it cannot be made.
  int Take(std::string_view path);
  // True when this call removed it.
  bool Release(std::string_view path);

 private:
  bool Traced();

  std::optional<bool> traced_;
};

// Lets a lock go unless it is kept.
class LockHold {
 public:
  LockHold(QueueLocks& locks, std::string_view path) : locks_(locks), path_(path) {}
  ~LockHold() {
    if (!kept_) locks_.Release(path_);
  }
  LockHold(const LockHold&) = delete;
  LockHold& operator=(const LockHold&) = delete;
  void Keep() { kept_ = true; }

 private:
  QueueLocks& locks_;
  std::string_view path_;
  bool kept_ = false;
};

}  // namespace qob
