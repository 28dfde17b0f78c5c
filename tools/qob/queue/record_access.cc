#include "record_access.h"

#include <set>
#include <span>

#include "platform/spool/names.h"

namespace cli::queue {
namespace {

using qob::store::RecordFile;
using qob::store::Status;

std::string KeyOf(const RecordFile& database, std::uint32_t id, char kind) {
  const std::string key = qob::spool::RecordKey(id, kind);
  return qob::store::IndexKey(database.description().keys[qob::spool::kKeyIndex],
                              std::as_bytes(std::span(key)));
}

}  // namespace

Status ReadRecords(RecordFile& database, std::uint32_t id, char kind,
                   std::vector<StoredRecord>* records) {
  records->clear();
  const std::string key = KeyOf(database, id, kind);
  StoredRecord read{};
  Status status = database.Find(qob::spool::kKeyIndex, qob::store::Seek::kEqual, key, &read.entry,
                                qob::spool::Bytes(read.record));
  while (status == qob::store::kOk && read.entry.key == key) {
    records->push_back(read);
    status = database.Next(qob::spool::kKeyIndex, key, records->back().entry.number, &read.entry,
                           qob::spool::Bytes(read.record));
  }
  const bool at_end = status == qob::store::kNotFound || status == qob::store::kEndOfFile;
  return at_end ? qob::store::kOk : status;
}

Status ReadMessageRecord(RecordFile& database, std::uint32_t id, StoredRecord* record) {
  return database.Find(qob::spool::kKeyIndex, qob::store::Seek::kEqual,
                       KeyOf(database, id, qob::spool::kMessageKind), &record->entry,
                       qob::spool::Bytes(record->record));
}

Status ChannelNames::Collect() {
  std::set<std::string> names;
  const Status status = database_.AllMarks([&](const qob::store::Mark& mark) {
    names.insert(mark.name);
    return true;
  });
  names_.assign(names.begin(), names.end());
  return status;
}

Status ChannelNames::RemoveMarks(std::uint32_t id, std::vector<std::string>* removed) {
  removed->clear();
  // A name that came into use since the last look is met in the second round.
  for (int round = 0; round < 2; ++round) {
    bool found = false;
    Status status = database_.HasMark(id, &found);
    if (status != qob::store::kOk || !found) return status;
    if (round > 0 || names_.empty()) status = Collect();
    if (status != qob::store::kOk) return status;
    for (const std::string& name : names_) {
      status = database_.RemoveMark(name, id);
      if (status == qob::store::kOk) removed->push_back(name);
      if (status != qob::store::kOk && status != qob::store::kNotFound) return status;
    }
  }
  return qob::store::kOk;
}

}  // namespace cli::queue
