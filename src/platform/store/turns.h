// A lock that threads get in the order in which they ask, not for longer than they care to wait.
// Its holder may take it again.
#pragma once
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace qob::store {

// How long one call waits, all its waits together; the clock starts with the first of them.
class Patience {
 public:
  explicit Patience(int milliseconds) : total_(milliseconds) {}
  std::chrono::milliseconds Left() {
    const auto now = std::chrono::steady_clock::now();
    if (!end_) end_ = now + total_;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - now);
    return std::max(left, std::chrono::milliseconds(0));
  }

 private:
  std::chrono::milliseconds total_;
  std::optional<std::chrono::steady_clock::time_point> end_;
};

class Turns {
 public:
  // False when the patience ended first.
  bool Enter(Patience& patience);
  void Leave();
  // The calling thread holds it.
  bool Mine();

 private:
  struct Waiter {
    explicit Waiter(std::thread::id id) : thread(id) {}
    std::thread::id thread;
    std::condition_variable called;
    Waiter* next = nullptr;
  };
  bool Wait(std::unique_lock<std::mutex>& hold, Waiter& waiter, Patience& patience);
  void Append(Waiter* waiter);
  void Remove(Waiter* waiter);

  std::mutex mutex_;
  std::thread::id holder_;
  int depth_ = 0;
  Waiter* first_ = nullptr;
};

}  // namespace qob::store
