// The lock of a relation: among the objects of this process and among processes at once. It lies on
// two bytes of the index file.
//
// A comer takes the first byte, waits in it for the second, and lets the first one go; the others
// wait outside. So whoever lets the second byte go and comes back at once does not pass by one who
// waits. Between processes waiting is asking again after a moment, for the system's own waiting
// knows no time limit; within the process comers stand in line, and only the first of them asks.
//
// Of each index file a process has one open descriptor: closing any of them would give up the locks
// held through the others.
#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/byte_locks.h"
#include "platform/store/status.h"
#include "platform/tessera/index_file.h"

namespace qob::tessera {

inline constexpr std::uint32_t kWithoutEnd = 0xFFFFFFFF;

class RelationLock {
 public:
  // The one of this process for the file at `path`: kNoSuchFile; kNotOurFile for what is no regular
  // file. Throws std::bad_alloc.
  static store::Status Open(const std::string& path, std::shared_ptr<RelationLock>* lock);
  ~RelationLock();
  RelationLock(const RelationLock&) = delete;
  RelationLock& operator=(const RelationLock&) = delete;

  const os::FileStatus& file() const { return bytes_->file(); }
  // The file holds these bytes and no others.
  bool Holds(const IndexBytes& expected) const;

  // Shared where the file may only be read. kBusy when the time is over. GiveUp for every kOk, with
  // what *shared says now.
  store::Status Take(bool* shared, std::uint32_t timeout_ms);
  void GiveUp(bool shared);

 private:
  class Table;
  using Clock = std::chrono::steady_clock;
  using Deadline = std::optional<Clock::time_point>;  // none: without end
  struct Waiter {
    bool shared = false;
    std::condition_variable called;
    enum { kWaits, kMayAsk, kMayShare } turn = kWaits;
    Waiter* next = nullptr;
  };

  explicit RelationLock(std::unique_ptr<os::ByteLocks> bytes) : bytes_(std::move(bytes)) {}
  bool AwaitTurn(std::unique_lock<std::mutex>& hold, Waiter& waiter, const Deadline& deadline);
  void CallNext();
  store::Status AskOthers(bool shared, const Deadline& deadline);
  store::Status AskFor(std::int64_t byte, os::Hold hold, const Deadline& deadline);

  const std::unique_ptr<os::ByteLocks> bytes_;
  std::vector<std::unique_ptr<os::ByteLocks>> spare_;  // opened by mistake, closed with the other

  std::mutex mutex_;
  Waiter* first_ = nullptr;
  Waiter* last_ = nullptr;
  bool taken_alone_ = false;  // or being asked for
  int sharing_ = 0;
};

}  // namespace qob::tessera
