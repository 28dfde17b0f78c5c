// With a filter a message is judged under its lock: the file must stand, the record must not carry
// a state text (unless the filter takes all), the size must fit. The record that the walk has read
// may be older than the lock, so its state is read again before the message is handed out. Without
// a filter nothing is locked and the path is given as the message queue names it.
#include "queue/queue_scan.h"

#include <cstdio>
#include <memory>
#include <new>
#include <optional>

#include <qob3xapi/errors.h>
#include <qobplatform/mqapi.h>

#include "frame/config.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "platform/os/ascii.h"
#include "platform/os/file_status.h"
#include "platform/os/thread_slot.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "queue/message_database.h"
#include "queue/path_text.h"
#include "queue/queue_lock.h"
#include "queue/same_path.h"
#include "queue/scan_filter.h"

namespace qob {
namespace {

constexpr std::size_t kDigits = 8;

// Nobody but the scan uses the slot.
struct ScanPlace final : os::SlotValue {
  MesgHandle handle{};
};

ScanPlace* ThePlace() { return static_cast<ScanPlace*>(os::GetThreadSlot()); }

// Null when the slot is not reserved: no start-up, or shut down again.
ScanPlace* NewPlace() {
  if (ThePlace() == nullptr) os::SetThreadSlot(std::make_unique<ScanPlace>());
  return ThePlace();
}

// The digits of a message's key in upper case, as its files have them; empty for a record that is
// no message of the queue.
struct Digits {
  explicit Digits(std::string_view key) {
    if (key.size() != kDigits + 1 || ascii::Lower(static_cast<unsigned char>(key.back())) != 'f') {
      return;
    }
    const std::optional<std::uint32_t> read = spool::ReadId(key.substr(0, kDigits));
    if (!read) return;
    id = *read;
    std::snprintf(text, sizeof text, "%08X", id);
  }
  bool empty() const { return text[0] == '\0'; }
  std::string_view view() const { return text; }

  std::uint32_t id = 0;
  char text[kDigits + 1] = "";
};

// A walk during one call. What a message is judged by is a status too: kOk hands it out, kNotFound
// passes over it, any other ends the walk.
class Walk {
 public:
  Walk(std::string_view directory, const QueueScanFilter* filter, ScanPlace& place)
      : directory_(directory),
        name_(spool::DirectoryName(directory)),
        filter_(filter),
        place_(place) {}

  // Without a separator, or with separators alone, the directory has no name in the index.
  bool Possible() const { return spool::SeparatorRuns(directory_) > 0 && !name_.empty(); }
  int Start() {
    const store::Seek seek =
        filter_ == nullptr ? store::Seek::kEqual : store::Seek::kGreaterOrEqual;
    return mesgdb::FindAsGiven(&place_.handle, spool::kDirectoryIndex, seek, name_, &record_);
  }
  int Step() { return mesgdb::Next(&place_.handle, spool::kDirectoryIndex, &record_); }

  // From the record that was read on. kOk: found() has the path.
  int Search();
  char* found() { return found_.release(); }

 private:
  bool InDirectory() const {
    return ascii::EqualFold(spool::FieldText(record_.directoryName), name_);
  }
  int Judge(const Digits& digits);
  int JudgeLocked(const PathText& path);
  int JudgeStateNow();
  int JudgeFree(const Digits& digits);
  bool IsLocked(std::string_view name) const;
  int HandOut(std::string_view path);

  std::string_view directory_;
  std::string_view name_;
  const QueueScanFilter* filter_;
  ScanPlace& place_;
  QueueLocks locks_;
  MesgRecord record_;
  HeapText found_;
};

int Walk::Search() {
  for (;;) {
    if (!InDirectory()) return store::kEndOfFile;
    const Digits digits(spool::FieldText(record_.key));
    int status = digits.empty() ? store::kNotFound : Judge(digits);
    if (status != store::kNotFound) return status;
    status = Step();
    if (status != store::kOk) return status;
  }
}

int Walk::Judge(const Digits& digits) {
  if (filter_ == nullptr) return JudgeFree(digits);
  const PathText path({directory_, "\\", digits.view()});
  if (locks_.Take(path.view()) != 0) return store::kNotFound;
  LockHold hold(locks_, path.view());
  const int status = JudgeLocked(path);
  if (status == store::kOk) hold.Keep();
  return status;
}

int Walk::JudgeLocked(const PathText& path) {
  const os::Result<os::FileStatus> file = os::StatusOf(PathText(path, spool::kMessageFile).view());
  if (!file || file.value.kind != os::FileKind::kFile) return store::kNotFound;
  if (!StateFits(*filter_, spool::FieldText(record_.stateText))) return store::kNotFound;
  if (!SizeFits(*filter_, file.value.size)) return store::kNotFound;
  if (filter_->takeAll == 0) {
    if (const int status = JudgeStateNow(); status != store::kOk) return status;
  }
  return HandOut(path.view());
}

int Walk::JudgeStateNow() {
  MesgHandle aside = place_.handle;
  MesgRecord now;
  const int status = mesgdb::Find(&aside, spool::FieldText(record_.key), &now);
  if (status != store::kOk) return status;
  return StateFits(*filter_, spool::FieldText(now.stateText)) ? store::kOk : store::kNotFound;
}

// Some programs of the system name their locks by the decimal number.
int Walk::JudgeFree(const Digits& digits) {
  char decimal[16];
  std::snprintf(decimal, sizeof decimal, "%d", static_cast<std::int32_t>(digits.id));
  if (IsLocked(decimal) || IsLocked(digits.view())) return store::kNotFound;
  const char* own = IsSamePath(directory_, QueueDir()) ? GetMQPathNameById(digits.id, "") : nullptr;
  return own != nullptr ? HandOut(own)
                        : HandOut(PathText({directory_, "\\", digits.view()}).view());
}

bool Walk::IsLocked(std::string_view name) const {
  const PathText lock({directory_, "\\", name, spool::kLockFile});
  return os::StatusOf(lock.view()).error == 0;
}

int Walk::HandOut(std::string_view path) {
  found_.reset(HeapCopy(path));
  if (!found_) throw std::bad_alloc();
  return store::kOk;
}

// Gives the place up and tells what the walk ended with, when that is no ordinary end.
char* End(const char* call, int status) {
  EndQueueScan();
  if (status != store::kNotFound && status != store::kEndOfFile) {
    Report(kFailure, "%s failed, Btrieve error :%s", call, ShowBtrError(status));
  }
  return nullptr;
}

char* SearchOn(Walk& walk) {
  const int status = walk.Search();
  return status == store::kOk ? walk.found() : End("FindNextQueueId", status);
}

}  // namespace

char* FirstQueueId(std::string_view directory, const MesgHandle& db,
                   const QueueScanFilter* filter) {
  ScanPlace* place = NewPlace();
  if (place == nullptr) return nullptr;
  place->handle = db;
  Walk walk(directory, filter, *place);
  const int status = walk.Possible() ? walk.Start() : store::kEndOfFile;
  return status == store::kOk ? SearchOn(walk) : End("FindFirstQueueId", status);
}

char* NextQueueId(std::string_view directory, const QueueScanFilter* filter) {
  ScanPlace* place = ThePlace();
  if (place == nullptr) return nullptr;
  Walk walk(directory, filter, *place);
  const int status = walk.Possible() ? walk.Step() : store::kEndOfFile;
  return status == store::kOk ? SearchOn(walk) : End("FindNextQueueId", status);
}

void EndQueueScan() {
  if (ThePlace() != nullptr) os::SetThreadSlot(nullptr);
}

}  // namespace qob
