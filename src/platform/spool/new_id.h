// A number for a new message that nothing in the queue has: no record, no channel mark, no file.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/store/record_file.h"

namespace qob::spool {

// Draws numbers until one is free, takes its lock file and looks once more under it. *id and *path
// (the queue path, locked) on kOk. A store failure, a counter that gives -1 (kIoError) or a lock file
// that cannot be made for another reason than that it stands already ends the search.
store::Status TakeNewId(std::string_view directory, store::RecordFile& file, std::uint32_t* id,
                        std::string* path);

}  // namespace qob::spool
