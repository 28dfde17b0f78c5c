#include "rfc822/parser_locks.h"

namespace qob {
namespace {

// Never destroyed before the process ends: a thread may still be inside when the library is shut
// down.
std::recursive_mutex g_header_lock;
std::recursive_mutex g_address_lock;

}  // namespace

std::recursive_mutex& HeaderParserLock() { return g_header_lock; }
std::recursive_mutex& AddressParserLock() { return g_address_lock; }

}  // namespace qob
