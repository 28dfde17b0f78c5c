// Lets the n-th allocation of the calling thread fail, once or from then on: malloc, calloc,
// realloc and operator new of everything that is linked statically into the test program, operator
// new of the rest.
#pragma once
#include <cstdint>

#include <gtest/gtest.h>

namespace qob::testing {

enum class Failing { kOnce, kFromThenOn };

// While it lives, allocation number `nth` (from 1) of this thread fails.
class FailAllocations {
 public:
  FailAllocations(std::uint64_t nth, Failing mode);
  ~FailAllocations();
  FailAllocations(const FailAllocations&) = delete;
  FailAllocations& operator=(const FailAllocations&) = delete;
  // An allocation was made to fail.
  bool triggered() const;
};

// Nested; for code that must not be disturbed while armed.
void SuspendFailing(bool suspend);

// Allocations made by this thread so far (succeeded or not), to count work.
std::uint64_t AllocationCount();
std::uint64_t AllocatedBytes();

// Calls attempt() with allocation 1, 2, 3, ... failing until one call runs through undisturbed;
// once with each failure alone, once from then on. attempt must leave everything released.
// check(triggered) runs disarmed after each call.
template <class Attempt, class Check>
void FailEachAllocation(Attempt&& attempt, Check&& check, std::uint64_t limit = 100000) {
  for (Failing mode : {Failing::kOnce, Failing::kFromThenOn}) {
    std::uint64_t nth = 1;
    for (; nth <= limit; ++nth) {
      bool triggered = false;
      {
        FailAllocations fail(nth, mode);
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
