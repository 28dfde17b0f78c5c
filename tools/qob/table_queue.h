// What the tables of the queue's commands share.
#ifndef TOOLS_QOB_TABLE_QUEUE_H
#define TOOLS_QOB_TABLE_QUEUE_H

#include "table_options.h"

namespace cli {

inline constexpr OptionRow kQueue = {
    "-q,--queue", "DIR",
    "this queue directory instead of [Gateway] QueueDirectory; may be given several times",
    Offers::kFolders};

}  // namespace cli

#endif
