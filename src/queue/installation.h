// The text that tells Message-IDs of one installation from those of all others.
#pragma once
#include <string>

namespace qob {

// Never empty. Throws std::bad_alloc.
std::string InstallationId();

}  // namespace qob
