// Bodies as mail carries them: base64 and quoted-printable (RFC 2045, sections 6.7 and 6.8), file
// to file.
#pragma once
#include "charset/quoted_printable_encoder.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// From the reader's position to its end; false when reading or writing failed.

// Lines of 72 characters. What stands behind the last whole line is ended by CR LF too, also when
// it is nothing: a file of whole lines ends in an empty one.
bool WriteBase64(LineReader& in, FileWriter& out);

// Output lines of at most 76 characters. A "." at the start of one is encoded, in the text form
// also the F of "From ". Nothing is added at the end.
bool WriteQuotedPrintable(LineReader& in, QuotedForm form, FileWriter& out);

}  // namespace qob
