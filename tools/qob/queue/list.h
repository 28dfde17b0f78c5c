// The list of messages for people: a table that list and watch share.
#ifndef TOOLS_QOB_QUEUE_LIST_H
#define TOOLS_QOB_QUEUE_LIST_H

#include <cstdint>
#include <span>
#include <string>

#include "../flat_table.h"
#include "message.h"

namespace cli::queue {

struct ListStyle {
  bool terminal = false;    // sizes with units instead of bytes
  bool recipients = false;  // every recipient on a line of its own
};

FlatTable ListTable(std::span<Message* const> messages, std::int64_t now, const ListStyle& style);

// "12 messages, 3 held, 40 recipients pending"
std::string ListSummary(std::span<Message* const> messages);

}  // namespace cli::queue

#endif
