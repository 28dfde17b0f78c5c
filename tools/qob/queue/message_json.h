// A message of the queue as members of a JSON line: the same ones wherever a message is shown.
#ifndef TOOLS_QOB_QUEUE_MESSAGE_JSON_H
#define TOOLS_QOB_QUEUE_MESSAGE_JSON_H

#include <string_view>

#include "../json_writer.h"
#include "message.h"
#include "open_queue.h"

namespace cli::queue {

// The moment as RFC 3339 text and as a number; both null when not set.
void PutMoment(std::string_view name, std::string_view seconds_name, std::int64_t seconds,
               JsonWriter* line);

// Everything that qob.queue-list documents, the list of recipients excepted.
void PutMessage(const OpenQueue& queue, const Message& message, JsonWriter* line);

// "recipients": their addresses and states.
void PutRecipientStates(const Message& message, JsonWriter* line);

}  // namespace cli::queue

#endif
