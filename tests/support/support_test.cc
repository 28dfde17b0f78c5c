// The test support itself: a failing allocator that does not fail would make every fault test pass.
#include <cstdlib>
#include <string>

#include "support/exact_copy.h"
#include "support/failing_allocator.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

// Releases the block; kept out of line so that the allocation is not optimised away.
[[gnu::noinline]] void Touch(void* block) {
  if (block != nullptr) *static_cast<volatile char*>(block) = 1;
  std::free(block);
}

TEST(FailAllocations, FailsTheNthMallocOnce) {
  FailAllocations fail(2, Failing::kOnce);
  void* first = std::malloc(3);
  void* second = std::malloc(3);
  void* third = std::malloc(3);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  EXPECT_TRUE(fail.triggered());
  std::free(first);
  std::free(third);
}

TEST(FailAllocations, MakesNewThrowFromThenOn) {
  bool thrown = false;
  {
    FailAllocations fail(1, Failing::kFromThenOn);
    try {
      const std::string text(1000, 'x');
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }
  EXPECT_TRUE(thrown);
}

TEST(FailAllocations, EachAllocationEndsWhenNothingFailsAnyMore) {
  int calls = 0;
  FailEachAllocation(
      [&] {
        ++calls;
        Touch(std::malloc(1));
        Touch(std::malloc(1));
      },
      [](bool) {});
  EXPECT_EQ(calls, 6);
}

TEST(TwoProcesses, ChildrenGiveTheirResults) {
  EXPECT_EQ(InChildren(3, [](int i) { return i + 1; }), (std::vector<int>{1, 2, 3}));
}

TEST(ExactCopy, HoldsTheBytes) { EXPECT_EQ(ExactCopy("a\0b").view(), std::string_view("a")); }

}  // namespace
}  // namespace qob::testing
