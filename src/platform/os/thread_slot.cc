// One number tells both whether the slot is reserved (odd) and which reservation it is; a thread's
// value counts only while it carries the present number.
#include "platform/os/thread_slot.h"

#include <atomic>
#include <cstdint>
#include <utility>

namespace qob::os {
namespace {

std::atomic<std::uint64_t> g_generation{0};

bool IsReserved(std::uint64_t generation) { return (generation & 1) != 0; }

struct Slot {
  std::uint64_t generation = 0;
  std::unique_ptr<SlotValue> value;
};
thread_local Slot t_slot;

// Steps on when the slot is in the state that is to be left.
void StepFrom(bool reserved) {
  std::uint64_t seen = g_generation.load();
  while (IsReserved(seen) == reserved && !g_generation.compare_exchange_weak(seen, seen + 1)) {
  }
}

}  // namespace

void ReserveThreadSlot() { StepFrom(false); }
void ReleaseThreadSlot() { StepFrom(true); }

SlotValue* GetThreadSlot() {
  const std::uint64_t now = g_generation.load();
  if (!IsReserved(now) || t_slot.generation != now) return nullptr;
  return t_slot.value.get();
}

void SetThreadSlot(std::unique_ptr<SlotValue> value) {
  const std::uint64_t now = g_generation.load();
  if (!IsReserved(now)) value.reset();
  t_slot.generation = now;
  t_slot.value = std::move(value);
}

}  // namespace qob::os
