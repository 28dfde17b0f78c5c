// The exported calls of the peer database.
#include <qob3xapi/peer.h>

#include "db/peers.h"
#include "db/relation.h"
#include "frame/guard.h"

namespace {

namespace db = qob::db;

int32_t Positive(const char* domain, db::PeerValue value) {
  const int32_t built_in = db::kBuiltIn[value];
  if (domain == nullptr) return built_in;
  return qob::Guarded(built_in, [&] { return db::FirstPositive(domain, value); });
}

}  // namespace

extern "C" {

QOBAPI int32_t libpeer_init(void) {
  return qob::Guarded(int32_t{0}, [] { return db::OpenPeers(); });
}

QOBAPI void libpeer_fini(void) { db::ClosePeers(); }

QOBAPI int32_t OpenPeerFile(void) { return db::EnsureDefaultPeer(); }

QOBAPI int32_t ClosePeerFile(void) { return 0; }

QOBAPI int32_t InsPeerRecord(const PeerRecord* record) {
  return record != nullptr ? db::AddPeer(*record) : db::kMisused;
}

QOBAPI int32_t UpdatePeerRecord(const PeerRecord* record) {
  return record != nullptr ? db::ReplacePeer(*record) : db::kMisused;
}

QOBAPI int32_t DelPeerRecord(const char* domain) {
  return domain != nullptr ? db::DeletePeer(domain) : db::kMisused;
}

QOBAPI int32_t FindPeerRecord(PeerRecord* out, const char* domain) {
  if (out == nullptr || domain == nullptr) return db::kMisused;
  return db::FindPeer(domain, out);
}

QOBAPI int32_t FindPeerRecordV2(PeerRecord* out, const char* domain) {
  if (out == nullptr || domain == nullptr) return db::kMisused;
  return qob::Guarded(
      int32_t{0}, [&] { return db::FindPeerAlone(domain, out); },
      [&] { db::BuiltInPeer(domain, out); });
}

QOBAPI int32_t GetFirstPeerRecord(PeerRecord* out) {
  return out != nullptr ? db::FirstPeer(out) : db::kMisused;
}

QOBAPI int32_t GetNextPeerRecord(PeerRecord* out) {
  return out != nullptr ? db::NextPeer(out) : db::kMisused;
}

QOBAPI int32_t GetAcceptMailValue(const char* name) {
  const int32_t built_in = db::kBuiltIn[db::kAcceptMail];
  if (name == nullptr) return built_in;
  return qob::Guarded(built_in, [&] { return db::AcceptMailOf(name); });
}

QOBAPI int32_t GetPeerMesageQueuedBeforeAttempt(const char* domain) {
  if (domain == nullptr) return 0;
  return qob::Guarded(
      0, [&] { return db::FirstExisting(domain, db::kQueuedBeforeAttempt) == 1 ? 1 : 0; });
}

QOBAPI int32_t GetPeerQueueRunInterval(const char* domain) {
  return Positive(domain, db::kQueueRunInterval);
}

QOBAPI int32_t GetPeerRetryPeriod(const char* domain) { return Positive(domain, db::kRetryPeriod); }

QOBAPI int32_t GetPeerMaxSMTPSessions(const char* domain) {
  return Positive(domain, db::kMaxSmtpSessions);
}

QOBAPI int32_t GetPeerMaxMesgPerSession(const char* domain) {
  return Positive(domain, db::kMaxMesgPerSession);
}

QOBAPI int32_t GetMaxInBoundSize(const char* domain) {
  return Positive(domain, db::kMaxInBoundSize);
}

QOBAPI int32_t GetMaxOutBoundSize(const char* domain) {
  return Positive(domain, db::kMaxOutBoundSize);
}

QOBAPI int32_t GetPeerDomainInfo(const char* domain, PeerDomainInfo* info) {
  if (domain == nullptr || info == nullptr) return 0;
  return qob::Guarded(int32_t{0}, [&] {
    db::DomainInfoOf(domain, info);
    return int32_t{0};
  });
}

}  // extern "C"
