// The commands that change the queue.
#include "table_queue.h"

namespace cli {

std::span<const CommandRow> QueueActCommands() { return {}; }

}  // namespace cli
