// The exported calls on queue ids, locks and scans.
#include <cstdlib>

#include <qob3xapi/queueid.h>

#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "platform/spool/names.h"
#include "queue/bounce_reasons.h"
#include "queue/move_message.h"
#include "queue/new_queue_id.h"
#include "queue/queue_lock.h"
#include "queue/queue_scan.h"
#include "queue/remove_message.h"
#include "queue/unlock_all.h"

namespace {

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }
bool IsDivided(const char* path) { return path != nullptr && qob::spool::SeparatorRuns(path) > 0; }

// A scan that memory ends is over, as one that the database ends.
template <class Work>
char* Scan(const char* call, Work&& work) {
  return qob::Guarded(static_cast<char*>(nullptr), work, [&] {
    qob::EndQueueScan();
    qob::Report(qob::kFailure, "%s: out of memory.", call);
  });
}

}  // namespace

extern "C" {

QOBAPI char* GetNewQueueId(const char* queueDir, MesgHandle* db) {
  if (IsEmpty(queueDir) || db == nullptr) return nullptr;
  return qob::Guarded(static_cast<char*>(nullptr), [&]() -> char* {
    const std::string path = qob::NewQueueId(queueDir, *db);
    if (path.empty()) return nullptr;
    char* copy = qob::HeapCopy(path);
    if (copy == nullptr) qob::GiveBackQueueId(path);
    return copy;
  });
}

QOBAPI int32_t CreateLockFile(const char* path) {
  return path != nullptr && qob::QueueLocks().Take(path) == 0 ? 0 : -1;
}

QOBAPI int32_t DeleteLockFile(const char* path) {
  return path != nullptr && qob::QueueLocks().Release(path) ? 0 : -1;
}

QOBAPI void ReleaseQueueId(char* queuePath) {
  if (!IsEmpty(queuePath)) qob::QueueLocks().Release(queuePath);
  std::free(queuePath);
}

QOBAPI char* FindFirstQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter) {
  if (queueDir == nullptr || db == nullptr) return nullptr;
  return Scan("FindFirstQueueId", [&] { return qob::FirstQueueId(queueDir, *db, filter); });
}

QOBAPI char* FindNextQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter) {
  if (queueDir == nullptr || db == nullptr) return nullptr;
  return Scan("FindNextQueueId", [&] { return qob::NextQueueId(queueDir, filter); });
}

QOBAPI int32_t DestroyQueueId(const char* queuePath, MesgHandle* db) {
  if (!IsDivided(queuePath) || db == nullptr) return -1;
  return qob::Guarded(int32_t{0}, [&] {
    qob::RemoveRecords(queuePath, *db);
    return int32_t{0};
  });
}

QOBAPI int32_t DeleteQueueId(const char* queuePath, const char* channelName, MesgHandle* db) {
  if (!IsDivided(queuePath) || db == nullptr) return -1;
  const bool removed = qob::Guarded(false, [&] { return qob::RemoveRecords(queuePath, *db); });
  if (!removed) {
    qob::Report(qob::kFailure,
                "Unable to remove entry from message database. Please run message recover "
                "utility.");
  }
  return qob::Guarded(int32_t{0}, [&] {
    qob::RemoveFromQueue(queuePath, channelName);
    return int32_t{0};
  });
}

QOBAPI int32_t MoveQueueId(const char* queuePath, const char* newQueueDir, MesgHandle* db) {
  if (IsEmpty(queuePath) || IsEmpty(newQueueDir) || db == nullptr) return -1;
  return qob::Guarded(int32_t{-1},
                      [&] { return qob::MoveMessage(queuePath, newQueueDir, *db) ? 0 : -1; });
}

QOBAPI int32_t UnlockAllMessage(const char* queueDir) {
  if (IsEmpty(queueDir)) return 0;
  return qob::Guarded(int32_t{0}, [&] { return qob::UnlockAll(queueDir); });
}

QOBAPI int32_t AddBounceReason(const char* queuePath, const char* text) {
  if (IsEmpty(queuePath) || text == nullptr) return -1;
  return qob::Guarded(int32_t{-1}, [&] { return qob::AppendReason(queuePath, text) ? 0 : -1; });
}

QOBAPI ms* GetBounceReason(const char* queuePath) {
  if (IsEmpty(queuePath)) return nullptr;
  return qob::Guarded(static_cast<ms*>(nullptr), [&] { return qob::ReadReasons(queuePath); });
}

QOBAPI void FreeQueueId(char* queuePath) { std::free(queuePath); }

}  // extern "C"
