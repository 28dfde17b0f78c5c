// Groups of four uuencode characters into three bytes each.
#pragma once
#include <cstddef>

namespace qob {

// Decodes `groups` groups. May store up to four bytes behind the last one at `to`; reads nothing
// behind them.
void DecodeUuGroups(const char* from, std::size_t groups, char* to);

// The same on any processor, group by group; stores three bytes for each.
void DecodeUuGroupsPortable(const char* from, std::size_t groups, char* to);

}  // namespace qob
