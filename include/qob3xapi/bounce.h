/* Bounces: a queued message that cannot be delivered goes back, with the reasons.
 *
 * Each call writes a short text with the reasons, puts it in front of the returned message (or of its header alone) as
 * multipart/mixed with the subject "unable to deliver mail", and submits that through MimeSendMessage on the channel "DSN". A
 * queue path is that of the message without extension; the message itself, its records and its lock stay as they are: removing
 * it is the caller's next step.
 *
 * From and envelope sender of every bounce are [Options] BounceSender of "twmta.ini" (default "postmaster", also for an empty
 * value), with "@<GatewayHostName>.<GatewayDomain>" behind it unless it has an "@" or is "<>". A bounce that comes back itself is
 * answered like any mail from that address; with BounceSender = "<>" it is given up instead (docs/bounces.md).
 *
 * What fails is logged at level 1 and leaves no file behind; what was submitted is committed. */
#ifndef QOB3XAPI_BOUNCE_H
#define QOB3XAPI_BOUNCE_H
#include <qob3xapi/frame.h>
#include <qob3xapi/envelope.h>
#include <qob3xapi/util.h>
QOB_C_BEGIN

/* BounceMimeMessage - returns a message to its sender.
 * Shape   queueFile: queue path without extension, either separator. envelopeFrom: its sender record, or null to have it read
 *         from the envelope; only its address is used. reasons: one line each, without line ends. The second part is the whole
 *         message file as message/rfc822, less the envelope lines (#F, #R, #D) it may begin with. A message without sender
 *         record or with an empty address goes to "postmaster@<GatewayHostName>.<GatewayDomain> (envelope From missing)", which
 *         is logged (1, "Waring: trying to bonce message with no envelope from."). One from "<>" is discarded (logged at level 6,
 *         "Discard to bounce message with empty envelope From ( <> )."), or with [Options] BounceToPostmaster = YES sent to the
 *         postmaster instead; with [Options] bounceToPostmaster = YES the postmaster gets a copy of every bounce but those to
 *         himself. The two keys differ in the case of their first letter alone: an entry in exactly that case wins, one in
 *         another case counts for both unless it is exactly the other key. What the postmaster gets this way is logged at
 *         level 3: "Bounced <name> size: <bytes> bytes to: <postmaster>" and CR LF.
 * Units   passThrough: any value, handed on as the ignored eleventh argument of MimeSendMessage. envelopeOption: the message
 *         database handle that GetEnvelopeFrom takes; null opens the configured queue directory's for the call.
 * Owner   reasons is freed in every outcome (freeStringChain) and must come from the heap; everything else stays the caller's.
 * Result  0 returned to the sender, also when the postmaster's copy failed; 1 the sender is "<>" and it went to the postmaster
 *         instead; 2 the sender is "<>" and nothing was sent; -1 failure, and for a null queueFile, with nothing submitted.
 * Thread  any. The caller holds the message's lock.
 * Source  RFC 821 section 3.6 for the empty sender; RFC 2046 sections 5.1 and 5.2.1. */
QOBAPI int32_t BounceMimeMessage(const char* queueFile, const EnvFrom* envelopeFrom, ms* reasons, void* passThrough, MesgHandle* envelopeOption);
/* BounceMimeMessageHeader - as BounceMimeMessage, returning only the message's header.
 * Shape   as BounceMimeMessage; the sender is always read from the envelope. The second part is the message file's lines up to
 *         its first empty line, as text/RFC822-Headers; a file without an empty line (CR LF) is header as a whole. What the
 *         postmaster gets holds the whole message.
 * Units   as BounceMimeMessage.
 * Owner   as BounceMimeMessage.
 * Result  as BounceMimeMessage; -1 also when the message file cannot be opened (1, "BounceMimeMessage failed: fileopen failed.").
 * Thread  as BounceMimeMessage.
 * Source  RFC 1892 section 2 for text/rfc822-headers. */
QOBAPI int32_t BounceMimeMessageHeader(const char* queueFile, ms* reasons, void* passThrough, MesgHandle* envelopeOption);
/* BounceMimeMessageToPostmaster - sends a message to "postmaster@<GatewayHostName>.<GatewayDomain>".
 * Shape   as BounceMimeMessage; the envelope is not looked at and envelopeOption not used.
 * Units   as BounceMimeMessage.
 * Owner   everything stays the caller's, reasons too.
 * Result  0 submitted; -1 failure.
 * Thread  as BounceMimeMessage.
 * Source  RFC 822 section 6.3 for the postmaster. */
QOBAPI int32_t BounceMimeMessageToPostmaster(const char* queueFile, const ms* reasons, void* passThrough, MesgHandle* envelopeOption);

QOB_C_END
#endif
