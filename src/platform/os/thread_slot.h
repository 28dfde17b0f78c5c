// One value per thread that can be reserved and given back by number of generation: reserving again
// or giving back makes every thread's value read as empty. The value itself is freed at its
// thread's end.
#pragma once
#include <memory>

namespace qob::os {

class SlotValue {
 public:
  virtual ~SlotValue() = default;
};

// The queue scan's slot. Reserve is idempotent while reserved.
void ReserveThreadSlot();
void ReleaseThreadSlot();
// This thread's value, or null when none was set since the slot was reserved.
SlotValue* GetThreadSlot();
void SetThreadSlot(std::unique_ptr<SlotValue> value);

}  // namespace qob::os
