// What lies in a queue directory, for those who look after it.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/file_status.h"
#include "platform/os/result.h"

namespace qob::spool {

enum class QueueFileKind { kMessage, kLock, kReason, kOther };

struct QueueFile {
  QueueFileKind kind = QueueFileKind::kOther;
  std::uint32_t id = 0;  // of the first three kinds
  std::string name;
};

// Every name in the directory; names that are not written as the system writes them are kOther.
os::Result<std::vector<QueueFile>> ListQueueFiles(std::string_view directory);

// A lock that was taken before the machine started last: its holder is gone.
bool IsStaleLock(const os::FileStatus& lock);

// Moves <directory>\<name> to <directory>\corrupt\, under another name when that one is taken there,
// flushes both directories and writes one line about it to "corrupt\report.txt". Nothing is ever
// replaced. 0 or the error; *placed is the new path.
int MoveToCorrupt(std::string_view directory, std::string_view name, std::string_view reason,
                  std::string* placed);
// A text kept there for what had no file: the bytes of a record, for instance.
int SaveToCorrupt(std::string_view directory, std::string_view name, std::string_view bytes,
                  std::string_view reason, std::string* placed);

// The counter of ids. kWrongSize: it stands but is not four bytes long.
enum class CounterState { kGood, kMissing, kWrongSize, kUnreadable };
CounterState LookAtCounter(std::string_view directory, std::uint32_t* value);
// Makes a damaged one anew, with that number, under its exclusive lock. 0 or the error.
int RemakeCounter(std::string_view directory, std::uint32_t value);

}  // namespace qob::spool
