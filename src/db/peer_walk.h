// Which records apply to a host or domain name, nearest first: its own, those of the names behind
// its full stops, and "default".
#pragma once
#include <string_view>

#include "db/rows.h"

namespace qob::db {

inline constexpr std::string_view kDefaultPeer = "default";
inline constexpr std::size_t kDomainCharacters = kDomainBytes - 1;

// visit(name) for each, until one gives true. The walk goes over the whole name; what is looked for
// is cut. One full stop is passed over at each step, so "a..b" leads to ".b" and then to "b".
template <class Visit>
bool WalkPeerNames(std::string_view name, Visit&& visit) {
  for (;;) {
    if (name.starts_with('.')) name.remove_prefix(1);
    if (visit(name.substr(0, kDomainCharacters))) return true;
    const std::size_t stop = name.find('.');
    if (stop == std::string_view::npos) break;
    name.remove_prefix(stop);
  }
  return visit(kDefaultPeer);
}

}  // namespace qob::db
