// The banned users, relation "banuserdb".
#pragma once
#include <string_view>

namespace qob::db {

// There is a record of that address. False also when the relation cannot be opened. Throws
// std::bad_alloc.
bool IsBanned(std::string_view address);

}  // namespace qob::db
