// Turns a body-part record into files: the decoded body, the body without its embedded blocks, the
// header block.
#pragma once
#include <cstdint>

#include <qob3xapi/mimeparse.h>

#include "platform/os/file.h"

namespace qob {

// Each gives the heap name of a new temporary file, or null; a failure leaves no file behind. Throw
// std::bad_alloc.

// `file` is read from wherever the part stands and stays open; kNoHandle: the part's own file is
// opened. A body that does not decode is delivered as it stands. May replace or clear
// part->trueName.
char* ExtractBody(MimeBodyPart* part, bool raw, os::Handle file);
char* ExtractOwnText(const MimeBodyPart& part);
char* ExtractHeader(const MimeBodyPart& part);

}  // namespace qob
