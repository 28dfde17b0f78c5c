// What was noted for a message's bounce.
#ifndef TOOLS_QOB_QUEUE_REASONS_H
#define TOOLS_QOB_QUEUE_REASONS_H

#include <string>
#include <vector>

namespace cli::queue {

struct Reasons {
  bool known = true;               // false: there is a file, but it cannot be read
  std::vector<std::string> lines;  // without their line ends
};

// base: the message's path without an extension.
Reasons ReadReasons(const std::string& base);

}  // namespace cli::queue

#endif
