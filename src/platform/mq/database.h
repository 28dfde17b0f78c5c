// The message database of a queue directory, as the message queue uses it.
#pragma once
#include <memory>
#include <string>
#include <string_view>

#include "platform/spool/message_record.h"
#include "platform/store/record_file.h"

namespace qob::mq {

// The queue directory start-up has read; before start-up that of the configuration; "" for none.
std::string QueueDirectory();
// The file is created when there is none.
store::Status OpenDatabase(std::string_view directory, std::shared_ptr<store::RecordFile>* file);

// The message's own record: kOk, kNotFound, or why it cannot be read.
store::Status FindMessage(store::RecordFile& file, std::uint32_t id, spool::MessageRecord* record);

}  // namespace qob::mq
