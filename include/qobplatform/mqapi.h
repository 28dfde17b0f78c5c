/* The message queue of the mail system, as its clients call it: the connection, entries and their submission, and the channels
 * that entries wait on.
 *
 * An entry is a message in the queue, known by its number; its files and records are those of the queue calls. It is made by
 * CreateMQEntry, which takes its lock; the caller writes its ".msg" file, names its channels, puts its envelope, and ends it with
 * CloseMQEntry: from that moment on it exists, whatever happens to the machine, and before it does not. "Boolean": nonzero true,
 * 0 false. Texts are NUL-terminated bytes, read only during the call.
 *
 * The entry belongs to the process that made it: in a child after a fork the calls refuse it, and those that end it only give its
 * memory back. The connection of MQInit stands in a child too. */
#ifndef MQAPI_H
#define MQAPI_H
#include <stdint.h>
#include <qobplatform/export.h>

typedef struct MQContext MQContext;  /* one uncommitted queue entry */
typedef struct MQChannel MQChannel;  /* one opened channel, with a walk position */

/* The queue's sender record: six fields. */
typedef struct MQEnvFrom {
    char*   address;
    char*   envelopeId;   /* "" when none */
    int32_t ret;          /* 1 HDRS, 2 FULL, else none */
    int32_t fourth;       /* 0 from MimeSendMessage */
    char*   fifthText;    /* "" when none */
    char*   channel;
} MQEnvFrom;

/* The queue's recipient record: five fields. */
typedef struct MQEnvRecip {
    char*   address;
    char*   originalRecipient;  /* "" when none */
    int32_t notifyFlags;
    char*   fourthText;         /* "" when none */
    char*   fifthText;          /* "" when none */
} MQEnvRecip;

typedef struct MQEnvFromNode  { MQEnvFrom*  record; struct MQEnvFromNode*  next; } MQEnvFromNode;
typedef struct MQEnvRecipNode { MQEnvRecip* record; struct MQEnvRecipNode* next; } MQEnvRecipNode;
typedef struct MQEnvFromList  { MQEnvFromNode*  head; MQEnvFromNode*  tail; uint32_t count; } MQEnvFromList;
typedef struct MQEnvRecipList { MQEnvRecipNode* head; MQEnvRecipNode* tail; uint32_t count; } MQEnvRecipList;

typedef struct stEnvelope {
    void*          leading;     /* the queue's own word; not set by the caller */
    MQEnvFromList  senders;     /* exactly one node */
    MQEnvRecipList recipients;
    int32_t        last;        /* -1 */
} stEnvelope;

