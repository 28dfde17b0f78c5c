#include "support/failing_allocator.h"

#include <cerrno>
#include <cstdlib>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
}

namespace qob::testing {
namespace {

struct State {
  std::uint64_t seen = 0;
  std::uint64_t bytes = 0;
  std::uint64_t fail_at = 0;  // 0 = never
  std::uint64_t since_armed = 0;
  bool from_then_on = false;
  bool triggered = false;
  int suspended = 0;
};
thread_local State state;

bool MustFail(std::size_t size) {
  ++state.seen;
  state.bytes += size;
  if (state.fail_at == 0 || state.suspended > 0) return false;
  ++state.since_armed;
  const bool fail =
      state.from_then_on ? state.since_armed >= state.fail_at : state.since_armed == state.fail_at;
  if (fail) state.triggered = true;
  if (fail) errno = ENOMEM;
  return fail;
}

}  // namespace

FailAllocations::FailAllocations(std::uint64_t nth, Failing mode) {
  state.fail_at = nth;
  state.since_armed = 0;
  state.triggered = false;
  state.from_then_on = mode == Failing::kFromThenOn;
}
FailAllocations::~FailAllocations() { state.fail_at = 0; }
bool FailAllocations::triggered() const { return state.triggered; }

void SuspendFailing(bool suspend) { state.suspended += suspend ? 1 : -1; }
std::uint64_t AllocationCount() { return state.seen; }
std::uint64_t AllocatedBytes() { return state.bytes; }

}  // namespace qob::testing

using qob::testing::MustFail;

// Visible, because shared libraries without a version for the C library's names (built with a
// sanitizer) are wrapped as well.
#pragma GCC visibility push(default)
extern "C" {
void* __wrap_malloc(std::size_t size) { return MustFail(size) ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return MustFail(count * size) ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, std::size_t size) {
  return MustFail(size) ? nullptr : __real_realloc(block, size);
}
}
#pragma GCC visibility pop

namespace {
void* NewOrThrow(std::size_t size) {
  void* block = MustFail(size) ? nullptr : __real_malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
}  // namespace

void* operator new(std::size_t size) { return NewOrThrow(size); }
void* operator new[](std::size_t size) { return NewOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return MustFail(size) ? nullptr : __real_malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return MustFail(size) ? nullptr : __real_malloc(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
