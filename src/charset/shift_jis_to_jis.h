// Shift-JIS text to ISO-2022-JP: ESC $ B before a run of two-byte characters, ESC ( J behind it.
// Half-width katakana become full-width ones, but not in the very first position, where the byte
// stays as it is. Line ends stay.
#pragma once
#include <optional>
#include <string_view>

#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// `invalid_mark`: written instead of each byte that is no Shift-JIS; without it such bytes stay.
// False when reading or writing failed.
bool ShiftJisToJis(LineReader& in, std::optional<std::string_view> invalid_mark, FileWriter& out);

}  // namespace qob
