// The border of the exported calls: nothing thrown crosses it.
#pragma once

namespace qob::mq {

// work() gives a pointer or a truth value; anything thrown, memory exhausted above all, becomes
// null or false.
template <class Work>
auto Guarded(Work&& work) noexcept -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    return {};
  }
}

}  // namespace qob::mq