#ifdef __cplusplus
extern "C" {
#endif

/* MQInit - connects the process to the message queue.
 * Shape   host and clientName are NUL-terminated; the queue lies in the queue directory of this machine.
 * Units   none.
 * Owner   nothing is kept of the arguments but a copy of the client name (31 characters).
 * Result  nonzero connected; 0 for a null or empty host, or when there is no queue directory or its message database cannot be
 *         opened (it is created when missing). Each call binds the process anew, to the queue directory of that moment, or leaves
 *         it unconnected; entries and channels made before keep theirs until they end.
 * Thread  before other threads use the queue.
 * Source  the system's own. */
QOBPLATAPI int32_t MQInit(const char* host, const char* clientName);

/* CreateMQEntry - a new entry: a number that nothing in the queue has, its ".lck" taken, no file and no records yet.
 * Shape   none.
 * Units   none.
 * Owner   the entry is the caller's; CloseMQEntry or DiscardMQEntry ends it.
 * Result  the entry; null before MQInit and after MQTerminate, when the database or the counter of numbers cannot be used, or
 *         without memory. Nothing is left behind then.
 * Thread  any; one thread at a time for one entry.
 * Source  the system's own. */
QOBPLATAPI MQContext* CreateMQEntry(void);

/* GetMQPathName - the path of an entry's file.
 * Shape   "<queue directory>\\<eight upper-case hexadecimal digits><extension>"; extension ".msg" and so on, "" or null for the
 *         base path.
 * Units   none.
 * Owner   the entry's own text, good until the entry ends: each extension has one.
 * Result  the path; null for a null entry or without memory.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. In C++ an overload takes a number: GetMQPathNameById. */
QOBPLATAPI const char* GetMQPathName(MQContext* entry, const char* extension);

/* GetMQPathNameById - the path of an entry, by its number.
 * Shape   "<queue directory>\\<eight upper-case hexadecimal digits><extension>"; extension ".msg" and so on, "" or null for the
 *         base path.
 * Units   at most 1023 bytes.
 * Owner   a buffer of this thread, good until its next call.
 * Result  the path; null when there is no queue directory (before start-up and MQInit) or the extension is too long. Whether
 *         there is such an entry is not looked at.
 * Thread  any.
 * Source  the system's own. */
QOBPLATAPI const char* GetMQPathNameById(uint32_t id, const char* extension);

/* InsertMQChannel - names a channel that the entry shall wait on.
 * Shape   any text that is not empty. An entry may wait on several; one that is named twice counts once.
 * Units   priority is always 255 and has no effect.
 * Owner   the entry keeps a copy; nothing is written before CloseMQEntry.
 * Result  boolean: false for a null entry, a null or empty name, in a child after a fork, or without memory.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBPLATAPI int32_t InsertMQChannel(MQContext* entry, const char* channel, int32_t priority);

/* PutMQEnvelope - gives the entry its envelope.
 * Shape   exactly one sender and at least one recipient, each node with a record whose address is not null; the lists are read
 *         from their head to the node without a next one. Other texts may be null: empty. A second call replaces the first one's.
 * Units   ret, notifyFlags: as in the records above.
 * Owner   the entry keeps a copy; the envelope stays the caller's. Nothing is written before CloseMQEntry.
 * Result  boolean: false for a null argument or another shape, in a child after a fork, or without memory; the entry is then as
 *         it was.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBPLATAPI int32_t PutMQEnvelope(MQContext* entry, const stEnvelope* envelope);

/* CloseMQEntry - commits the entry: its file and its directory are flushed, then its records, its channels and its envelope are
 *                written in one step, then its lock goes.
 * Shape   the ".msg" file stands complete and closed. Sender and recipients get their host parts as CreateEnvelope and
 *         AddEnvelopeRecipient give them; an empty sender is stored as "<>".
 * Units   none.
 * Owner   the entry is consumed whatever the result.
 * Result  boolean. True: the message is in the queue and survives a power cut. A lock that could not be removed does not change
 *         that; it is logged at level 1. False: it is not in the queue, its file and its lock are gone; also when channel,
 *         envelope or ".msg" file are missing. The one exception is a commit whose outcome could not be found out or undone: file
 *         and lock stay for "qob queue check", and a line at level 1 says so.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBPLATAPI int32_t CloseMQEntry(MQContext* entry);

/* DiscardMQEntry - abandons the entry: its ".msg" file goes, then its lock.
 * Shape   null is allowed.
 * Units   none.
 * Owner   the entry is consumed.
 * Result  boolean: both are gone. False also for null and in a child after a fork, where only memory is given back.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBPLATAPI int32_t DiscardMQEntry(MQContext* entry);

/* OpenMQChannel - opens a channel by name.
 * Shape   any text that is not empty; a channel without entries is as good as any.
 * Units   none.
 * Owner   a new channel, its walk before the first entry; release it with CloseMQChannel.
 * Result  the channel; null for a null or empty name, without memory, or when the database of the queue directory cannot be
 *         opened (it is created when missing). Before MQInit it is that of the configured queue directory.
 * Thread  any; one thread at a time for one channel. In a child process after a fork it can only be closed.
 * Source  the system's own. */
QOBPLATAPI MQChannel* OpenMQChannel(const char* channelName);

/* RemoveMQQID - takes an entry off a channel.
 * Shape   the envelope that was put with the entry goes with its last channel, in the same step; its files and records stay.
 * Units   id: the entry's number.
 * Owner   channel stays the caller's.
 * Result  boolean: it was on the channel and is no longer. False also for a null channel and when the database cannot be
 *         written.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t RemoveMQQID(MQChannel* channel, uint32_t id);

/* CloseMQChannel - releases a channel.
 * Shape   null is allowed.
 * Units   none.
 * Owner   channel is freed.
 * Result  boolean: false for null.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t CloseMQChannel(MQChannel* channel);

/* GetFirstMQEntry - the channel's first entry, in the order of commit.
 * Shape   entries whose message record is gone, and those of messages that are held, are passed over. Whoever handles an entry
 *         takes its lock first and looks again whether it still stands: several may walk the same channel.
 * Units   *id: the entry's number; untouched when there is none.
 * Owner   channel stays the caller's; its walk stands at the entry.
 * Result  boolean: false when there is none, for a null argument, and when the database cannot be read.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t GetFirstMQEntry(MQChannel* channel, uint32_t* id);

/* GetNextMQEntry - the entry after the channel's place; before a first call, its first entry.
 * Shape   as GetFirstMQEntry. The place is one in the order of commit: entries that are removed meanwhile, this one included, do
 *         not disturb the walk, and entries that come meanwhile are met. At the end the place stays, and a later call meets what
 *         has come by then.
 * Units   *id: the entry's number; untouched at the end.
 * Owner   channel stays the caller's; its walk stands at the entry.
 * Result  boolean: false at the end, for a null argument, and when the database cannot be read.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t GetNextMQEntry(MQChannel* channel, uint32_t* id);

/* GetMQEnvelope - the envelope of a committed entry, as it was put.
 * Shape   later changes of the message's records do not show in it. Null texts come back empty; leading is null.
 * Units   id: the entry's number, in the queue directory that OpenMQChannel would use.
 * Owner   a new envelope; release it with FreeMQEnvelope.
 * Result  the envelope; null when the entry has left all its channels or its message record is gone, when the database cannot be
 *         read or what it holds is damaged, or without memory.
 * Thread  any.
 * Source  the system's own. */
QOBPLATAPI stEnvelope* GetMQEnvelope(uint32_t id);

/* FreeMQEnvelope - releases an envelope of GetMQEnvelope.
 * Shape   null is allowed.
 * Units   none.
 * Owner   the envelope is freed.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBPLATAPI void FreeMQEnvelope(stEnvelope* envelope);

/* MQTerminate - releases the connection of MQInit.
 * Shape   entries and channels made before go on.
 * Units   none.
 * Owner   none.
 * Result  always 0; a later MQInit may follow.
 * Thread  after all other use of the queue.
 * Source  the system's own. */
QOBPLATAPI int32_t MQTerminate(void);

#ifdef __cplusplus
}
/* GetMQPathName - as GetMQPathNameById, under the name that also takes an entry. */
inline const char* GetMQPathName(uint32_t id, const char* extension) { return GetMQPathNameById(id, extension); }
#endif
#endif
