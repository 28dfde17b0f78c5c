// The table of parsed addresses that callers hold (RecipTbl): nodes and strings from malloc,
// appended at the tail.
#pragma once
#include <cstdint>
#include <span>

#include <qob3xapi/address.h>

namespace qob {

// Appends the addresses of the list to the table; the text is changed as AddressList changes it.
// The result is the table's count, or 0 for a text without a list in it (blank, quotes that do not
// pair) and when memory is exhausted; nodes appended before stay.
std::int32_t AppendAddresses(std::span<char> text, RecipTbl* table);

// Releases every node. Stops at a node that cannot be memory of this process: tables are handed
// around as plain records, and a damaged one must not take the process with it.
void ClearTable(RecipTbl* table);

}  // namespace qob
