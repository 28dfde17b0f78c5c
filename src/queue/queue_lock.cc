#include "queue/queue_lock.h"

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/report.h"
#include "platform/os/directory.h"
#include "platform/os/file.h"
#include "platform/spool/names.h"
#include "queue/path_text.h"

namespace qob {
namespace {

constexpr std::size_t kSwitchSize = 256;

// An empty path would name a lock in the working directory.
PathText LockName(std::string_view path) {
  return path.empty() ? PathText({}) : PathText({path, spool::kLockFile});
}

void Trace(const char* what, std::string_view path) {
  Report(kDetail, "%s: %.*s", what, static_cast<int>(path.size()), path.data());
}

}  // namespace

bool QueueLocks::Traced() {
  if (!traced_) {
    traced_ =
        Guarded(false, [] { return ConfigIs("Debug", "LogLocking", "NO", kSwitchSize, "YES"); });
  }
  return *traced_;
}

int QueueLocks::Take(std::string_view path) {
  const int error = os::MakeEmptyFile(LockName(path).view());
  if (error == 0 && Traced()) Trace("lock", path);
  return error;
}

bool QueueLocks::Release(std::string_view path) {
  if (Traced()) Trace("unlock", path);
  return os::RemoveFile(LockName(path).view()) == 0;
}

}  // namespace qob
