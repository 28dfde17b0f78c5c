// Why a message could not be delivered: "<queue path>.rea", lines appended one by one.
#pragma once
#include <string_view>

#include <qob3xapi/util.h>

namespace qob {

// Appends; the file is made when there is none and never cut. False when it is busy, cannot be
// written or has no end to go to (logged, the file then stays open).
bool AppendReason(std::string_view queue_path, std::string_view text);

// Every line with its line end as a new chain; null for a missing, empty or unreadable file. Throws
// std::bad_alloc.
ms* ReadReasons(std::string_view queue_path);

}  // namespace qob
