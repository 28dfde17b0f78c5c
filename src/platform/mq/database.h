// The message database of the site's queue directory, as the message queue uses it.
#pragma once
#include <memory>

#include "platform/store/record_file.h"

namespace qob::mq {

// The queue directory start-up has read; before start-up that of the configuration.
// The file is created when there is none.
store::Status OpenDatabase(std::shared_ptr<store::RecordFile>* file);

}  // namespace qob::mq
