// Reads the header block of an open message file, field by field, into the record.
#pragma once
#include <cstdint>

#include <qob3xapi/header822.h>

#include "rfc822/keyword_table.h"

namespace qob {

struct HeaderLines {
  std::int32_t count = 0;        // lines read, the blank one that ends the header included
  std::int32_t status_line = 0;  // the line behind the "status" field; 0 when there is none
};

// `file` is a line I/O handle at the first header line. True at the header's end: a blank line, the
// end of the file, or a field of 64 KiB, behind which the rest stays unread. False on a read error;
// what was filed stays. Both failures are logged under "ParseHdr". *lines is right in every case.
// Throws std::bad_alloc.
bool ReadHeader(std::int32_t file, addr822* record, HeaderLines* lines,
                KeywordTable keywords = StandardKeywords());

}  // namespace qob
