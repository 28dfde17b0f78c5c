#include "queue/new_queue_id.h"

#include <memory>

#include "platform/btrieve/block_file.h"
#include "platform/spool/names.h"
#include "platform/spool/new_id.h"
#include "queue/message_database.h"
#include "queue/queue_lock.h"

namespace qob {
namespace {

// Records are looked up through the caller's database by its public calls, in a copy of the handle;
// channel marks are in the file behind it.
class SearchThroughHandle final : public spool::IdSearch {
 public:
  explicit SearchThroughHandle(const MesgHandle& db) : db_(db) {}

  store::Status FindMessage(std::uint32_t id) override { return Find(id, spool::kMessageKind); }
  store::Status FindRemains(std::uint32_t id) override {
    const store::Status status = Find(id, spool::kRecipientKind);
    if (status != store::kNotFound) return status;
    if (file_ == nullptr) file_ = btrieve::FileBehind(&db_);
    // A record manager of the site's own keeps its marks by itself.
    return file_ == nullptr ? status : spool::FindMark(*file_, id);
  }
  int Lock(std::string_view queue_path) override { return locks_.Take(queue_path); }
  void Unlock(std::string_view queue_path) override { locks_.Release(queue_path); }

 private:
  store::Status Find(std::uint32_t id, char kind) {
    MesgRecord record;
    return static_cast<store::Status>(mesgdb::Find(&db_, spool::RecordKey(id, kind), &record));
  }

  MesgHandle db_;
  std::shared_ptr<store::RecordFile> file_;
  QueueLocks locks_;
};

}  // namespace

std::string NewQueueId(std::string_view directory, const MesgHandle& db) {
  SearchThroughHandle search(db);
  std::uint32_t id = 0;
  std::string path;
  if (spool::TakeNewId(directory, search, &id, &path) != store::kOk) path.clear();
  return path;
}

void GiveBackQueueId(const std::string& path) { QueueLocks().Release(path); }

}  // namespace qob
