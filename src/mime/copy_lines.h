// Bytes of one message file into another.
#pragma once
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// Everything from the reader's position on, unchanged. False when reading or writing failed.
bool CopyRest(LineReader& in, FileWriter& out);
// Passes over the lines that a queued message may begin with: those whose first two characters are
// "#F", "#R" or "#D" in either case, up to the first other line.
bool SkipEnvelopeLines(LineReader& in);

}  // namespace qob
