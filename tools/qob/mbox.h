// Where the messages of a file lie: one message, or the many of an mbox.
#ifndef TOOLS_QOB_MBOX_H
#define TOOLS_QOB_MBOX_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "system.h"

namespace cli {

// Bytes of a file: from start up to, not including, end.
struct ByteRange {
  std::int64_t start = 0;
  std::int64_t end = 0;
};

// The messages of an open file, read from its start. A file is an mbox when it begins with "From ";
// a further message begins at a line "From " with a time in it after an empty line. That empty line
// belongs to no message, and the From line is the first line of its message. Any other file is one
// message. Nothing when reading fails (see file->error()).
std::optional<std::vector<ByteRange>> MessagesOf(sys::File* file, std::int64_t size_bytes);

// True for a line that begins a message of an mbox: "From ", and somewhere two digits, a colon and
// two digits.
bool IsFromLine(std::string_view line);

}  // namespace cli

#endif
