#include "platform/tessera/open_relation.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <vector>

#include "platform/os/process.h"
#include "platform/spool/store_settings.h"
#include "platform/tessera/kept.h"

namespace qob::tessera {

using store::RecordFile;
using store::Status;

namespace {

constexpr char kDataExtension[] = ".db";
constexpr char kIndexExtension[] = ".id0";
constexpr int kMostTries = 10;

std::string PathOf(std::string_view directory, std::string_view name, const char* extension) {
  std::string path;
  path.reserve(directory.size() + name.size() + sizeof kIndexExtension);
  path += directory;
  path += '\\';
  path += name;
  return path += extension;
}

bool IsSameFile(const os::FileStatus& a, const os::FileStatus& b) {
  return a.device == b.device && a.inode == b.inode;
}

}  // namespace

// ---- what this process keeps open

// A child of a fork begins with none: what it inherited is neither used nor closed there. Never
// destroyed, for other threads may still be at work while the process ends.
class OpenRelation::Kept {
 public:
  static Kept& OfThisProcess() {
    static std::atomic<Kept*> present{nullptr};
    const std::uint32_t process = os::ProcessId();
    Kept* kept = present.load(std::memory_order_acquire);
    while (kept == nullptr || kept->process_ != process) {
      std::unique_ptr<Kept> made(new Kept(process, kept));
      if (present.compare_exchange_strong(kept, made.get(), std::memory_order_acq_rel)) {
        kept = made.release();
      }
    }
    return *kept;
  }

  std::shared_ptr<OpenRelation> Find(std::string_view directory, std::string_view name);
  void Drop(const OpenRelation& relation);
  // In place of the one of that path, else of the one that was longest out of use.
  void Keep(const std::shared_ptr<OpenRelation>& relation);
  void Close();

 private:
  struct Slot {
    std::uint64_t used = 0;
    std::shared_ptr<OpenRelation> relation;
  };

  Kept(std::uint32_t process, Kept* inherited) : process_(process), inherited_(inherited) {}

