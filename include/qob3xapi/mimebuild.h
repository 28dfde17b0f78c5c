/* Builders: header values and body files to a message file.
 *
 * Texts are NUL-terminated bytes in the local character set; a list is a chain of texts of which empty ones are passed over.
 * Nothing is kept of the arguments and nothing is changed in them. Every call gives a new heap path of the file it built in the
 * temporary directory: the caller removes the file and frees the path (FreeString). Or null, and no file is left. What is
 * built lacks the transport fields (Date, Message-ID, Received, Mime-version), which are added when it is submitted. Header
 * values are written as they are given: line ends in them end the header line. */
#ifndef QOB3XAPI_MIMEBUILD_H
#define QOB3XAPI_MIMEBUILD_H
#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>
QOB_C_BEGIN

/* MimeBuildMessage - a message of one part from a body file.
 * Shape   any text or list may be null except bodyFile. type null = application, subtype null = x-unknown, encoding null =
 *         quoted-printable for type text and base64 otherwise; others: 7bit, x-uue, x-uuencode. params: attribute=value,
 *         quoted or not; the last name= also gives the file name. extraHeaders: whole lines. flags 0 = MIME headers; nonzero =
 *         none; bit 0 = uuencode instead of base64 and quoted-printable. Recipients without a whole host part get one from
 *         [Connection] GatewayHostName and GatewayDomain or [Routing] PrimaryRelayHostName, unless [Options]
 *         QualifyRecipientHosts is NO; header texts are encoded as rfc1522encoding does. A 7bit body whose charset parameter
 *         is ISO-2022-JP is converted from Shift-JIS, with [Options] InvalidCharacterMark for what is none; a 7bit
 *         message/rfc822 loses the envelope lines (#F, #R, #D) it begins with. A list without an address writes an empty line.
 * Units   address lists are folded at 80 columns, base64 lines are 72 characters, quoted-printable ones at most 76.
 * Owner   the path and the file are the caller's.
 * Result  the path; null for a missing body file, another encoding ("Cannot send unencoded binary via Mime." is logged), a
 *         failure to read, write or convert, or without memory.
 * Thread  any.
 * Source  RFC 822, RFC 1522, RFC 2045 section 6, RFC 2183; uuencode as IEEE Std 1003.1 describes it. */
QOBAPI char* MimeBuildMessage(const char* from, const ms* to, const char* subject, const ms* cc,
                              const char* type, const char* subtype, const ms* params, const char* encoding,
                              const char* contentId, const char* description, const char* bodyFile,
                              const ms* extraHeaders, int32_t flags);
/* MimeBuildMessageWithBCC - as MimeBuildMessage, with a Bcc list after the Cc list.
 * Shape   as MimeBuildMessage; the "Bcc: " field is written into the message.
 * Units   as MimeBuildMessage.
 * Owner   as MimeBuildMessage.
 * Result  as MimeBuildMessage.
 * Thread  any.
 * Source  as MimeBuildMessage. */
QOBAPI char* MimeBuildMessageWithBCC(const char* from, const ms* to, const char* subject, const ms* cc, const ms* bcc,
                                     const char* type, const char* subtype, const ms* params, const char* encoding,
                                     const char* contentId, const char* description, const char* bodyFile,
                                     const ms* extraHeaders, int32_t flags);
/* MimeBuildMultipartMessage - ready body parts as one multipart message.
 * Shape   partFiles = null or a null-terminated array of paths, each of a whole part with its content header; they are copied
 *         unchanged. subtype null = "mixed". flags nonzero = header and plain concatenation. With from, to, cc and subject all
 *         null the result is itself a part: no preamble is written. [Options] mimePreambleFile replaces the built-in preamble.
 * Units   the boundary is made of the second and the thread: two messages of one thread in one second share it.
 * Owner   the path and the file are the caller's.
 * Result  the path; null for a part that cannot be read, a failure to write, or without memory.
 * Thread  any.
 * Source  RFC 2046 section 5.1. */
QOBAPI char* MimeBuildMultipartMessage(const char* from, const ms* to, const char* subject, const ms* cc,
                                       const char* const* partFiles, const char* subtype, const ms* params,
                                       const ms* extraHeaders, int32_t flags);
/* MimeBuildMultipartMessageWithBCC - as MimeBuildMultipartMessage, with a Bcc list after the Cc list.
 * Shape   as MimeBuildMultipartMessage; the "Bcc: " field is written into the message.
 * Units   as MimeBuildMultipartMessage.
 * Owner   as MimeBuildMultipartMessage.
 * Result  as MimeBuildMultipartMessage.
 * Thread  any.
 * Source  as MimeBuildMultipartMessage. */
QOBAPI char* MimeBuildMultipartMessageWithBCC(const char* from, const ms* to, const char* subject, const ms* cc, const ms* bcc,
                                              const char* const* partFiles, const char* subtype, const ms* params,
                                              const ms* extraHeaders, int32_t flags);

QOB_C_END

#ifdef __cplusplus
/* MimeBuildMessageV2 - header fields in front of a body file that brings its own content header.
 * Shape   From, To, Cc, Subject, then bodyFile line by line unchanged; the other arguments are accepted and not used.
 *         C++ linkage; nothing is changed through the pointers.
 * Units   as MimeBuildMessage.
 * Owner   the path and the file are the caller's.
 * Result  as MimeBuildMessage.
 * Thread  any.
 * Source  RFC 822. */
QOBAPI char* MimeBuildMessageV2(char* from, ms* to, char* subject, ms* cc, char* type, char* subtype, ms* params, char* encoding,
                                char* contentId, char* description, char* bodyFile, ms* extraHeaders, int32_t flags);
#endif
#endif
