/* The envelope of a queued message: sender, state and recipients, as records of the message database.
 *
 * path: the queue path without extension, "<queue directory>\<name>" with either separator; the first 14 bytes of the
 * name make the keys of the records. A path without a separator fails at once and silently, and so do null pointers.
 * db: as OpenMesgFile filled it. A new message goes GetNewQueueId, CreateStatusFile, CreateEnvelope or
 * CreateSMTPEnvelope, then AddEnvelopeRecipient once per recipient.
 *
 * Each call makes one insert, update or delete at most, whole or not at all. A change is made to the record as it
 * stands at that moment; when others change it between reading and writing, it is read and changed anew (up to eight
 * times, each told as "UpdateMesgRecord <key> failed: 80" at level 1). Texts are bytes of any charset. Every call may
 * run on any thread; one handle must not be used by two at once. */
#ifndef QOB3XAPI_ENVELOPE_H
#define QOB3XAPI_ENVELOPE_H
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>

/* Sender record of the envelope store (five fields). Also the caller-side sender of SubmitMQMessage. */
typedef struct EnvFrom {
    char*   address;       /* owned */
    char*   envelopeId;    /* owned; null on input = empty */
    int32_t firstOption;   /* SubmitMQMessage: RET (1 headers only, 2 full) */
    int32_t secondOption;
    char*   optionText;    /* owned; null on input = empty */
} EnvFrom;

/* Recipient record of the envelope store (four fields). Also the caller-side recipient of SubmitMQMessage. */
typedef struct EnvRecip {
    char*   address;       /* owned */
    char*   secondText;    /* owned; null on input = empty. SubmitMQMessage: original recipient */
    int32_t notifyFlags;
    char*   thirdText;     /* owned; null on input = empty */
} EnvRecip;

QOB_C_BEGIN

