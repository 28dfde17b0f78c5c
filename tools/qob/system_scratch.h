// Files without a name: gone with the process however it ends, so that nothing is ever left behind.
#ifndef TOOLS_QOB_SYSTEM_SCRATCH_H
#define TOOLS_QOB_SYSTEM_SCRATCH_H

#include <cstdint>
#include <string>

#include "system.h"

namespace cli::sys {

// A new, empty file below TMPDIR, else /tmp, open to read and write. Not open when it cannot be
// made; *folder and *error tell where and why.
File OpenScratch(std::string* folder, int* error);

// A path under which this process can open the same file once more.
std::string PathOf(const File& file);

// What an open file is, and whether it is still as it was.
struct Stamp {
  Kind kind = Kind::kOther;
  std::int64_t size_bytes = 0;
  std::int64_t changed_ns = 0;
  bool operator==(const Stamp&) const = default;
};
Stamp StampOf(const File& file);

}  // namespace cli::sys

#endif
