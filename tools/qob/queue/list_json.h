// The list of messages for programs.
#ifndef TOOLS_QOB_QUEUE_LIST_JSON_H
#define TOOLS_QOB_QUEUE_LIST_JSON_H

#include <span>

#include "message.h"
#include "open_queue.h"

namespace cli::queue {

// One line of qob.queue-list for each, to standard output.
void PrintListJson(const OpenQueue& queue, std::span<Message* const> messages);

}  // namespace cli::queue

#endif
