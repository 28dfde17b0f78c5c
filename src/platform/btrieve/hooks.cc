#include "platform/btrieve/hooks.h"

#include <atomic>

namespace qob::btrieve {
namespace {

std::atomic<BeforeWrite> g_before_write{nullptr};

}  // namespace

void TestBeforeWrite(BeforeWrite hook) { g_before_write.store(hook); }

void RunBeforeWrite() {
  const BeforeWrite hook = g_before_write.load(std::memory_order_relaxed);
  if (hook != nullptr) hook();
}

}  // namespace qob::btrieve
