// Bytes between descriptors, whole or with the errno that stopped them.
#ifndef TOOLS_QOB_SYSTEM_COPY_H
#define TOOLS_QOB_SYSTEM_COPY_H

#include <string_view>

namespace cli::sys {

int WriteAllTo(int descriptor, std::string_view bytes);
// From where the one stands up to its end.
int CopyAll(int from, int to);

}  // namespace cli::sys

#endif
