// A text of the command line or of a file as lines, and lists of texts for the library.
#ifndef TOOLS_QOB_NOTIFY_TEXT_LINES_H
#define TOOLS_QOB_NOTIFY_TEXT_LINES_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <qob3xapi/util.h>

#include "../arguments.h"

namespace cli::notify {

// Of --text or --body, without line ends; nothing when neither is given. Throws Failure.
std::optional<std::vector<std::string>> TextOf(const Arguments& arguments);

struct FreeChain {
  void operator()(ms* chain) const { freeStringChain(chain); }
};
using Chain = std::unique_ptr<ms, FreeChain>;
// Throws Failure for a line that is longer than the library takes.
Chain ChainOf(const std::string& what, const std::vector<std::string>& lines);

}  // namespace cli::notify

#endif
