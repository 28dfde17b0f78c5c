// Japanese texts and files converted as a whole, each through files in the temporary directory: a
// text that cannot be spooled there is not converted.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "frame/heap.h"
#include "platform/os/file.h"

namespace qob {

// A new text, or null: nothing came out, or something failed.
HeapText ShiftJisTextOf(std::string_view jis, bool repair);
HeapText JisTextOf(std::string_view shift_jis);

// From the file's own position into the new file `to`, made as filecreate makes it. False on any
// failure; what stands in `to` then is for the caller to remove.
bool ShiftJisFileToJis(os::Handle from, std::optional<std::string_view> invalid_mark,
                       const char* to);

// Replaces the message file by its conversion, with its permissions; false (told at level 1) leaves
// it as it is.
bool ConvertMessageFile(const char* path, bool repair);

}  // namespace qob
