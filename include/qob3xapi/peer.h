/* The peer database "peerdb": for each domain what is accepted of it and how mail is delivered to it.
 *
 * The relation lies in the queue directory ([Gateway] QueueDirectory of "twmta.ini", read at every call). A record is for its
 * own domain and for every name below it. The getters take a host or domain name, look for a record of it, then of the name
 * behind its first full stop, and so on; then for the record named "default"; and else give the built-in value. A full stop
 * at the beginning is passed over, ASCII letters compare in any case, and of a longer name 127 characters are looked for.
 *
 * The calls that keep records work on one relation per process, opened by libpeer_init; the getters and FindPeerRecordV2
 * open the relation for themselves and need no start-up but that. What another process has changed is seen by the next
 * call. Every call but GetFirstPeerRecord, GetNextPeerRecord and ClosePeerFile holds the relation's lock while it works and
 * waits for it as long as it takes. Texts are NUL-terminated bytes and only read. */
#ifndef QOB3XAPI_PEER_H
#define QOB3XAPI_PEER_H
#include <qob3xapi/frame.h>

/* 180 bytes. */
typedef struct PeerRecord {
    char    domain[128];
    int32_t reserved;
    int32_t flag0;
    int32_t AcceptMail;
    int32_t flag2;
    int32_t flag3;
    int32_t value4;
    int32_t MaxInBoundSize;
    int32_t MaxOutBoundSize;
    int32_t MesageQueuedBeforeAttempt;
    int32_t QueueRunInterval;
    int32_t RetryPeriod;
    int32_t MaxSMTPSessions;
    int32_t MaxMesgPerSession;
} PeerRecord;

typedef struct PeerDomainInfo {
    int32_t accept;          /* 0 or 1 */
    int32_t maxInBoundSize;  /* 0 = no limit */
} PeerDomainInfo;

QOB_C_BEGIN

