// The records that a new peer database is seeded with: one per line, a domain and then its values
// as name=number, by the names of the record's fields; '#' begins a comment line.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include <qob3xapi/peer.h>

namespace qob::db {

// Appends the records; "" or the first fault with its line. Domains must differ.
std::string ReadPeerList(std::string_view text, std::vector<PeerRecord>* peers);

}  // namespace qob::db
