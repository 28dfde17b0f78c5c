#include "lock_holder.h"

#include <algorithm>
#include <utility>

#include <qob3xapi/queueid.h>

#include "../failure.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"
#include "times.h"

namespace cli::queue {

LockHolder LookAtLock(const std::string& base) {
  LockHolder holder;
  const auto file = qob::spool::LookAtFile(base + qob::spool::kLockFile);
  if (!file) {
    if (qob::spool::IsMissing(file.error)) return holder;
    throw Failure(ExitCode::kNoPermission,
                  base + qob::spool::kLockFile + ": cannot be looked at: " +
                      qob::spool::ErrorText(file.error) + ": run as the owner of the queue");
  }
  holder.stands = true;
  holder.stale = qob::spool::IsStaleLock(file.value);
  holder.owner = qob::spool::OwnerName(file.value);
  holder.since = file.value.modified;
  holder.age = std::max<std::int64_t>(0, qob::spool::Now() - holder.since);
  return holder;
}

std::string LockText(const LockHolder& holder) {
  return "locked by " + holder.owner + " since " + LocalText(holder.since) + " (" +
         DurationText(holder.age) + ")" +
         (holder.stale ? ", a stale lock: taken before the machine started" : "");
}

Json LockJson(const LockHolder& holder) {
  if (!holder.stands) return nullptr;
  Json lock;
  PutText(&lock, "owner", holder.owner);
  std::string since;
  AppendUtc(std::max<std::int64_t>(0, holder.since), &since);
  lock["since"] = since;
  lock["since_seconds"] = holder.since;
  lock["age"] = holder.age;
  lock["stale"] = holder.stale;
  return lock;
}

MessageLock::MessageLock(MessageLock&& other) noexcept
    : base_(std::exchange(other.base_, std::string())) {}

bool MessageLock::Take(const std::string& base) {
  if (CreateLockFile(base.c_str()) == 0) {
    base_ = base;
    return true;
  }
  if (LookAtLock(base).stands) return false;
  // Its holder may have let go in between.
  if (CreateLockFile(base.c_str()) == 0) {
    base_ = base;
    return true;
  }
  if (LookAtLock(base).stands) return false;
  throw FatalFailure(ExitCode::kNoPermission,
                     base + qob::spool::kLockFile +
                         ": the lock cannot be made: run as the owner of the queue, and see that "
                         "its file system is neither full nor read-only");
}

bool MessageLock::Release() {
  if (base_.empty()) return true;
  const bool released = DeleteLockFile(base_.c_str()) == 0;
  base_.clear();
  return released;
}

}  // namespace cli::queue
