// What an entry is in the message database: the message's record, one record per recipient, one
// mark per channel, and the envelope as it was put. All of it is there or nothing.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/store/record_file.h"

namespace qob::mq {

struct EntryRecords {
  std::uint32_t id = 0;
  const std::string& directory;
  const std::vector<std::string>& channels;
  const std::string& note;  // of WriteNote
};

enum class Outcome {
  kWritten,  // on stable storage
  kUndone,   // nothing is there
  kUnknown,  // the last step failed: it may be there, now or after a power cut
};
struct Written {
  Outcome outcome = Outcome::kUndone;
  store::Status status = store::kNoMemory;  // why it is not kWritten
};

// Addresses get their host parts by the configuration of this moment.
Written WriteRecords(store::RecordFile& file, const EntryRecords& records) noexcept;

// After kUnknown: what there may be is deleted, on stable storage when it gives kOk.
store::Status EraseRecords(const EntryRecords& records) noexcept;

}  // namespace qob::mq
