// A message leaves the queue.
#pragma once
#include <string_view>

#include <qob3xapi/mesgdb.h>

namespace qob {

// Deletes the message's record and then those of its recipients. False when one could not be
// deleted; those before it are gone and the rest is left alone. Throws std::bad_alloc.
bool RemoveRecords(std::string_view queue_path, const MesgHandle& db);

// The queue's part: takes the message off the channel and removes its files. Nothing happens for a
// channel that cannot be opened.
void RemoveFromQueue(std::string_view queue_path, const char* channel);

}  // namespace qob
