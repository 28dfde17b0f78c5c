// How the process keeps its memory.
#ifndef TOOLS_QOB_SYSTEM_MEMORY_H
#define TOOLS_QOB_SYSTEM_MEMORY_H

namespace cli::sys {

// For a run that fills large tables and then ends: what is freed is used again instead of being
// given back to the system and fetched anew, page by page.
void KeepFreedMemory();

}  // namespace cli::sys

#endif
