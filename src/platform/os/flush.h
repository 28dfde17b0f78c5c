// A new file and the directory that names it, flushed at once.
//
// Each flush waits for the disk's own cache, and two that are asked for together wait once: on a
// busy disk that is the difference between two turns of its queue and one.
#pragma once
#include <string_view>

namespace qob::os {

// 0 or the error of each. Nobody asks for a flush that failed again.
struct FlushErrors {
  int file = 0;
  int directory = 0;  // also 0 when the file could not be opened
};

// Both on stable storage afterwards. A thread of this call alone waits for the directory; where the
// system gives none, one flush follows the other. Does not throw.
FlushErrors FlushWithDirectory(std::string_view file, std::string_view directory);

}  // namespace qob::os
