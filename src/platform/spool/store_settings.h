// [Store] of "twmta.ini": how the files of this spool are made and opened.
#pragma once

#include "platform/store/record_file.h"

namespace qob::spool {

// Durability = commit (default) | system; another word counts as commit.
store::OpenOptions StoreOpenOptions();
// Group = an operators' group whose members may read; default none.
store::CreateOptions StoreCreateOptions();

}  // namespace qob::spool
