/* Parts of a message as files: decoded bodies, texts without their attachments, header blocks.
 *
 * Every call makes a new file in the temporary directory (mode 0600) and gives its name in library form: open it with line I/O,
 * or turn the name into the system's own form with QOBNativePath. The name is a heap string of the caller's; MimeFreeFile
 * removes the file and releases the name. A call that fails gives null and leaves no file behind. The calls keep no state and
 * may run on any thread, one at a time for the same record, because extraction may change its trueName. */
#ifndef QOB3XAPI_MIMEBODY_H
#define QOB3XAPI_MIMEBODY_H
#include <qob3xapi/frame.h>
#include <qob3xapi/mimeparse.h>
QOB_C_BEGIN

/* MimeGetBody - the body of a part, decoded.
 * Shape   base64, quoted-printable and uuencoded bodies are decoded; a body of subtype "mac-binhex40" becomes an AppleSingle
 *         file; any other is copied. A body that does not decode is delivered as it stands. raw nonzero: header block and body
 *         as they stand, whatever the encoding.
 * Units   file: the operating system's handle of the open message file, which is moved and not closed, or QOB_INVALID_OSHANDLE
 *         to open part->fileName. uuencoded and BinHex bodies are always read through part->fileName.
 * Owner   the name is the caller's (MimeFreeFile). part->trueName is replaced by the name found inside a uuencoded or BinHex
 *         body, and cleared when such a body does not decode.
 * Result  the file's name; null for a null record, one that ends before its body begins, and when a file cannot be made, read
 *         or written. An empty body gives an empty file.
 * Thread  any; one at a time for the same record or handle.
 * Source  RFC 2045 section 6 (encodings), RFC 1741 (BinHex), RFC 1740 (AppleSingle). */
QOBAPI char* MimeGetBody(MimeBodyPart* part, int32_t raw, QOB_OSHANDLE file);
/* MimeGetBodyWithNoEmbeddedAttachment - the body of a text without the lines of its embedded attachments.
 * Shape   the lines of the body as they stand, those of its children left out.
 * Units   none.
 * Owner   the name is the caller's (MimeFreeFile); the record is not changed.
 * Result  the file's name; null for a null record, an empty body, and when a file cannot be made, read or written.
 * Thread  any.
 * Source  the system's own. */
QOBAPI char* MimeGetBodyWithNoEmbeddedAttachment(const MimeBodyPart* part);
/* MimeGetHeader - the header block of a part with its encoded words decoded.
 * Shape   every line as rfc1522decoding gives it, the empty line at the end included; envelope lines ("#F", "#R") are left out.
 * Units   none.
 * Owner   the name is the caller's (MimeFreeFile); the record is not changed.
 * Result  the file's name; null for a null or empty record and when a file cannot be made or written. A block that cannot be
 *         read to its end is given as far as it goes.
 * Thread  any; reads the settings of encoded words from the configuration.
 * Source  RFC 1522. */
QOBAPI char* MimeGetHeader(const MimeBodyPart* part);

QOB_C_END
#endif
