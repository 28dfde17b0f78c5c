/* Messages of the mail system's own making: a text with files, and a log file for the postmaster.
 *
 * Texts are NUL-terminated; header values are written as they are given. Lists stay the caller's. Both calls need the message
 * queue (InitQOBDll). */
#ifndef QOB3XAPI_GENERATE_H
#define QOB3XAPI_GENERATE_H
#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>
QOB_C_BEGIN

/* GenerateMimeMessage - sends a text with any number of files.
 * Shape   from: From: field and envelope sender. to: recipients, also the To: field. textLines: the lines of the first part
 *         without line ends, text/plain 7bit; null = no text. attachments: paths; null = none. A file without a byte of 128 or
 *         more is sent as text/basic 7bit; another one by what the file type database says for its extension (the first nine
 *         characters behind the last dot of its name, up to a blank), or as application/x-unknown base64. Each carries its file
 *         name as name=. passThrough and reserved are ignored.
 * Units   none.
 * Owner   everything stays the caller's; attached files are only read.
 * Result  0 once the message was built and handed to MimeSendMessage, even if that failed: what it could not queue it has
 *         logged. -1 before, with nothing left behind; logged at level 1: "GenerateMimeMessage failed: out of memory.",
 *         "... filecreate failed.", "... putline failed.", "... MimeBuildMessage failed." (also for no part at all, and for an
 *         attachment that cannot be read or is a pipe or a device) or "... MimeBuildMultipartMessage failed.". At level 6
 *         "file is ASCII" or "IsFileAscii: file contains binary data - using base64" for each attachment.
 * Thread  any.
 * Source  RFC 2046 section 5.1.3. */
QOBAPI int32_t GenerateMimeMessage(const char* from, const char* channel, const ms* to, const char* subject, void* passThrough,
                                   const ms* textLines, const ms* attachments, void* reserved);
/* SendOldLogfile - mails a file to the local postmaster.
 * Shape   the message is written straight into the queue on the channel "DSN": Received, Date, Message-ID, From ([Options]
 *         BounceSender, default "postmaster", with the local name behind it unless it has an "@" or is "<>"), "Subject: Received
 *         Logfile <path>", To, an empty line, and the file as it stands. The local name is
 *         "<GatewayHostName>.<GatewayDomain>" (defaults "twgate", "domain.invalid"), whatever the profile mode.
 * Units   none.
 * Owner   logFile stays in place.
 * Result  0 committed; nonzero when no queue entry could be made (1, "CreateMQEntry failed."), the file cannot be read or is
 *         a pipe or a device, or the entry cannot be written or committed: then it is discarded.
 * Thread  any.
 * Source  RFC 822. */
QOBAPI int32_t SendOldLogfile(const char* logFile);

QOB_C_END
#endif
