// The texts that address, date and word work on: the operands, or for - the lines of standard
// input.
#ifndef TOOLS_QOB_TEXT_INPUT_H
#define TOOLS_QOB_TEXT_INPUT_H

#include <functional>
#include <string>
#include <vector>

#include "failure.h"

namespace cli {

// Calls visit for each text, without its line end. A Failure is reported with the text in front and
// the rest goes on; the result is the code of the first one.
ExitCode ForEachText(const std::vector<std::string>& operands,
                     const std::function<void(const std::string&)>& visit);

}  // namespace cli

#endif
