// The open file behind a position block, for those who need of it what no operation gives: several
// changes as one, and the marks that say where a message waits.
#pragma once
#include <memory>

#include "platform/store/record_file.h"

namespace qob::btrieve {

// Null for a block that is closed, came over a fork, or belongs to a record manager that a site has
// put in the place of ours.
std::shared_ptr<store::RecordFile> FileBehind(const void* position_block);

}  // namespace qob::btrieve
