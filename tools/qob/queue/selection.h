// The messages that a command's operands choose out of a snapshot.
#ifndef TOOLS_QOB_QUEUE_SELECTION_H
#define TOOLS_QOB_QUEUE_SELECTION_H

#include <cstdint>
#include <vector>

#include "ids.h"
#include "open_queue.h"
#include "snapshot.h"

namespace cli::queue {

struct Selection {
  // In the order of the ids given, else in that of the snapshot. An id that several of the open
  // databases have stands for each of its messages.
  std::vector<Message*> messages;
  std::vector<std::uint32_t> missing;  // ids that no message has
};

// The operands' filter is read here. Files are looked up when the filter asks for them.
Selection Choose(const OpenQueue& queue, Snapshot* snapshot, const Operands& operands);

// Names every missing id on standard error; true when there was one.
bool TellMissing(const Selection& selection);

}  // namespace cli::queue

#endif
