// Locks of messages: who has one, and having one.
#ifndef TOOLS_QOB_QUEUE_LOCK_HOLDER_H
#define TOOLS_QOB_QUEUE_LOCK_HOLDER_H

#include <cstdint>
#include <string>

#include "../json_line.h"

namespace cli::queue {

struct LockHolder {
  bool stands = false;
  bool stale = false;      // taken before the machine started last: whoever had it is gone
  std::string owner;       // of the lock file
  std::int64_t since = 0;  // seconds since 1970
  std::int64_t age = 0;    // seconds
};

// base: the message's path without an extension, in either form. Throws Failure when the directory
// does not let one look.
LockHolder LookAtLock(const std::string& base);
// "locked by mail since 2026-11-21 18:54:03 +0100 (5m2s)", ", a stale lock" behind it where it is.
std::string LockText(const LockHolder& holder);
// An object with owner, since, since_seconds, age (seconds) and stale; null when none stands.
Json LockJson(const LockHolder& holder);

// The lock of one message for as long as it lives.
class MessageLock {
 public:
  MessageLock() = default;
  MessageLock(MessageLock&& other) noexcept;
  MessageLock& operator=(MessageLock&&) = delete;
  ~MessageLock() { Release(); }

  // False when somebody has it. Throws Failure when it cannot be made at all.
  bool Take(const std::string& base);
  // Leaves the lock standing.
  void Keep() { base_.clear(); }
  // False when the lock could not be taken away again.
  bool Release();

 private:
  std::string base_;
};

}  // namespace cli::queue

#endif
