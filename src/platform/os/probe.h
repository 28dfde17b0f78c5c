// Can this memory be touched? Guards the calls whose contract takes any pointer.
#pragma once
#include <cstddef>

namespace qob::os {

// Null, the first page, or an address no process can have: no system call.
bool IsPlausiblePointer(const void* pointer);
// The byte at `pointer` can be read (asks the system; no side effect).
bool IsReadable(const void* pointer);
// A NUL-terminated text that can be read; looks at no more than `limit` bytes. *length receives its
// length. False when memory ends first or no NUL stands within limit + 1 bytes.
bool IsReadableString(const char* text, std::size_t limit, std::size_t* length);

}  // namespace qob::os