/* CreateStatusFile - inserts the record of a new message.
 * Shape   statusText: its first 255 bytes are kept; null counts as empty. A second call for the same path inserts a
 *         second record; all calls see the first.
 * Units   creation and change time: now, in seconds since 1970, at most 0x7FFFFFFF.
 * Owner   none.
 * Result  0; -1 with "CreateStatus failed, <path>: <text of the status>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t CreateStatusFile(const char* path, const char* statusText, MesgHandle* db);
/* CreateEnvelope - writes the sender into the message's record, which must exist.
 * Shape   envFrom: address (511 bytes are kept, once qualified), envelope id (99), option text (511); null texts but
 *         the address count as empty. An address without host part gets this site's, one without a dot behind its last
 *         "@" gets the domain; "<>" and address literals stay. The name of the path's directory (15 bytes) is written
 *         too.
 * Units   none.
 * Owner   envFrom stays the caller's.
 * Result  0, also when only the last write failed (then "CreateEnvelope failed, <path>: <text>" at level 6 tells the
 *         loss); -1 for a path without directory (two separators make one) or without sender address, silently, and
 *         when the message's record is not found or cannot be read, with that line.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t CreateEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db);
/* CreateSMTPEnvelope - as CreateEnvelope, for a sender that came by SMTP.
 * Shape   as CreateEnvelope; an address without host part stays so when [Options] qualifyAddress is NO.
 * Units   none.
 * Owner   envFrom stays the caller's.
 * Result  as CreateEnvelope, with its text.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t CreateSMTPEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db);
/* AddEnvelopeRecipient - inserts the record of one recipient.
 * Shape   envRecip: address (511 bytes are kept, once qualified), second and third text (511 each); null texts but the
 *         address count as empty. An address without host part gets [Routing] PrimaryRelayHostName or this site's,
 *         unless [Options] qualifyAddress is NO. One call, one record: the same address twice is two recipients.
 * Units   none.
 * Owner   envRecip stays the caller's.
 * Result  0; -1, for a failure of the database with "AddEnvelopeRecipient failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t AddEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db);
/* GetEnvelopeFrom - the sender of a message.
 * Shape   texts that are empty in the record come as empty texts, never null.
 * Units   none.
 * Owner   a new record; release it with FreeEnvFrom.
 * Result  the record; null, with "GetEnvelopFrom failed, <path>: <text>" at level 6 or "Out of memory." at level 1.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI EnvFrom* GetEnvelopeFrom(const char* path, MesgHandle* db);
/* GetFirstEnvelopeRecipient - the first recipient of a message; the walk starts here.
 * Shape   recipients come in the order in which they were added. The walk stands in db: any other call on the same
 *         handle between two steps ruins it (a copy of the handle is a cursor of its own).
 * Units   none.
 * Owner   a new record; release it with FreeEnvRecip.
 * Result  the record; null when there is none, on error and without memory, silently.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI EnvRecip* GetFirstEnvelopeRecipient(const char* path, MesgHandle* db);
/* GetNextEnvelopeRecipient - the next recipient of the walk.
 * Shape   from the place at which the previous call left db.
 * Units   none.
 * Owner   a new record; release it with FreeEnvRecip.
 * Result  the record; null at the end, on error and without memory, silently.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI EnvRecip* GetNextEnvelopeRecipient(const char* path, MesgHandle* db);
/* GetFirstPendingEnvelopeRecipient - the first recipient whose state text is empty.
 * Shape   as GetFirstEnvelopeRecipient; recipients with a state text are passed over.
 * Units   none.
 * Owner   a new record; release it with FreeEnvRecip.
 * Result  as GetFirstEnvelopeRecipient.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI EnvRecip* GetFirstPendingEnvelopeRecipient(const char* path, MesgHandle* db);
/* GetNextPendingEnvelopeRecipient - the next recipient of the walk whose state text is empty.
 * Shape   as GetNextEnvelopeRecipient; recipients with a state text are passed over.
 * Units   none.
 * Owner   a new record; release it with FreeEnvRecip.
 * Result  as GetNextEnvelopeRecipient.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI EnvRecip* GetNextPendingEnvelopeRecipient(const char* path, MesgHandle* db);
/* UpdateEnvelopeRecipient - writes second text, third text and notify flags of one recipient.
 * Shape   envRecip: address names the recipient, letters of either case, as it is stored; the first one of that
 *         address. Its address and state text stay.
 * Units   none.
 * Owner   envRecip stays the caller's.
 * Result  0 written; 0 also for a path without separator and when the end of the database is reached without a match;
 *         -1 when the message has no recipient, when the records of another message are reached, on error, for null
 *         pointers; a failed write says "UpdateEnvelopeRecipient failed, <text>" at level 1.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db);
/* DeleteEnvelopeRecipient - removes one recipient.
 * Shape   address: as UpdateEnvelopeRecipient finds it.
 * Units   none.
 * Owner   none.
 * Result  the number of recipients left, also when none matched; -1 on error (then they cannot be counted), a failed
 *         delete with "DeleteEnvelopeRecipient failed, Btrieve error: <text>" at level 1.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t DeleteEnvelopeRecipient(const char* path, const char* address, MesgHandle* db);
/* GetRecipientNumber - how many recipients a message has.
 * Shape   counted along db: a walk on the same handle is ruined.
 * Units   none.
 * Owner   none.
 * Result  the number; 0 also for a path without separator, for null pointers and when the database cannot be read,
 *         silently.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetRecipientNumber(const char* path, MesgHandle* db);
/* GetNotifyFlag - the notify flags of one recipient.
 * Shape   address: as UpdateEnvelopeRecipient finds it.
 * Units   none.
 * Owner   none.
 * Result  the flags; -1 when no recipient matches or on error, silently.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetNotifyFlag(const char* path, const char* address, MesgHandle* db);
/* GetEnvelopeStatus - the status text of a message.
 * Shape   at most 255 bytes.
 * Units   none.
 * Owner   a new text; release it with FreeString.
 * Result  the text; null, with "GetEnvelopStatus failed, <path>: <text>" or "Out of memory" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI char* GetEnvelopeStatus(const char* path, MesgHandle* db);
/* GetMessageStatus - the status text of a message.
 * Shape   at most 255 bytes.
 * Units   none.
 * Owner   a new text; release it with FreeString.
 * Result  the text; null, with "GetMessageStatus failed, <path>: <text>" or "Out of memory" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI char* GetMessageStatus(const char* path, MesgHandle* db);
/* UpdateMessageStatus - sets the status text of a message, and the time of its last change.
 * Shape   statusText: its first 255 bytes are kept; null counts as empty.
 * Units   none.
 * Owner   none.
 * Result  0; -1 with "UpdateMessageStatus failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateMessageStatus(const char* path, const char* statusText, MesgHandle* db);
/* GetMessageRetryCount - how often delivery was tried.
 * Shape   a stored -1 cannot be told from a failure.
 * Units   none.
 * Owner   none.
 * Result  the number; -1 with "GetMessageRetryCount failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetMessageRetryCount(const char* path, MesgHandle* db);
/* GetMessageRetryTime - when delivery is to be tried next.
 * Shape   a stored -1 cannot be told from a failure.
 * Units   seconds since 1970, as set by SetMessageRetryTime.
 * Owner   none.
 * Result  the number; -1 with "GetMessageRetryTime failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetMessageRetryTime(const char* path, MesgHandle* db);
/* GetMessageCreationTime - when the message entered the queue.
 * Shape   a stored -1 cannot be told from a failure.
 * Units   seconds since 1970.
 * Owner   none.
 * Result  the number; -1 with "GetMessageCreationTime failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetMessageCreationTime(const char* path, MesgHandle* db);
/* GetMessagePartNumber - the part number of a message.
 * Shape   a stored -1 cannot be told from a failure.
 * Units   none.
 * Owner   none.
 * Result  the number; -1 with "GetMessagePartNumber failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetMessagePartNumber(const char* path, MesgHandle* db);
/* BumpMessageRetryCount - counts one more try, and sets the time of the last change.
 * Shape   two processes that count at once are both counted. The count stays at 0x7FFFFFFF.
 * Units   none.
 * Owner   none.
 * Result  the new count; -1, at level 6, with "BumpMessageRetryCount failed, <path>: <text>" when the record is not
 *         found, "UpdateMessageStatus failed, <path>: <text>" when it cannot be written.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t BumpMessageRetryCount(const char* path, MesgHandle* db);
/* SetMessageRetryTime - sets when delivery is to be tried next, and the time of the last change.
 * Shape   any number.
 * Units   seconds since 1970.
 * Owner   none.
 * Result  0; -1 with "SetMessageRetryTime failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t SetMessageRetryTime(const char* path, int32_t time, MesgHandle* db);
/* UpdateMessagePartNumber - sets the part number, and the time of the last change.
 * Shape   any number.
 * Units   none.
 * Owner   none.
 * Result  0; -1 with "UpdateMessagePartNumber failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateMessagePartNumber(const char* path, int32_t number, MesgHandle* db);
/* GetDelayNotifyStatus - whether the sender was told of the delay.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  1 or 0; -1 with "GetDelayNotifyStatus failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetDelayNotifyStatus(const char* path, MesgHandle* db);
/* UpdateDelayNotifyStatus - notes that the sender was told of the delay.
 * Shape   the time of the last change stays.
 * Units   none.
 * Owner   none.
 * Result  0; -1 with "UpdateDelayNotifyStatus failed, <path>: <text>" at level 6.
 * Thread  one thread per handle.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateDelayNotifyStatus(const char* path, MesgHandle* db);
/* FreeEnvFrom - releases a sender record.
 * Shape   null is allowed, and so are null texts.
 * Units   none.
 * Owner   the three texts and the record are freed; all from malloc.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void FreeEnvFrom(EnvFrom* envFrom);
/* FreeEnvRecip - releases a recipient record.
 * Shape   null is allowed, and so are null texts.
 * Units   none.
 * Owner   the three texts and the record are freed; all from malloc.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void FreeEnvRecip(EnvRecip* envRecip);

QOB_C_END
#endif
