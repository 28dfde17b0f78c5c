// The walk over the messages of one queue directory, in the order of the database's directory
// index. Its place belongs to the thread and lies in the slot that start-up reserves: it is a copy
// of the caller's handle, so that other calls on that handle do not disturb it, and it stays good
// when the message it stands on is deleted or moved.
#pragma once
#include <string_view>

#include <qob3xapi/queueid.h>

namespace qob {

// A new heap queue path, or null at the end; the place is given up then. Throws std::bad_alloc.
char* FirstQueueId(std::string_view directory, const MesgHandle& db, const QueueScanFilter* filter);
char* NextQueueId(std::string_view directory, const QueueScanFilter* filter);
// Gives the thread's place up, if it has one.
void EndQueueScan();

}  // namespace qob