/* libpeer_init - opens the process's peer relation.
 * Shape   a missing or empty "peerdb" is first placed from the folder "srcdb" of the install directory ([Config]
 *         InstallDirectory); one that is there is never overwritten, damaged or not. A second call opens anew and ends
 *         the pass of the first.
 * Units   none.
 * Owner   the relation is the library's until libpeer_fini.
 * Result  0 opened, or without memory for it; the relation's dbError; a nonzero number, whether it then opened or not, after
 *         a missing one was to be placed.
 * Thread  any; several processes may start at once, and one of them places the seed.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t libpeer_init(void);
/* libpeer_fini - closes the process's peer relation.
 * Shape   may be called without libpeer_init and more than once.
 * Units   none.
 * Owner   nothing is left.
 * Result  none.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI void libpeer_fini(void);
/* OpenPeerFile - makes sure that an empty relation gets its record "default".
 * Shape   the record has the built-in values; a relation with any record in it is left as it is.
 * Units   none.
 * Owner   none.
 * Result  0 there is a record, or libpeer_init left no relation; else the relation's dbError.
 * Thread  any; of several processes that find it empty one adds the record.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t OpenPeerFile(void);
/* ClosePeerFile - does nothing.
 * Shape   the counterpart of OpenPeerFile, which leaves nothing open.
 * Units   none.
 * Owner   none.
 * Result  0.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t ClosePeerFile(void);
/* InsPeerRecord - adds a record.
 * Shape   the domain, cut to 127 characters, and the twelve numbers; reserved is not looked at.
 * Units   QueueRunInterval, RetryPeriod: those of the programs that use them.
 * Owner   record stays the caller's.
 * Result  0; -1 for null or without libpeer_init; 5 there is a record of that name; else the relation's dbError.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t InsPeerRecord(const PeerRecord* record);
/* UpdatePeerRecord - replaces the twelve numbers of the record with that name.
 * Shape   record->domain tells which; the name stays as it was stored. A pass goes on behind the record that it read last.
 * Units   as InsPeerRecord.
 * Owner   record stays the caller's.
 * Result  0; -1 for null or without libpeer_init; 4 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t UpdatePeerRecord(const PeerRecord* record);
/* DelPeerRecord - deletes the record with that name.
 * Shape   domain: its first 127 characters. A pass goes on behind the record that it read last.
 * Units   none.
 * Owner   domain stays the caller's.
 * Result  0; -1 for null or without libpeer_init; 4 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t DelPeerRecord(const char* domain);
/* FindPeerRecord - reads the record with exactly that name.
 * Shape   domain: its first 127 characters. out is filled on success and untouched otherwise; reserved always stays.
 * Units   as InsPeerRecord.
 * Owner   both arguments stay the caller's.
 * Result  0; -1 for null or without libpeer_init; 4 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t FindPeerRecord(PeerRecord* out, const char* domain);
/* FindPeerRecordV2 - reads the record with exactly that name, through a relation of its own.
 * Shape   as FindPeerRecord. Without a relation that can be opened out gets that name and the built-in values, and
 *         MaxOutBoundSize and reserved stay.
 * Units   as InsPeerRecord.
 * Owner   both arguments stay the caller's.
 * Result  0; -1 for null; 4 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t FindPeerRecordV2(PeerRecord* out, const char* domain);
/* GetFirstPeerRecord - starts a pass over all records, by name.
 * Shape   out is filled on success and untouched otherwise; reserved always stays. The process has one pass: whoever begins
 *         one ends that of another.
 * Units   as InsPeerRecord.
 * Owner   out stays the caller's.
 * Result  0; -1 for null or without libpeer_init; 17 there is no record; else the relation's dbError.
 * Thread  any; two that walk at once each see a part of the records.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetFirstPeerRecord(PeerRecord* out);
/* GetNextPeerRecord - reads the next record of the pass.
 * Shape   as GetFirstPeerRecord.
 * Units   as InsPeerRecord.
 * Owner   out stays the caller's.
 * Result  0; 17 the end; -1 for null or without libpeer_init; else the relation's dbError. When the place of the pass is
 *         lost (4) it starts anew.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetNextPeerRecord(PeerRecord* out);
/* GetAcceptMailValue - is mail of that name accepted?
 * Shape   the first record that there is counts, whatever it holds.
 * Units   none.
 * Owner   name stays the caller's.
 * Result  AcceptMail of the record; 1 without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetAcceptMailValue(const char* name);
/* GetPeerMesageQueuedBeforeAttempt - is mail for that domain queued before the first attempt?
 * Shape   the first record that there is counts, whatever it holds.
 * Units   none.
 * Owner   domain stays the caller's.
 * Result  1 the record has MesageQueuedBeforeAttempt 1; else 0, also without a record, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerMesageQueuedBeforeAttempt(const char* domain);
/* GetPeerQueueRunInterval - how long between two runs of the domain's queue.
 * Shape   a record with 0 or less is passed over.
 * Units   those of the programs that run the queue.
 * Owner   domain stays the caller's.
 * Result  QueueRunInterval of the record; 15 without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerQueueRunInterval(const char* domain);
/* GetPeerRetryPeriod - how long delivery to the domain is tried.
 * Shape   a record with 0 or less is passed over.
 * Units   those of the programs that run the queue.
 * Owner   domain stays the caller's.
 * Result  RetryPeriod of the record; 72 without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerRetryPeriod(const char* domain);
/* GetPeerMaxSMTPSessions - how many SMTP sessions with the domain at once.
 * Shape   a record with 0 or less is passed over.
 * Units   sessions.
 * Owner   domain stays the caller's.
 * Result  MaxSMTPSessions of the record; 5 without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerMaxSMTPSessions(const char* domain);
/* GetPeerMaxMesgPerSession - how many messages in one session.
 * Shape   a record with 0 or less is passed over.
 * Units   messages.
 * Owner   domain stays the caller's.
 * Result  MaxMesgPerSession of the record; 6 without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerMaxMesgPerSession(const char* domain);
/* GetMaxInBoundSize - the largest message accepted of the domain.
 * Shape   a record with 0 or less is passed over: where "default" has a limit no domain can be without one.
 * Units   those of the programs that receive mail.
 * Owner   domain stays the caller's.
 * Result  MaxInBoundSize of the record; 0, which is no limit, without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetMaxInBoundSize(const char* domain);
/* GetMaxOutBoundSize - the largest message sent to the domain.
 * Shape   as GetMaxInBoundSize.
 * Units   those of the programs that deliver mail.
 * Owner   domain stays the caller's.
 * Result  MaxOutBoundSize of the record; 0, which is no limit, without one, for null, and without a relation.
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetMaxOutBoundSize(const char* domain);
/* GetPeerDomainInfo - whether mail of the domain is accepted, and up to which size.
 * Shape   both come from the first record that there is, whatever it holds; a size of 0 or less is no limit. Without a
 *         record mail is accepted and there is no limit.
 * Units   as GetMaxInBoundSize.
 * Owner   both arguments stay the caller's.
 * Result  0. info is left as it was for a null domain and for a relation that cannot be opened; that is logged at level 6,
 *         "peer database error <number>", unless there is none (3).
 * Thread  any.
 * Source  the peer database (docs/peers.md). */
QOBAPI int32_t GetPeerDomainInfo(const char* domain, PeerDomainInfo* info);

QOB_C_END
#endif
