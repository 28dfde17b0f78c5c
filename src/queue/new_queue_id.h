// A fresh queue path for a message that is to come.
#pragma once
#include <string>
#include <string_view>

#include <qob3xapi/mesgdb.h>

namespace qob {

// The path, locked, with no records yet; empty on failure. Throws std::bad_alloc, holding no lock.
std::string NewQueueId(std::string_view directory, const MesgHandle& db);
// Lets go what NewQueueId took.
void GiveBackQueueId(const std::string& path);

}  // namespace qob
