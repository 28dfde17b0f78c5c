#include "platform/store/turns.h"

namespace qob::store {

bool Turns::Enter(Patience& patience) {
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock hold(mutex_);
  if (holder_ != me && holder_ != std::thread::id()) {
    Waiter waiter(me);
    if (!Wait(hold, waiter, patience)) return false;
  }
  holder_ = me;
  ++depth_;
  return true;
}

// Leave makes the first who waits the holder, so that nobody comes in between.
bool Turns::Wait(std::unique_lock<std::mutex>& hold, Waiter& waiter, Patience& patience) {
  Append(&waiter);
  const auto end = std::chrono::steady_clock::now() + patience.Left();
  if (waiter.called.wait_until(hold, end, [&] { return holder_ == waiter.thread; })) return true;
  Remove(&waiter);
  return false;
}

void Turns::Leave() {
  const std::scoped_lock hold(mutex_);
  if (--depth_ > 0) return;
  Waiter* const next = first_;
  holder_ = next == nullptr ? std::thread::id() : next->thread;
  if (next == nullptr) return;
  first_ = next->next;
  next->called.notify_one();  // under the lock: the waiter's stack is gone once it has seen this
}

bool Turns::Mine() {
  const std::scoped_lock hold(mutex_);
  return holder_ == std::this_thread::get_id();
}

void Turns::Append(Waiter* waiter) {
  Waiter** at = &first_;
  while (*at != nullptr) at = &(*at)->next;
  *at = waiter;
}

void Turns::Remove(Waiter* waiter) {
  Waiter** at = &first_;
  while (*at != waiter) at = &(*at)->next;
  *at = waiter->next;
}

}  // namespace qob::store
