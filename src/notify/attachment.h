// A file as a part of a message: its kind by its bytes and its name.
#pragma once
#include "notify/draft.h"

namespace qob::notify {

// 1: no byte of 128 or more, or it cannot be opened (logged), and so is taken for text; 0: binary,
// or it could not be read to its end, or is a pipe or a device. What it was found to be is logged.
std::int32_t IsFileAscii(const char* path);

// Text as text/basic 7bit, everything else as the file type database says, or in base64. Null when
// the part could not be built, and for a pipe or a device. Throws std::bad_alloc.
BuiltFile AttachmentPart(const char* path);

}  // namespace qob::notify
