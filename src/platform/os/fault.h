// Fault points: a test may let any system call of this folder fail. Without a hook the cost is one
// relaxed load.
#pragma once
#include <atomic>
#include <string_view>

namespace qob::os {

// kMode: flags, mode or owner of an open file.
enum class Call {
  kOpen,
  kClose,
  kRead,
  kWrite,
  kSeek,
  kStat,
  kFlush,
  kRename,
  kRemove,
  kList,
  kAccess,
  kLock,
  kMode
};

// Returns 0 to let the call go on, else the error number it shall fail with. path is "" where only
// a handle is known.
using FaultHook = int (*)(Call call, std::string_view path);

inline std::atomic<FaultHook> g_fault_hook{nullptr};

inline int Fault(Call call, std::string_view path = {}) {
  const FaultHook hook = g_fault_hook.load(std::memory_order_relaxed);
  return hook == nullptr ? 0 : hook(call, path);
}
inline void SetFaultHook(FaultHook hook) { g_fault_hook.store(hook); }

}  // namespace qob::os
