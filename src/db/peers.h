// The peer database "peerdb": records kept by the process's relation, and getters that open it for
// themselves. Results of the former are dbErrors, kMisused without Open.
#pragma once
#include <cstdint>
#include <string_view>

#include "db/rows.h"

namespace qob::db {

// Places of the twelve numbers.
enum PeerValue : std::size_t {
  kAcceptMail = 1,
  kMaxInBoundSize = 5,
  kMaxOutBoundSize = 6,
  kQueuedBeforeAttempt = 7,
  kQueueRunInterval = 8,
  kRetryPeriod = 9,
  kMaxSmtpSessions = 10,
  kMaxMesgPerSession = 11,
};
// What holds where no record says otherwise, and what a first record "default" says.
inline constexpr std::int32_t kBuiltIn[kPeerValues] = {1, 1, 1, 1, 0, 0, 0, 0, 15, 72, 5, 6};

// Opens the process's relation, placing the seed where there is none: its status, or kPlacedSeed.
// Throws std::bad_alloc.
inline constexpr std::int32_t kPlacedSeed = 1;
std::int32_t OpenPeers();
void ClosePeers();
// Gives an empty relation its record "default"; 0 without OpenPeers.
std::int32_t EnsureDefaultPeer();

std::int32_t AddPeer(const PeerRecord& record);
std::int32_t ReplacePeer(const PeerRecord& record);
std::int32_t DeletePeer(std::string_view domain);
std::int32_t FindPeer(std::string_view domain, PeerRecord* out);
// The process's pass over all records, by name.
std::int32_t FirstPeer(PeerRecord* out);
std::int32_t NextPeer(PeerRecord* out);

// Through a relation of its own. Where none can be opened: 0 and BuiltInPeer. Throws
// std::bad_alloc.
std::int32_t FindPeerAlone(std::string_view domain, PeerRecord* out);
// The built-in values under that name; MaxOutBoundSize and reserved stay.
void BuiltInPeer(std::string_view domain, PeerRecord* out);

// The value that applies to a host or domain name. All throw std::bad_alloc.
std::int32_t FirstPositive(std::string_view name, PeerValue value);
std::int32_t FirstExisting(std::string_view name, PeerValue value);
std::int32_t AcceptMailOf(std::string_view name);
// Leaves *info as it is, and says so in the log, when the relation cannot be opened.
void DomainInfoOf(std::string_view name, PeerDomainInfo* info);

}  // namespace qob::db
