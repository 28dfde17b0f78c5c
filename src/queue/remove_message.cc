#include "queue/remove_message.h"

#include <memory>
#include <optional>
#include <string>

#include <qobplatform/mqapi.h>

#include "frame/report.h"
#include "platform/btrieve/block_file.h"
#include "platform/os/directory.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "queue/message_database.h"
#include "queue/path_text.h"
#include "queue/same_path.h"

namespace qob {
namespace {

// Somebody else may change the record between the reading and the deleting, but not for ever.
constexpr int kConflictLimit = 8;

// The first record of that key: its status of finding, else that of deleting.
int DeleteFirst(MesgHandle* db, std::string_view key) {
  MesgRecord record;
  int status = store::kConflict;
  for (int round = 0; round < kConflictLimit && status == store::kConflict; ++round) {
    status = mesgdb::Find(db, key, &record);
    if (status == store::kOk) status = mesgdb::DeleteCurrent(db, spool::kKeyIndex);
  }
  return status;
}

// Stops at the first that cannot be deleted.
bool DeleteAll(std::string_view queue_path, const MesgHandle& db) {
  MesgHandle aside = db;
  int status = DeleteFirst(&aside, spool::RecordKeyOf(queue_path, spool::kMessageKind));
  if (status != store::kOk && status != store::kNotFound) return false;
  const std::string recipients = spool::RecordKeyOf(queue_path, spool::kRecipientKind);
  do {
    status = DeleteFirst(&aside, recipients);
  } while (status == store::kOk);
  return status == store::kNotFound;
}

void RemoveFiles(std::string_view base) {
  os::RemoveFile(PathText({base, spool::kMessageFile}).view());
  os::RemoveFile(PathText({base, spool::kReasonFile}).view());
}

}  // namespace

bool RemoveRecords(std::string_view queue_path, const MesgHandle& db) {
  // One commit for the message and all its recipients, where the database is ours.
  const std::shared_ptr<store::RecordFile> file = btrieve::FileBehind(&db);
  std::optional<store::Transaction> together;
  if (file != nullptr) together.emplace(*file);
  if (together && together->begun() != store::kOk) return false;
  const bool all = DeleteAll(queue_path, db);
  return (!together || together->Commit() == store::kOk) && all;
}

void RemoveFromQueue(std::string_view queue_path, const char* channel_name) {
  const std::optional<std::uint32_t> id =
      spool::IdOfKey(spool::RecordKeyOf(queue_path, spool::kMessageKind));
  MQChannel* channel = OpenMQChannel(channel_name);
  if (channel == nullptr) return;
  if (!id || RemoveMQQID(channel, *id) == 0) Report(kFailure, "RemoveMQQID failed.");
  const char* own = id ? GetMQPathNameById(*id, "") : nullptr;
  if (own != nullptr) RemoveFiles(own);
  // A message that was moved lies beside its own path; its reasons stayed where they were written.
  if (own == nullptr || !IsSamePath(own, queue_path)) RemoveFiles(queue_path);
  CloseMQChannel(channel);
}

}  // namespace qob
