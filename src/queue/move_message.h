// A message goes to another queue directory.
#pragma once
#include <string_view>

#include <qob3xapi/mesgdb.h>

namespace qob {

// False when the paths name no message or no directory, or the record cannot be found or written;
// nothing has changed then. The record is written first: a move that is interrupted between record
// and file is seen by it and can be finished. Lock and reason file stay. Throws std::bad_alloc.
bool MoveMessage(std::string_view queue_path, std::string_view new_directory, const MesgHandle& db);

}  // namespace qob
