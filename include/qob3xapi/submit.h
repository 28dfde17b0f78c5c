/* Submission: a finished message is put into the mail queue with its envelope.
 *
 * MimeSendMessage does all of it for a message file. A caller that writes the message file himself goes QOBGetNewMQEntry,
 * QOBGetNewMQId, writes "<that path>.msg", then SubmitMQMessage. A message is in the queue from the moment the call reports
 * success, on stable storage, exactly once; before that it is not there at all.
 *
 * Texts are NUL-terminated bytes; nothing of the arguments is changed or kept. What goes into header lines (date, sender with a
 * receipt request, and the host names of "twmta.ini") is written as it stands: callers owe texts without CR and LF, or they
 * write header lines of somebody else's choosing. The calls need the queue of InitQOBDll or MQInit and may run on any thread,
 * one entry by one thread at a time. docs/submission.md shows what is written and an example. */
#ifndef QOB3XAPI_SUBMIT_H
#define QOB3XAPI_SUBMIT_H
#include <qob3xapi/frame.h>
#include <qob3xapi/envelope.h>

struct MQContext;  /* opaque queue entry (MQapi) */

/* Recipient of MimeSendMessage's array (five fields; only read). Null text = empty. */
typedef struct MimeRecipient {
    const char* address;
    const char* originalRecipient;
    int32_t     notifyFlags;
    const char* fourthText;
    const char* fifthText;
} MimeRecipient;

/* Recipient list of SubmitMQMessage (only read). */
typedef struct EnvRecipNode {
    EnvRecip*            recipient;
    struct EnvRecipNode* next;
} EnvRecipNode;

QOB_C_BEGIN

/* MimeSendMessage - submits a message file.
 * Shape   sender: one address, "" or "<>" for none; a host part is not added here. recipients: recipientCount records; each
 *         address that is known as one becomes "local@domain", without a domain it gets [Routing] PrimaryRelayHostName, else
 *         GatewayHostName.GatewayDomain of [Connection]; a text that is no address is taken as it is; one that holds several
 *         addresses makes a recipient of each; an empty one is left out with "Ignore empty recipient address." at level 6.
 *         envelopeId: null counts as empty. channel: who is to deliver it, not empty. messageFile: header, empty line, body,
 *         lines ending in CR LF; an empty file is allowed. Written in front of it: two lines of Received:, then what its
 *         header lacks of Mime-version: (not with noMimeVersion), Date: (the text `date`, else the time now) and Message-ID:;
 *         with returnReceipt the line "<[Options] rrqHeader>: <sender>". Date: and Resent-date: of its header are brought to
 *         one form; one that is no date becomes the time now, with "Received invalid date.  Adopting the current time
 *         instead." at level 6. All other bytes are copied as they stand.
 * Units   ret: 1 headers only, 2 full message, anything else none. reserved1 and reserved2 are ignored.
 * Owner   all arguments and the message file stay the caller's; the file is only read, never removed.
 * Result  a new heap text, the queue path of the message without extension (QOBFreeMQId): the message is in the queue. Null:
 *         it is not, and nothing of it is left there: no queue ("CreateMQEntry failed." at level 1), a message file that is
 *         missing, cannot be read or is a pipe or a device, a queue directory that takes no file, no channel, no recipient left,
 *         a queue that refuses the commit, or memory exhausted ("Out of memory." at level 1).
 * Thread  any.
 * Source  RFC 822 section 4, RFC 1891; the texts are the system's own. */
QOBAPI char* MimeSendMessage(const char* sender, const char* envelopeId, int32_t ret, int32_t reserved1,
                             const char* senderExtra, const char* channel,
                             const MimeRecipient* recipients, int32_t recipientCount,
                             const char* date, const char* messageFile, void* reserved2,
                             int32_t returnReceipt, int32_t noMimeVersion);
/* QOBGetNewMQEntry - a new, uncommitted entry of the queue.
 * Shape   its number is drawn and its lock held; there is no file yet.
 * Units   none.
 * Owner   the caller, until SubmitMQMessage takes it. DiscardMQEntry (qobplatform/mqapi.h) ends it without a message.
 * Result  the entry; null with "CreateMQEntry failed." at level 1.
 * Thread  any; one thread at a time for one entry.
 * Source  the system's own. */
QOBAPI struct MQContext* QOBGetNewMQEntry(void);
/* QOBGetNewMQId - the path of an entry.
 * Shape   "<queue directory>\<eight upper-case hexadecimal digits>"; the message file belongs under that and ".msg"
 *         (QOBNativePath turns it into a path of the system).
 * Units   none.
 * Owner   a new heap text (QOBFreeMQId); the entry stays the caller's.
 * Result  the text; null for a null entry or when memory is exhausted.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBAPI char* QOBGetNewMQId(struct MQContext* entry);
/* SubmitMQMessage - commits an entry whose message file the caller has written and closed.
 * Shape   sender: address, envelope id, RET in firstOption, secondOption and optionText as the queue keeps them; recipients:
 *         at least one node. Addresses are taken as they are. Null texts count as empty. channel is not empty.
 * Units   firstOption: 1 headers only, 2 full message, anything else none.
 * Owner   sender, recipients and channel stay the caller's. The entry is consumed, with its message file when the result is 0,
 *         except when memory is exhausted: then it stays the caller's.
 * Result  nonzero: the message is in the queue. 0: it is not: a null entry ("CreateMQEntry failed." at level 1), memory
 *         exhausted (level 1: "Out of memory" for the sender, "Out of memory." for the recipients), a null sender or null
 *         recipient, no recipient, no channel, no message file, or a queue that refuses the commit.
 * Thread  one thread at a time for one entry.
 * Source  the system's own. */
QOBAPI int32_t SubmitMQMessage(struct MQContext* entry, const EnvFrom* sender, const EnvRecipNode* recipients, const char* channel);
/* QOBFreeMQId - FreeString under another name.
 * Shape   as FreeString.
 * Units   none.
 * Owner   entryPath is freed; null is allowed.
 * Result  none.
 * Thread  any.
 * Source  the system's own name for it. */
QOBAPI void QOBFreeMQId(char* entryPath);

QOB_C_END
#endif
