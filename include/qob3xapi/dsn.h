/* Delivery status notifications: the fate of some or all recipients of a queued message, for people and for programs.
 *
 * A notification is a multipart/Report message: a text for people, a message/delivery-status part, and the returned message or
 * its header. It is submitted through MimeSendMessage on the channel "DSN" with the empty envelope sender "<>", so that it is
 * never answered itself. From is [Options] BounceSender of "twmta.ini" as an address (default "postmaster"), with
 * "@<GatewayHostName>.<GatewayDomain>" where it has no domain, and the postmaster where it is no address.
 *
 * Field values are written as they are given: line ends in them end the field. Texts are NUL-terminated; "" counts as not set.
 * What fails leaves no file behind. */
#ifndef QOB3XAPI_DSN_H
#define QOB3XAPI_DSN_H
#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>

typedef struct PerRecipField {
    char*   originalRecipient;
    char*   finalRecipient;
    char*   action;
    char*   status;
    char*   remoteMta;
    char*   diagnosticCode;
    int32_t lastAttempt;     /* seconds since 1970; 0 or less = none */
    int32_t willRetryUntil;  /* same */
} PerRecipField;

typedef struct PerRecipFieldNode {
    PerRecipField*            field;
    struct PerRecipFieldNode* next;
} PerRecipFieldNode;

/* Envelope sender record of a DSN (only read): NOT the store's EnvFrom; its fifth field is the arrival time. */
typedef struct DsnEnvFrom {
    const char* address;
    const char* envelopeId;
    int32_t     ret;           /* 2 FULL, 1 HDRS */
    int32_t     secondOption;
    int32_t     arrivalTime;   /* seconds since 1970 */
} DsnEnvFrom;

QOB_C_BEGIN

/* AssignPerRecipField - fills a record with private copies.
 * Shape   originalRecipient "rfc822;user@host"; finalRecipient "user@host"; action "failed", "delayed", "delivered", "relayed"
 *         or "expanded"; status "5.1.1"; remoteMta a host name; diagnostic the remote server's reply. Final recipient and
 *         diagnostic are written directly behind "rfc822;" and "smtp;": begin them with a blank to have one there. Null = not
 *         set.
 * Units   seconds since 1970, UTC; 0 or less = none.
 * Owner   the record is the caller's and is overwritten without freeing: CleanPerRecipField one that was in use. The copies are
 *         the record's.
 * Result  0; -1 for a null record, or without memory (then nothing is set).
 * Thread  any; one thread per record.
 * Source  RFC 3464 section 2.3. */
QOBAPI int32_t AssignPerRecipField(PerRecipField* record, const char* originalRecipient, const char* finalRecipient,
                                   const char* action, const char* status, const char* remoteMta, const char* diagnostic,
                                   int32_t lastAttempt, int32_t willRetryUntil);
/* CleanPerRecipField - frees what a record holds.
 * Shape   the six texts become null, both dates -1. Null is allowed.
 * Units   none.
 * Owner   the record itself stays the caller's.
 * Result  none.
 * Thread  any; one thread per record.
 * Source  the system's own. */
QOBAPI void CleanPerRecipField(PerRecipField* record);
/* GenerateDSNMessage - builds and submits a notification for a queued message.
 * Shape   queueFile: queue path without extension. envelopeFrom null: as for a message whose sender is not known: no To: field,
 *         arrival now, the postmaster gets it. textLines: written as they are, each with its own line end; with a byte of 128 or
 *         more in any of them the part is quoted-printable, else 7bit; its charset is [Gateway] LocalCharSet (default US-ASCII).
 *         recipientFields null: no delivery-status part; otherwise "Original-Envelope-Id:" (when there is one),
 *         "Reporting-MTA:" and "Arrival-Date:", then each record's fields, those that are set. The whole message is returned
 *         when ret is 2 and a record's action is "failed" (any case); otherwise its header, as text/RFC822-Headers. It goes to
 *         the address of envelopeFrom, or to "postmaster@<GatewayHostName>.<GatewayDomain>" when that is "<>" or empty; a
 *         notification of a failure goes to the postmaster too when [Options] BounceToPostmaster (in that case; see bounce.h) is
 *         YES and he is not the sender.
 * Units   seconds since 1970, UTC; dates are written in local time with its offset. Remote-MTA: at most 256 bytes of the name.
 * Owner   every argument stays the caller's. The message file is only read and not locked: the caller holds its lock.
 * Result  0 submitted; -1 failure, also for a null queueFile. Logged at level 1: "Out of memory.", "putline failed.",
 *         "getline failed."; other failures by the call that failed.
 * Thread  any.
 * Source  RFC 3461 section 6, RFC 3462, RFC 3464. */
QOBAPI int32_t GenerateDSNMessage(const char* queueFile, const DsnEnvFrom* envelopeFrom, const char* subject,
                                  const ms* textLines, const PerRecipFieldNode* recipientFields);
/* GenerateDSNMessageToPostmaster - a notification as if the message had come from the postmaster.
 * Shape   as GenerateDSNMessage with "postmaster@<GatewayHostName>.<GatewayDomain>", no envelope id, ret 2, arrival now.
 * Units   as GenerateDSNMessage.
 * Owner   as GenerateDSNMessage.
 * Result  as GenerateDSNMessage.
 * Thread  as GenerateDSNMessage.
 * Source  as GenerateDSNMessage. */
QOBAPI int32_t GenerateDSNMessageToPostmaster(const char* queueFile, const char* subject,
                                              const ms* textLines, const PerRecipFieldNode* recipientFields);
/* GenerateDSNMessageForAllRecipients - stands for programs that were built for it.
 * Shape   every argument is ignored.
 * Units   none.
 * Owner   every argument stays the caller's.
 * Result  0; nothing is built or submitted.
 * Thread  any.
 * Source  the system's own. */
QOBAPI int32_t GenerateDSNMessageForAllRecipients(const char* queueFile, const DsnEnvFrom* envelopeFrom, const char* subject,
                                                  const ms* textLines, const PerRecipFieldNode* recipientFields);

QOB_C_END
#endif
