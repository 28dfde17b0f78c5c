// ISO-2022-JP text to Shift-JIS, also where the escape characters were lost on the way. Two-byte
// mode lasts over line ends; every line that ends in CR gets CR LF.
#pragma once
#include <cstdint>

#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// Converts `byte_count` bytes from the reader's position on, fewer when the file ends first.
// repair: outside two-byte mode "$B" or "$@" with whole pairs behind it up to "(B" or "(J" counts
// as a run that lost its escape characters. False when reading or writing failed.
bool JisToShiftJis(LineReader& in, std::int64_t byte_count, bool repair, FileWriter& out);

}  // namespace qob
