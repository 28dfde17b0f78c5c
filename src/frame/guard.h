// The border of the exported shell: nothing thrown crosses it.
#pragma once
#include <utility>

namespace qob {

// Calls `work`; anything thrown (memory exhausted above all) becomes `failure`.
template <class R, class F>
R Guarded(R failure, F&& work) noexcept {
  try {
    return std::forward<F>(work)();
  } catch (...) {
    return failure;
  }
}

// As above, where the contract wants a log line: `on_failure` runs before `failure` is returned and
// must not throw.
template <class R, class F, class G>
R Guarded(R failure, F&& work, G&& on_failure) noexcept {
  try {
    return std::forward<F>(work)();
  } catch (...) {
    on_failure();
    return failure;
  }
}

}  // namespace qob
