// The files of a queue, looked at while the records are read: a list of all messages wants both,
// and neither needs the other.
#ifndef TOOLS_QOB_QUEUE_FILES_AHEAD_H
#define TOOLS_QOB_QUEUE_FILES_AHEAD_H

#include <future>
#include <vector>

#include "open_queue.h"
#include "platform/spool/message_files.h"

namespace cli::queue {

using FilesOfPlaces = std::vector<qob::spool::MessageFiles>;  // as OpenQueue::places()

// Begins to look at every message file, in a thread of its own where there can be one. The queue
// must outlive the result.
std::future<FilesOfPlaces> LookAhead(const OpenQueue& queue);

}  // namespace cli::queue

#endif
