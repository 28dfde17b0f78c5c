#include "platform/mq/connection.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

#include "platform/mq/database.h"
#include "platform/os/process.h"
#include "platform/spool/site.h"

namespace qob::mq {
namespace {

struct Binding {
  char directory[sizeof spool::Site::queue_dir] = "";
  char client[sizeof spool::Site::client] = "";
};
constinit Binding binding;

// Of one process, and never destroyed: other threads may still be at work while it ends. A child
// touches nothing of its parent's.
struct Kept {
  std::uint32_t process = 0;
  Kept* inherited = nullptr;
  std::mutex mutex;
  std::shared_ptr<store::RecordFile> file;
};
std::atomic<Kept*> g_kept{nullptr};

Kept& TheKept() {
  const std::uint32_t process = os::ProcessId();
  Kept* present = g_kept.load(std::memory_order_acquire);
  while (present == nullptr || present->process != process) {
    auto fresh = std::make_unique<Kept>();
    fresh->process = process;
    fresh->inherited = present;
    if (g_kept.compare_exchange_strong(present, fresh.get(), std::memory_order_acq_rel)) {
      present = fresh.release();
    }
  }
  return *present;
}

}  // namespace

bool Connect(const char* host, const char* client_name) {
  spool::Site& site = spool::TheSite();
  if (!site.filled) {
    spool::FillSite(site);
    site.filled = false;  // by start-up; until then each call reads the directories again
  }
  Disconnect();
  std::snprintf(binding.client, sizeof binding.client, "%s",
                client_name == nullptr ? "" : client_name);
  if (host == nullptr || *host == '\0') return false;
  std::shared_ptr<store::RecordFile> file;
  if (OpenDatabase(site.queue_dir, &file) != store::kOk) return false;
  KeepOpen(std::move(file));
  std::snprintf(binding.directory, sizeof binding.directory, "%s", site.queue_dir);
  return true;
}

void Disconnect() {
  binding.directory[0] = '\0';
  if (g_kept.load(std::memory_order_acquire) != nullptr) KeepOpen(nullptr);
}

const char* BoundDirectory() { return binding.directory; }

const char* ClientName() {
  const char* started = spool::TheSite().client;
  return *started != '\0' ? started : binding.client;
}

void KeepOpen(std::shared_ptr<store::RecordFile> file) {
  Kept& kept = TheKept();
  {
    std::scoped_lock hold(kept.mutex);
    kept.file.swap(file);
  }
  // What was kept before is let go outside: closing a database may take a while.
}

}  // namespace qob::mq
