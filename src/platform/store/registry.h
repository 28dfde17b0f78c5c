// The connections of this process, one per file however it is named; a child of a fork begins with
// none.
#pragma once
#include <cstdint>
#include <string>

#include "platform/store/connection.h"

namespace qob::store {

Status AcquireConnection(const std::string& path, const OpenOptions& options,
                         Connection** connection);
// The last one closes it. In a child of the process that opened it: nothing.
void ReleaseConnection(Connection* connection);

// How often this process's line of ancestors forked while it held connections.
std::uint64_t ForkGeneration();

}  // namespace qob::store
