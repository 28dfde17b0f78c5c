// The uuencoded form of a file, as the builders write it into mail.
#pragma once
#include <string_view>

#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// "begin 666 <name> " with its blank, lines of 45 bytes, the line of no bytes, "end" and an empty
// line; all end in CR LF. False when reading or writing failed.
bool WriteUuencoded(LineReader& in, std::string_view name, FileWriter& out);

}  // namespace qob
