#include "platform/mq/entry.h"

#include <algorithm>

#include "platform/mq/connection.h"
#include "platform/mq/database.h"
#include "platform/mq/entry_records.h"
#include "platform/mq/report.h"
#include "platform/os/directory.h"
#include "platform/os/file.h"
#include "platform/os/file_status.h"
#include "platform/os/flush.h"
#include "platform/os/process.h"
#include "platform/spool/names.h"
#include "platform/spool/new_id.h"

namespace qob::mq {
namespace {

constexpr char kClose[] = "CloseMQEntry";

bool RemoveIfThere(std::string_view path, const char* call) {
  const int error = os::RemoveFile(path);
  if (error == 0 || error == os::kNotFound) return true;
  TellSystemFailure(call, path, error);
  return false;
}

}  // namespace

std::unique_ptr<Entry> Entry::Create() {
  if (*BoundDirectory() == '\0') return nullptr;
  std::unique_ptr<Entry> entry(new Entry);
  entry->process_ = os::ProcessId();
  entry->directory_ = BoundDirectory();
  if (OpenDatabase(entry->directory_, &entry->file_) != store::kOk) return nullptr;
  KeepOpen(entry->file_);
  return entry->TakeNumber() ? std::move(entry) : nullptr;
}

bool Entry::TakeNumber() {
  // All names have the same length.
  const std::string base = spool::QueuePath(directory_, 0);
  message_file_ = base + spool::kMessageFile;
  lock_file_ = base + spool::kLockFile;
  if (spool::TakeNewId(directory_, *file_, &id_, &base_) != store::kOk) return false;
  std::copy(base_.begin(), base_.end(), message_file_.begin());
  std::copy(base_.begin(), base_.end(), lock_file_.begin());
  return true;
}

bool Entry::IsOurs() const { return process_ == os::ProcessId(); }

const char* Entry::PathName(std::string_view extension) {
  for (const auto& [of, path] : names_) {
    if (of == extension) return path.c_str();
  }
  std::string path = base_;
  path += extension;
  return names_.emplace_front(extension, std::move(path)).second.c_str();
}

void Entry::AddChannel(std::string_view name) {
  if (std::find(channels_.begin(), channels_.end(), name) != channels_.end()) return;
  channels_.emplace_back(name);
}

bool Entry::IsComplete() const {
  if (channels_.empty() || note_.empty()) return false;
  const os::Result<os::FileStatus> status = os::StatusOf(message_file_);
  return status && status.value.kind == os::FileKind::kFile;
}

bool Entry::FlushFiles() const {
  const os::FlushErrors errors = os::FlushWithDirectory(message_file_, directory_);
  if (errors.file != 0) TellSystemFailure(kClose, message_file_, errors.file);
  if (errors.directory != 0) TellSystemFailure(kClose, directory_, errors.directory);
  return errors.file == 0 && errors.directory == 0;
}

bool Entry::Commit() {
  if (IsComplete() && FlushFiles()) {
    const EntryRecords records{id_, directory_, channels_, note_};
    const Written written = WriteRecords(*file_, records);
    if (written.outcome == Outcome::kWritten) {
      Unlock();
      return true;
    }
    TellStoreFailure(kClose, base_, written.status);
    if (written.outcome == Outcome::kUnknown && !Erase(records)) return false;
  }
  RemoveIfThere(message_file_, kClose);
  RemoveIfThere(lock_file_, kClose);
  return false;
}

bool Entry::Erase(const EntryRecords& records) {
  const store::Status status = EraseRecords(records);
  if (status == store::kOk) return true;
  TellFailure(kClose, base_, "whether it was committed is not known; its file and its lock stay");
  return false;
}

// It is in the queue, whatever becomes of the lock.
void Entry::Unlock() const {
  const int error = os::RemoveFile(lock_file_);
  if (error != 0) TellSystemFailure(kClose, lock_file_, error);
}

bool Entry::Discard() {
  const bool file = RemoveIfThere(message_file_, "DiscardMQEntry");
  const bool lock = RemoveIfThere(lock_file_, "DiscardMQEntry");
  return file && lock;
}

}  // namespace qob::mq
