// The two process-wide locks of the parsers. The parsers share no state; the locks stand because
// programs rely on them: who holds the header lock keeps every other ParseHdr out, who holds the
// address lock every other RecipParse. Always in that order. Both may be taken again by the thread
// that holds them.
#pragma once
#include <mutex>

namespace qob {

std::recursive_mutex& HeaderParserLock();
std::recursive_mutex& AddressParserLock();

}  // namespace qob
