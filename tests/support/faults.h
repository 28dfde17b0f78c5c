// Lets system calls of the platform layer fail: the n-th of a kind, once or from then on. For tests
// of the static core.
#pragma once
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/os/fault.h"
#include "support/failing_allocator.h"

namespace qob::testing {

// While it lives, call number `nth` (from 1) of kind `call` on a path that contains `path_part`
// fails with `error`. Calls that know only a handle have the path ""; an empty path_part matches
// everything.
class FailCalls {
 public:
  FailCalls(os::Call call, std::uint64_t nth, Failing mode, int error = EIO,
            std::string_view path_part = {}) {
    plan_ = {call, nth, mode, error, std::string(path_part), 0, false};
    os::SetFaultHook(&FailCalls::Hook);
  }
  ~FailCalls() { os::SetFaultHook(nullptr); }
  FailCalls(const FailCalls&) = delete;
  FailCalls& operator=(const FailCalls&) = delete;
  bool triggered() const { return plan_.triggered; }

 private:
  struct Plan {
    os::Call call;
    std::uint64_t nth;
    Failing mode;
    int error;
    std::string path_part;
    std::uint64_t seen;
    bool triggered;
  };
  static int Hook(os::Call call, std::string_view path) {
    if (call != plan_.call || path.find(plan_.path_part) == std::string_view::npos) return 0;
    ++plan_.seen;
    const bool fail =
        plan_.mode == Failing::kFromThenOn ? plan_.seen >= plan_.nth : plan_.seen == plan_.nth;
    if (fail) plan_.triggered = true;
    return fail ? plan_.error : 0;
  }
  static inline Plan plan_{};
};

// As FailEachAllocation, for one kind of system call.
template <class Attempt, class Check>
void FailEachCall(os::Call call, Attempt&& attempt, Check&& check, int error = EIO,
                  std::uint64_t limit = 100000) {
  for (Failing mode : {Failing::kOnce, Failing::kFromThenOn}) {
    std::uint64_t nth = 1;
    for (; nth <= limit; ++nth) {
      bool triggered = false;
      {
        FailCalls fail(call, nth, mode, error);
        attempt();
        triggered = fail.triggered();
      }
      check(triggered);
      if (::testing::Test::HasFatalFailure()) return;
      if (!triggered) break;
    }
    ASSERT_LE(nth, limit) << "the call never ran undisturbed";
  }
}

}  // namespace qob::testing
