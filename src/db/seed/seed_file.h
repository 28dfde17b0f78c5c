// A relation written whole into files that hold nothing else: the same bytes from the same records,
// whenever and wherever they are written.
#pragma once
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "db/rows.h"
#include "db/seed/type_list.h"

namespace qob::db {

// "<directory>\<name>.db" and ".id0" of the three relations, made anew. "" or what failed.
std::string WriteMagicSeed(const std::string& directory, const std::vector<FileType>& types);
std::string WritePeerSeed(const std::string& directory, const std::vector<PeerRecord>& peers);
std::string WriteBanSeed(const std::string& directory);

}  // namespace qob::db
