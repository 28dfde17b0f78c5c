#include "db/peers.h"

#include <algorithm>

#include "db/peer_walk.h"
#include "db/relation.h"
#include "frame/report.h"

namespace qob::db {
namespace {

using PeerRelation = Relation<PeerRow>;
constexpr char kName[] = "peerdb";

// The session lives as long as the library is loaded.
ProcessRelation<PeerRow> g_peers(kName);

dbError Get(PeerRelation& relation, std::string_view domain) {
  SetKey(relation.row.domain, domain);
  return relation.get(0);
}

dbError FindInPass(PeerRelation& relation, std::string_view domain) {
  SetKey(relation.row.domain, domain);
  return relation.find();
}

// work(relation) with a relation of this call alone; `fallback` when it cannot be opened.
template <class Work>
std::int32_t Alone(std::int32_t fallback, Work&& work) {
  tesseraBase session;
  PeerRelation relation(session, QueuePlace(), kName);
  if (relation.status() != kOk) return fallback;
  const Held held(relation);
  return work(relation);
}

}  // namespace

std::int32_t OpenPeers() {
  const auto opened = g_peers.Open();
  return opened.seed_wanted ? kPlacedSeed : opened.status;
}

void ClosePeers() { g_peers.Close(); }

std::int32_t EnsureDefaultPeer() {
  const std::int32_t result = g_peers.Change([](PeerRelation& relation) {
    dbError found = relation.begin(0);
    if (found == kOk) found = relation.first();
    relation.end();
    if (found != kNoFurtherRecord) return found;
    relation.row = {};
    SetKey(relation.row.domain, kDefaultPeer);
    std::copy(std::begin(kBuiltIn), std::end(kBuiltIn), relation.row.values);
    return relation.add();
  });
  return result == kMisused ? kOk : result;
}

std::int32_t AddPeer(const PeerRecord& record) {
  return g_peers.Change([&](PeerRelation& relation) {
    relation.row = {};
    SetKey(relation.row.domain, FieldText(record.domain));
    StorePeerValues(record, &relation.row);
    return relation.add();
  });
}

// The pass is over before the record is written: it stays the relation's current one.
std::int32_t ReplacePeer(const PeerRecord& record) {
  return g_peers.Change([&](PeerRelation& relation) {
    dbError result = relation.begin(0);
    if (result == kOk) result = Get(relation, FieldText(record.domain));
    relation.end();
    if (result != kOk) return result;
    StorePeerValues(record, &relation.row);
    return relation.put();
  });
}

std::int32_t DeletePeer(std::string_view domain) {
  return g_peers.Change([&](PeerRelation& relation) {
    const dbError found = Get(relation, domain);
    return found == kOk ? relation.del() : found;
  });
}

std::int32_t FindPeer(std::string_view domain, PeerRecord* out) {
  return g_peers.Change([&](PeerRelation& relation) {
    const dbError found = Get(relation, domain);
    if (found == kOk) TakePeer(relation.row, out);
    return found;
  });
}

std::int32_t FirstPeer(PeerRecord* out) {
  return g_peers.Walk([&](PeerRelation& relation) {
    relation.end();
    dbError result = relation.begin(0);
    if (result == kOk) result = relation.first();
    if (result == kOk) TakePeer(relation.row, out);
    return result;
  });
}

std::int32_t NextPeer(PeerRecord* out) {
  return g_peers.Walk([&](PeerRelation& relation) {
    dbError result = relation.next();
    if (result == kNoPlace) {
      result = relation.begin(0);
      if (result == kOk) result = relation.first();
    }
    if (result == kOk) TakePeer(relation.row, out);
    return result;
  });
}

std::int32_t FindPeerAlone(std::string_view domain, PeerRecord* out) {
  tesseraBase session;
  PeerRelation relation(session, QueuePlace(), kName);
  if (relation.status() != kOk) {
    BuiltInPeer(domain, out);
    return kOk;
  }
  const Held held(relation);
  const dbError found = Get(relation, domain);
  if (found == kOk) TakePeer(relation.row, out);
  return found;
}

void BuiltInPeer(std::string_view domain, PeerRecord* out) {
  const std::int32_t kept = out->MaxOutBoundSize;
  PeerRow row{};
  SetKey(row.domain, domain);
  std::copy(std::begin(kBuiltIn), std::end(kBuiltIn), row.values);
  TakePeer(row, out);
  out->MaxOutBoundSize = kept;
}

std::int32_t FirstPositive(std::string_view name, PeerValue value) {
  return Alone(kBuiltIn[value], [&](PeerRelation& relation) {
    const bool found = WalkPeerNames(name, [&](std::string_view domain) {
      return Get(relation, domain) == kOk && relation.row.values[value] > 0;
    });
    return found ? relation.row.values[value] : kBuiltIn[value];
  });
}

std::int32_t FirstExisting(std::string_view name, PeerValue value) {
  return Alone(kBuiltIn[value], [&](PeerRelation& relation) {
    const bool found =
        WalkPeerNames(name, [&](std::string_view domain) { return Get(relation, domain) == kOk; });
    return found ? relation.row.values[value] : kBuiltIn[value];
  });
}

std::int32_t AcceptMailOf(std::string_view name) {
  return Alone(kBuiltIn[kAcceptMail], [&](PeerRelation& relation) {
    relation.begin(0);
    const bool found = WalkPeerNames(
        name, [&](std::string_view domain) { return FindInPass(relation, domain) == kOk; });
    relation.end();
    return found ? relation.row.values[kAcceptMail] : kBuiltIn[kAcceptMail];
  });
}

// The size is what the last look-up left in the record, which is 0 when nothing was found.
void DomainInfoOf(std::string_view name, PeerDomainInfo* info) {
  tesseraBase session;
  PeerRelation relation(session, QueuePlace(), kName);
  if (relation.status() != kOk) {
    if (relation.status() != kNoRelation) {
      Report(kDetail, "peer database error %d", relation.status());
    }
    return;
  }
  const Held held(relation);
  const bool found =
      WalkPeerNames(name, [&](std::string_view domain) { return Get(relation, domain) == kOk; });
  info->accept = !found || relation.row.values[kAcceptMail] != 0 ? 1 : 0;
  info->maxInBoundSize = std::max(relation.row.values[kMaxInBoundSize], 0);
}

}  // namespace qob::db
