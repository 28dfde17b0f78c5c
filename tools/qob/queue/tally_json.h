// Counted messages for programs.
#ifndef TOOLS_QOB_QUEUE_TALLY_JSON_H
#define TOOLS_QOB_QUEUE_TALLY_JSON_H

#include <cstdint>
#include <optional>

#include "../json_writer.h"
#include "tally.h"

namespace cli::queue {

// The number, or null.
void PutNumber(const char* name, std::optional<std::int64_t> number, JsonWriter* line);
// Every count, and the age and id of the oldest message.
void PutTally(const Tally& tally, std::int64_t now, JsonWriter* line);

}  // namespace cli::queue

#endif
