// The records of one message, looked up by its id: no snapshot of the whole queue is needed for it.
#ifndef TOOLS_QOB_QUEUE_RECORD_ACCESS_H
#define TOOLS_QOB_QUEUE_RECORD_ACCESS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/spool/message_record.h"
#include "platform/store/record_file.h"

namespace cli::queue {

struct StoredRecord {
  qob::store::Entry entry;
  qob::spool::MessageRecord record;
};

// Every record of that id and kind (kMessageKind, kRecipientKind) in the order of insertion; none
// is kOk too.
qob::store::Status ReadRecords(qob::store::RecordFile& database, std::uint32_t id, char kind,
                               std::vector<StoredRecord>* records);
// The message record that counts; kNotFound.
qob::store::Status ReadMessageRecord(qob::store::RecordFile& database, std::uint32_t id,
                                     StoredRecord* record);

// The names of all channels that messages of a database wait on.
class ChannelNames {
 public:
  explicit ChannelNames(qob::store::RecordFile& database) : database_(database) {}

  // Takes the message off every channel; *removed: the names of those it was on. To be called in a
  // transaction.
  qob::store::Status RemoveMarks(std::uint32_t id, std::vector<std::string>* removed);

 private:
  qob::store::Status Collect();

  qob::store::RecordFile& database_;
  std::vector<std::string> names_;
};

}  // namespace cli::queue

#endif