  const std::uint32_t process_;
  [[maybe_unused]] Kept* const inherited_;
  std::mutex mutex_;
  std::uint64_t uses_ = 0;
  Slot slots_[kMostKept];
};

std::shared_ptr<OpenRelation> OpenRelation::Kept::Find(std::string_view directory,
                                                       std::string_view name) {
  const std::scoped_lock hold(mutex_);
  for (Slot& slot : slots_) {
    if (slot.relation != nullptr && slot.relation->directory_ == directory &&
        slot.relation->name_ == name) {
      slot.used = ++uses_;
      return slot.relation;
    }
  }
  return nullptr;
}

void OpenRelation::Kept::Drop(const OpenRelation& relation) {
  std::shared_ptr<OpenRelation> gone;  // closed outside the mutex
  const std::scoped_lock hold(mutex_);
  for (Slot& slot : slots_) {
    if (slot.relation.get() != &relation) continue;
    gone = std::exchange(slot.relation, nullptr);
    slot.used = 0;
  }
}

void OpenRelation::Kept::Keep(const std::shared_ptr<OpenRelation>& relation) {
  std::shared_ptr<OpenRelation> gone;
  const std::scoped_lock hold(mutex_);
  Slot* place = &slots_[0];
  for (Slot& slot : slots_) {
    if (slot.used < place->used) place = &slot;
    if (slot.relation != nullptr && slot.relation->data_path_ == relation->data_path_) {
      place = &slot;
      break;
    }
  }
  gone = std::exchange(place->relation, relation);
  place->used = ++uses_;
}

void OpenRelation::Kept::Close() {
  std::shared_ptr<OpenRelation> gone[kMostKept];
  const std::scoped_lock hold(mutex_);
  for (std::size_t i = 0; i < kMostKept; ++i) {
    gone[i] = std::exchange(slots_[i].relation, nullptr);
    slots_[i].used = 0;
  }
}

void OpenRelation::CloseKept() { Kept::OfThisProcess().Close(); }

void CloseKept() {
  try {
    OpenRelation::CloseKept();
  } catch (const std::bad_alloc&) {  // of a table that is not there: nothing is kept
  }
}

// ---- opening

OpenRelation::OpenRelation(std::string_view directory, std::string_view name)
    : directory_(directory),
      name_(name),
      data_path_(PathOf(directory, name, kDataExtension)),
      index_path_(PathOf(directory, name, kIndexExtension)) {}

Status OpenRelation::Look(const std::string& path, Seen* seen) {
  const std::int64_t asked = os::Moment();
  const os::Result<os::FileStatus> found = os::StatusOf(path);
  if (!found) return store::StatusOfError(found.error);
  seen->status = found.value;
  seen->shows_changes = os::ShowsLaterChanges(found.value, asked);
  return found.value.kind == os::FileKind::kFile ? store::kOk : store::kNotOurFile;
}

bool OpenRelation::IsUntouched(const Seen& before, const Seen& now) {
  return before.shows_changes && IsSameFile(before.status, now.status) &&
         before.status.size == now.status.size && before.status.changed == now.status.changed;
}

bool OpenRelation::IsGood(const Seen& data) const {
  Seen index;
  return IsUntouched(data_, data) && !file_->is_spoilt() && file_->HasItsLog() &&
         Look(index_path_, &index) == store::kOk && IsUntouched(index_, index);
}

// Who may only read opens for reading.
Status OpenRelation::OpenRecords() {
  store::OpenOptions options = spool::StoreOpenOptions();
  Status status = RecordFile::Open(data_path_, options, &file_);
  if (status == store::kNoPermission) {
    options.read_only = true;
    status = RecordFile::Open(data_path_, options, &file_);
  }
  if (status == store::kNoSuchFile) return store::kNotOpen;  // it went just now
  if (status != store::kOk) return status;
  return IsRelation(file_->description()) ? store::kOk : store::kNotOurFile;
}

// kNotFound: it is missing or wrong.
Status OpenRelation::TakeIndex(const IndexBytes& expected) {
  Status status = Look(index_path_, &index_);
  if (status == store::kOk) status = RelationLock::Open(index_path_, &lock_);
  if (status == store::kNoSuchFile || status == store::kNotOurFile) return store::kNotFound;
  if (status != store::kOk) return status;
  return lock_->Holds(expected) ? store::kOk : store::kNotFound;
}

// Somebody may take it away as soon as it is made.
Status OpenRelation::OpenIndex() {
  const IndexBytes expected = ExpectedIndex(name_, *file_);
  for (int tries = 0; tries < kMostTries; ++tries) {
    Status status = TakeIndex(expected);
    if (status != store::kNotFound) return status;
    status = MakeIndexFile(index_path_, data_path_, expected,
                           [&] { return TakeIndex(expected) == store::kOk; });
    if (status != store::kOk) return status;
  }
  return store::kIoError;
}

Status OpenRelation::LookAtRecords(Seen* seen) const {
  const Status status = Look(data_path_, seen);
  if (status == store::kNoSuchFile) return store::kNotOpen;
  return status == store::kOk && seen->status.size == 0 ? store::kBufferTooShort : status;
}

Status OpenRelation::OpenFiles() {
  Status status = LookAtRecords(&data_);
  if (status == store::kOk) status = OpenRecords();
  return status == store::kOk ? OpenIndex() : status;
}

Status OpenRelation::Open(std::string_view directory, std::string_view name,
                          std::shared_ptr<OpenRelation>* relation) {
  if (directory.empty() || name.empty()) return store::kNotOpen;
  Kept& kept = Kept::OfThisProcess();
  if (std::shared_ptr<OpenRelation> found = kept.Find(directory, name)) {
    Seen now;
    if (found->LookAtRecords(&now) == store::kOk && found->IsGood(now)) {
      *relation = std::move(found);
      return store::kOk;
    }
    // Closed first, if nobody else has it: opening then looks at everything.
    kept.Drop(*found);
  }
  std::shared_ptr<OpenRelation> fresh(new OpenRelation(directory, name));
  const Status status = fresh->OpenFiles();
  if (status != store::kOk) return status;
  kept.Keep(fresh);
  *relation = std::move(fresh);
  return store::kOk;
}

Status OpenRelation::Create(std::string_view directory, std::string_view name,
                            const store::FileDescription& description) {
  if (directory.empty() || name.empty()) return store::kBadFileName;
  if (os::StatusOf(PathOf(directory, name, kIndexExtension))) return store::kFileExists;
  const Status status = RecordFile::Create(PathOf(directory, name, kDataExtension), description,
                                           spool::StoreCreateOptions());
  if (status != store::kOk) return status;
  std::shared_ptr<OpenRelation> made;
  return Open(directory, name, &made);
}

// ---- the lock

bool OpenRelation::HasCurrentLock() const {
  const os::Result<os::FileStatus> found = os::StatusOf(index_path_);
  return found && IsSameFile(found.value, lock_->file());
}

Status OpenRelation::Again(std::shared_ptr<OpenRelation>* again) const {
  const Status status = Open(directory_, name_, again);
  const bool is_another =
      status == store::kNotOpen || status == store::kBufferTooShort ||
      status == store::kNotOurFile ||
      (status == store::kOk && !IsSameFile((*again)->data_.status, data_.status));
  if (!is_another) return status;
  *again = nullptr;
  return store::kOk;
}

}  // namespace qob::tessera
