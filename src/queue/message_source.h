// The message file that a caller submits: what its header has, and its way into the queue.
//
// Only "\r\n" ends the header that is rewritten. What it lacks is looked for as the header reader
// reads, for which a lone line feed is an empty line, too.
#pragma once
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

struct FieldsPresent {
  bool mime_version = false;
  bool date = false;  // "Date:" itself; a Resent-date says nothing about the message's own
  bool message_id = false;
};

// From the start of the file; it stands there again afterwards. False on a read error.
bool LookForFields(LineReader* message, FieldsPresent* present);

// Writes the whole message from the reader's position on. Each "Date:" and "Resent-date:" of the
// header becomes one line of the usual form; the time now, which is logged, where it is no date.
// Every other byte stays. False when reading or writing fails; throws std::bad_alloc.
bool CopyMessage(LineReader* message, FileWriter* copy);

}  // namespace qob
