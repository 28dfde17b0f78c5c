#include "platform/spool/new_id.h"

#include <array>
#include <span>

#include "platform/os/directory.h"
#include "platform/os/file.h"
#include "platform/os/file_status.h"
#include "platform/spool/counter.h"
#include "platform/spool/lock_file.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/spool/site.h"

namespace qob::spool {
namespace {

// Gives the lock back unless the number is handed out.
class Held {
 public:
  Held(IdSearch& search, const std::string& path) : search_(search), path_(path) {}
  ~Held() {
    if (!kept_) search_.Unlock(path_);
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  void Keep() { kept_ = true; }

 private:
  IdSearch& search_;
  const std::string& path_;
  bool kept_ = false;
};

store::Status FindFile(const std::string& path, const char* extension) {
  const int error = os::StatusOf(path + extension).error;
  if (error == 0) return store::kOk;
  return error == os::kNotFound ? store::kNotFound : store::kIoError;
}

// kNotFound: nothing has the number.
store::Status LookAgain(IdSearch& search, std::uint32_t id, const std::string& path) {
  store::Status status = search.FindMessage(id);
  if (status == store::kNotFound) status = search.FindRemains(id);
  if (status == store::kNotFound) status = FindFile(path, kMessageFile);
  if (status == store::kNotFound) status = FindFile(path, kReasonFile);
  return status;
}

class SearchInFile final : public IdSearch {
 public:
  explicit SearchInFile(store::RecordFile& file) : file_(file) {}

  store::Status FindMessage(std::uint32_t id) override { return Find(RecordKey(id, kMessageKind)); }
  store::Status FindRemains(std::uint32_t id) override {
    const store::Status status = Find(RecordKey(id, kRecipientKind));
    return status == store::kNotFound ? FindMark(file_, id) : status;
  }
  int Lock(std::string_view queue_path) override {
    lock_ = queue_path;
    lock_ += kLockFile;
    return os::MakeEmptyFile(lock_);
  }
  // Of the path that was locked last: letting go needs no memory.
  void Unlock(std::string_view) override { RemoveLockFile(lock_); }

 private:
  store::Status Find(const std::string& key) {
    const store::KeyDescription& index = file_.description().keys[kKeyIndex];
    store::Entry entry;
    return file_.Find(kKeyIndex, store::Seek::kEqual,
                      store::IndexKey(index, std::as_bytes(std::span(key))), &entry,
                      Bytes(record_));
  }

  store::RecordFile& file_;
  std::string lock_;
  MessageRecord record_;
};

}  // namespace

store::Status FindMark(store::RecordFile& file, std::uint32_t id) {
  bool found = false;
  const store::Status status = file.HasMark(id, &found);
  return status == store::kOk && !found ? store::kNotFound : status;
}

store::Status TakeNewId(std::string_view directory, IdSearch& search, std::uint32_t* id,
                        std::string* path) {
  for (;;) {
    const std::int32_t number = NextUnique(TheSite().temp_dir);
    if (number < 0) return store::kIoError;
    const auto drawn = static_cast<std::uint32_t>(number);
    store::Status status = search.FindMessage(drawn);
    if (status == store::kOk) continue;
    if (status != store::kNotFound) return status;
    *path = QueuePath(directory, drawn);
    const int error = search.Lock(*path);
    if (error == os::kExists) continue;
    if (error != 0) return store::kIoError;
    Held held(search, *path);
    status = LookAgain(search, drawn, *path);
    if (status == store::kOk) continue;
    if (status != store::kNotFound) return status;
    held.Keep();
    *id = drawn;
    return store::kOk;
  }
}

store::Status TakeNewId(std::string_view directory, store::RecordFile& file, std::uint32_t* id,
                        std::string* path) {
  SearchInFile search(file);
  return TakeNewId(directory, search, id, path);
}

}  // namespace qob::spool
