// A number for a new message that nothing in the queue has: no record, no channel mark, no file.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/store/record_file.h"

namespace qob::spool {

// What the search asks of the caller's side of the queue.
class IdSearch {
 public:
  virtual ~IdSearch() = default;
  // kNotFound: the message database has no message of that number; kOk: it has.
  virtual store::Status FindMessage(std::uint32_t id) = 0;
  // The same for recipients and channel marks.
  virtual store::Status FindRemains(std::uint32_t id) = 0;
  // The lock of a queue path. 0 taken; os::kExists when somebody has it; another error.
  virtual int Lock(std::string_view queue_path) = 0;
  virtual void Unlock(std::string_view queue_path) = 0;
};

// Draws numbers until one is free, takes its lock and looks once more under it: a counter that was
// set back by a power cut gives numbers out again. *id and *path (the queue path, locked) on kOk. A
// failure to look, a counter that gives -1 (kIoError) or a lock that cannot be made for another
// reason than that somebody has it ends the search, and no lock is held then.
store::Status TakeNewId(std::string_view directory, IdSearch& search, std::uint32_t* id,
                        std::string* path);
// kOk when a channel has the number, kNotFound when none has.
store::Status FindMark(store::RecordFile& file, std::uint32_t id);
// TakeNewId in an open database, with plain lock files.
store::Status TakeNewId(std::string_view directory, store::RecordFile& file, std::uint32_t* id,
                        std::string* path);

}  // namespace qob::spool
