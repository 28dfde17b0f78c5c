// Whole numbers given to options.
#ifndef TOOLS_QOB_QUEUE_NUMBER_OPTION_H
#define TOOLS_QOB_QUEUE_NUMBER_OPTION_H

#include <cstddef>

#include "../arguments.h"

namespace cli::queue {

// The option's number, or the other one where it is not given. Throws Failure(kUsage) for a value
// that is no number of that range.
std::size_t NumberOption(const Arguments& arguments, const char* option, std::size_t otherwise,
                         std::size_t least, std::size_t most);

}  // namespace cli::queue

#endif
