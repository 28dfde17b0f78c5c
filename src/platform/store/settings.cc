#include "platform/store/settings.h"

#include <atomic>

#include "platform/store/record_file.h"

namespace qob::store {
namespace {

constexpr int kWaitMs = 30000;

std::atomic<int> g_wait_ms{kWaitMs};
std::atomic<int> g_log_limit_pages{kLogLimitPages};
std::atomic<const char*> g_base_layer{nullptr};
std::atomic<std::int64_t> g_longest_checkpoint_us{0};

}  // namespace

int WaitMs() { return g_wait_ms.load(std::memory_order_relaxed); }
int LogLimitPages() { return g_log_limit_pages.load(std::memory_order_relaxed); }
std::string BaseLayer() {
  const char* name = g_base_layer.load();
  return name == nullptr ? std::string() : std::string(name);
}

void NoteCheckpoint(std::int64_t microseconds) {
  std::int64_t longest = g_longest_checkpoint_us.load();
  while (microseconds > longest &&
         !g_longest_checkpoint_us.compare_exchange_weak(longest, microseconds)) {
  }
}

void SetWaitMs(int milliseconds) { g_wait_ms.store(milliseconds); }
void SetLogLimitPages(int pages) { g_log_limit_pages.store(pages); }
void SetBaseLayer(const char* name) { g_base_layer.store(name); }
std::int64_t LongestCheckpointUs() { return g_longest_checkpoint_us.load(); }

}  // namespace qob::store
