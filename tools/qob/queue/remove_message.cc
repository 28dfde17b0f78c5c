#include "remove_message.h"

#include <qob3xapi/queueid.h>

#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"

namespace cli::queue {
namespace {

using qob::store::Status;

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

}  // namespace

ChannelNames& Remover::ChannelsOf(const Place& home) {
  std::unique_ptr<ChannelNames>& names = channels_[&home];
  if (names == nullptr) names = std::make_unique<ChannelNames>(*home.database);
  return *names;
}

// All or nothing.
Status Remover::RemoveRecords(const Target& target, std::vector<std::string>* channels) {
  qob::store::RecordFile& database = *target.home.database;
  ChannelNames& names = ChannelsOf(target.home);
  qob::store::Transaction transaction(database);
  if (transaction.begun() != qob::store::kOk) return transaction.begun();
  DestroyQueueId(target.base.c_str(), target.db);
  // That call does not tell whether it came to its end.
  for (const char kind : {qob::spool::kMessageKind, qob::spool::kRecipientKind}) {
    std::vector<StoredRecord> left;
    const Status status = ReadRecords(database, target.id, kind, &left);
    if (status != qob::store::kOk) return status;
    for (const StoredRecord& record : left) {
      if (const Status deleted = database.Delete(record.entry); deleted != qob::store::kOk)
        return deleted;
    }
  }
  Status status = names.RemoveMarks(target.id, channels);
  if (status != qob::store::kOk) return status;
  status = database.RemoveNote(target.id);
  if (status != qob::store::kOk && status != qob::store::kNotFound) return status;
  return transaction.Commit();
}

// "" or what went wrong.
std::string Remover::RemoveFile(const Target& target, const char* extension) {
  const std::string path = target.base + extension;
  const int error = qob::spool::RemoveQueueFile(path);
  if (error == 0 || qob::spool::IsMissing(error)) return {};
  return NativeBase(path) + ": cannot be removed: " + qob::spool::ErrorText(error) +
         ": its records are gone: remove the file";
}

Outcome Remover::operator()(Target& target) {
  std::vector<std::string> channels;
  const Status status = RemoveRecords(target, &channels);
  if (status != qob::store::kOk) return StoreFailed(status);
  std::string problem = RemoveFile(target, qob::spool::kMessageFile);
  if (problem.empty()) problem = RemoveFile(target, qob::spool::kReasonFile);
  if (!problem.empty()) return Failed(problem);
  Outcome outcome;
  if (!channels.empty()) outcome.detail = "taken off channel " + Listed(channels);
  return outcome;
}

}  // namespace cli::queue
