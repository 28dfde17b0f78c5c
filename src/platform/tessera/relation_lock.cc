#include "platform/tessera/relation_lock.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/os/process.h"

namespace qob::tessera {
namespace {

using store::Status;

constexpr std::int64_t kDoor = 0;
constexpr std::int64_t kRoom = 1;
constexpr int kLongestPauseMs = 10;
constexpr int kAsksPerMs = 16;  // for each so many in vain the pause grows by one

bool IsSame(const os::FileStatus& a, const os::FileStatus& b) {
  return a.device == b.device && a.inode == b.inode;
}

}  // namespace

// ---- one for each file

// A child of a fork begins with an empty one: the parent's may be held by a thread that the child
// has not. Never destroyed, for other threads may still be at work while the process ends.
class RelationLock::Table {
 public:
  static Table& OfThisProcess() {
    static std::atomic<Table*> present{nullptr};
    const std::uint32_t process = os::ProcessId();
    Table* table = present.load(std::memory_order_acquire);
    while (table == nullptr || table->process_ != process) {
      std::unique_ptr<Table> made(new Table(process, table));
      if (present.compare_exchange_strong(table, made.get(), std::memory_order_acq_rel)) {
        table = made.release();
      }
    }
    return *table;
  }

  Status Open(const std::string& path, std::shared_ptr<RelationLock>* lock);

 private:
  Table(std::uint32_t process, Table* inherited) : process_(process), inherited_(inherited) {}
  std::shared_ptr<RelationLock> Known(const os::FileStatus& file) const;

  const std::uint32_t process_;
  [[maybe_unused]] Table* const inherited_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<RelationLock>> locks_;
};

std::shared_ptr<RelationLock> RelationLock::Table::Known(const os::FileStatus& file) const {
  for (const std::weak_ptr<RelationLock>& entry : locks_) {
    std::shared_ptr<RelationLock> lock = entry.lock();
    if (lock != nullptr && IsSame(lock->file(), file)) return lock;
  }
  return nullptr;
}

Status RelationLock::Table::Open(const std::string& path, std::shared_ptr<RelationLock>* lock) {
  const std::scoped_lock hold(mutex_);
  const os::Result<os::FileStatus> found = os::StatusOf(path);
  if (!found) return store::StatusOfError(found.error);
  if (found.value.kind != os::FileKind::kFile) return store::kNotOurFile;
  *lock = Known(found.value);
  if (*lock != nullptr) return store::kOk;
  std::erase_if(locks_, [](const auto& entry) { return entry.expired(); });
  locks_.reserve(locks_.size() + 1);
  os::Result<std::unique_ptr<os::ByteLocks>> opened = os::ByteLocks::Open(path);
  if (!opened)
    return opened.error == ELOOP ? store::kNotOurFile : store::StatusOfError(opened.error);
  *lock = Known(opened.value->file());  // put there in between
  if (*lock != nullptr) {
    (*lock)->spare_.push_back(std::move(opened.value));
    return store::kOk;
  }
  lock->reset(new RelationLock(std::move(opened.value)));
  locks_.push_back(*lock);
  return store::kOk;
}

Status RelationLock::Open(const std::string& path, std::shared_ptr<RelationLock>* lock) {
  return Table::OfThisProcess().Open(path, lock);
}

RelationLock::~RelationLock() = default;

bool RelationLock::Holds(const IndexBytes& expected) const {
  char found[kIndexFileBytes + 1];
  const os::Result<std::size_t> got = bytes_->Read(found, sizeof found);
  return got && got.value == expected.size() &&
         std::memcmp(found, expected.data(), expected.size()) == 0;
}

// ---- within the process

Status RelationLock::Take(bool* shared, std::uint32_t timeout_ms) {
  Deadline deadline;
  if (timeout_ms != kWithoutEnd) deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  if (!bytes_->may_be_alone()) *shared = true;
  {
    std::unique_lock hold(mutex_);
    Waiter waiter;
    waiter.shared = *shared;
    if (!AwaitTurn(hold, waiter, deadline)) return store::kBusy;
    if (waiter.turn == Waiter::kMayShare) return store::kOk;
  }
  const Status status = AskOthers(*shared, deadline);
  const std::scoped_lock hold(mutex_);
  if (status != store::kOk || *shared) taken_alone_ = false;
  if (status == store::kOk && *shared) sharing_ = 1;
  CallNext();
  return status;
}

bool RelationLock::AwaitTurn(std::unique_lock<std::mutex>& hold, Waiter& waiter,
                             const Deadline& deadline) {
  (last_ == nullptr ? first_ : last_->next) = &waiter;
  last_ = &waiter;
  CallNext();
  const auto called = [&] { return waiter.turn != Waiter::kWaits; };
  if (!deadline) {
    waiter.called.wait(hold, called);
    return true;
  }
  if (waiter.called.wait_until(hold, *deadline, called)) return true;
  Waiter** at = &first_;
  Waiter* before = nullptr;
  while (*at != &waiter) {
    before = *at;
    at = &before->next;
  }
  *at = waiter.next;
  if (last_ == &waiter) last_ = before;
  CallNext();  // who stood behind may share what this one could not
  return false;
}

// Whoever has come first goes first; those who share go together.
void RelationLock::CallNext() {
  while (first_ != nullptr && !taken_alone_) {
    Waiter* const waiter = first_;
    if (sharing_ > 0 && !waiter->shared) return;
    first_ = waiter->next;
    if (first_ == nullptr) last_ = nullptr;
    if (sharing_ > 0) {
      ++sharing_;
      waiter->turn = Waiter::kMayShare;
    } else {
      taken_alone_ = true;
      waiter->turn = Waiter::kMayAsk;
    }
    waiter->called.notify_one();  // under the mutex: the waiter's stack is gone once it saw this
  }
}

void RelationLock::GiveUp(bool shared) {
  const std::scoped_lock hold(mutex_);
  if (!shared) {
    taken_alone_ = false;
  } else if (--sharing_ > 0) {
    return;
  }
  bytes_->GiveUp(kRoom);
  CallNext();
}

// ---- between processes

Status RelationLock::AskOthers(bool shared, const Deadline& deadline) {
  const bool alone_at_door = bytes_->may_be_alone();
  Status status = AskFor(kDoor, alone_at_door ? os::Hold::kAlone : os::Hold::kShared, deadline);
  if (status != store::kOk) return status;
  status = AskFor(kRoom, shared ? os::Hold::kShared : os::Hold::kAlone, deadline);
  bytes_->GiveUp(kDoor);
  return status;
}

Status RelationLock::AskFor(std::int64_t byte, os::Hold hold, const Deadline& deadline) {
  for (int asked = 0;; ++asked) {
    const int error = bytes_->Take(byte, hold);
    if (error != os::kSharingViolation) return store::StatusOfError(error);
    int pause = std::min(1 + asked / kAsksPerMs, kLongestPauseMs);
    if (deadline) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
      if (left.count() <= 0) return store::kBusy;
      pause = static_cast<int>(std::min<std::int64_t>(pause, left.count()));
    }
    os::SleepMs(pause);
  }
}

}  // namespace qob::tessera
