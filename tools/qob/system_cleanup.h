// What a signal must undo before it ends the process: shared by the parts of the system layer that
// leave something behind.
#ifndef TOOLS_QOB_SYSTEM_CLEANUP_H
#define TOOLS_QOB_SYSTEM_CLEANUP_H

#include <string>

namespace cli::sys {

// Creates a file in the folder of that descriptor, which must not exist yet, and has it removed
// when a signal comes before PendingOutputDone. Its descriptor, or -1 with errno.
int CreatePendingOutput(int folder, const std::string& name);
void PendingOutputDone();

}  // namespace cli::sys

#endif
