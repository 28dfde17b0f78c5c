// The order of a list and how much of it is shown: --sort, --reverse, --limit.
#ifndef TOOLS_QOB_QUEUE_ORDER_H
#define TOOLS_QOB_QUEUE_ORDER_H

#include <vector>

#include "../arguments.h"
#include "message.h"

namespace cli::queue {

inline constexpr const char* kSortWords = "id age size tries retry sender recipients status";

// True when --sort asks for sizes: they must have been looked up before.
bool SortsByFiles(const Arguments& arguments);
// Messages that are equal in what is asked keep their order. "age" has the oldest first, "size",
// "tries" and "recipients" the largest; --reverse turns all around. Cut to --limit.
void Arrange(const Arguments& arguments, std::vector<Message*>* messages);

}  // namespace cli::queue

#endif
