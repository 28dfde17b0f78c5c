#include "platform/store/registry.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "platform/os/file_status.h"
#include "platform/os/process.h"
#include "platform/store/settings.h"
#include "platform/store/sqlite_status.h"

namespace qob::store {
namespace {

constexpr int kOpenTries = 5;

// A child never touches its parent's: its lock may be held by a thread that the child has not.
struct Registry {
  std::uint32_t process = 0;
  std::uint64_t generation = 0;
  Registry* inherited = nullptr;
  Turns turns;
  std::vector<Connection*> connections;
};

std::atomic<Registry*> g_registry{nullptr};

Registry& TheRegistry() {
  const std::uint32_t process = os::ProcessId();
  Registry* present = g_registry.load();
  while (present == nullptr || present->process != process) {
    auto fresh = std::make_unique<Registry>();
    fresh->process = process;
    fresh->inherited = present;
    fresh->generation = present == nullptr ? 0 : present->generation + 1;
    if (g_registry.compare_exchange_strong(present, fresh.get())) present = fresh.release();
  }
  return *present;
}

class RegistryStay {
 public:
  explicit RegistryStay(Registry& registry) : registry_(registry) {}
  ~RegistryStay() {
    if (entered_) registry_.turns.Leave();
  }
  RegistryStay(const RegistryStay&) = delete;
  RegistryStay& operator=(const RegistryStay&) = delete;
  bool Enter(int wait_ms) {
    Patience patience(wait_ms);
    entered_ = registry_.turns.Enter(patience);
    return entered_;
  }

 private:
  Registry& registry_;
  bool entered_ = false;
};

Status Look(const std::string& path, os::FileStatus* file) {
  const os::Result<os::FileStatus> status = os::StatusOf(path);
  if (!status) return StatusOfError(status.error);
  *file = status.value;
  return file->kind == os::FileKind::kFile ? kOk : kNotOurFile;
}

bool IsSame(const os::FileStatus& a, const os::FileStatus& b) {
  return a.device == b.device && a.inode == b.inode;
}

// A connection for writing serves readers too.
Connection* Known(Registry& registry, const os::FileStatus& file, bool read_only) {
  const auto found = std::find_if(
      registry.connections.begin(), registry.connections.end(), [&](const Connection* connection) {
        return connection->device == file.device && connection->inode == file.inode &&
               !connection->spoilt() && (read_only || !connection->read_only());
      });
  return found == registry.connections.end() ? nullptr : *found;
}

// *again: the name changed hands while the file was being opened.
Status OpenNew(Registry& registry, const std::string& path, const OpenOptions& options,
               const os::FileStatus& before, Connection** connection, bool* again) {
  registry.connections.reserve(registry.connections.size() + 1);
  std::unique_ptr<Connection> made;
  Status status = Connection::Open(path, options, registry.generation, &made);
  if (status != kOk) return status;
  os::FileStatus after;
  status = Look(path, &after);
  if (status != kOk) return status;
  *again = !IsSame(before, after) || !made->IsUnderItsName();
  if (*again) return kNotOurFile;
  made->device = after.device;
  made->inode = after.inode;
  made->references = 1;
  *connection = made.get();
  registry.connections.push_back(made.release());
  return kOk;
}

}  // namespace

Status AcquireConnection(const std::string& path, const OpenOptions& options,
                         Connection** connection) {
  Registry& registry = TheRegistry();
  RegistryStay stay(registry);
  if (!stay.Enter(WaitMs())) return kBusy;
  for (int tries = 0; tries < kOpenTries; ++tries) {
    os::FileStatus file;
    Status status = Look(path, &file);
    if (status != kOk) return status;
    if (Connection* known = Known(registry, file, options.read_only)) {
      if (!options.read_only) status = known->Strengthen(options.durability);
      if (status != kOk) return status;
      ++known->references;
      *connection = known;
      return kOk;
    }
    bool again = false;
    status = OpenNew(registry, path, options, file, connection, &again);
    if (!again) return status;
  }
  return kNotOurFile;
}

void ReleaseConnection(Connection* connection) {
  if (connection->process() != os::ProcessId()) return;
  Registry& registry = TheRegistry();
  RegistryStay stay(registry);
  // Never refused for long: openers end when their own waits do.
  while (!stay.Enter(WaitMs())) {
  }
  if (--connection->references > 0) return;
  std::erase(registry.connections, connection);
  delete connection;
}

std::uint64_t ForkGeneration() { return TheRegistry().generation; }

}  // namespace qob::store
