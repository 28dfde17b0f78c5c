/* MIME messages as a tree of parts: reading a message file, looking at its parts, releasing them.
 *
 * A message becomes a pool: one record for each part, in the order in which the parts start in the file; record 0 is the message
 * itself. A record tells type, encoding and names of its part and where in the file its header and body stand; bodies are not
 * read into memory (mimebody.h takes them out). Containers (multiparts, opened messages, texts with embedded attachments) point
 * at their children; records that no delimiter line closed are nobody's children and are found in the pool alone. Whether a
 * record is a container is told by `children`, not by `role`: a container that is itself a child says child.
 *
 * Texts are NUL-terminated bytes as they stand in the message, with case kept; a field that the message does not have is null.
 * Positions count bytes from the start of the file; a message of 2 GiB or more is refused. The pool owns its records and all
 * they point at, from malloc; MimeFreeMessage releases everything at once. The calls keep no state: any thread may use them,
 * one thread at a time for the same pool. The rules of reading are told in docs/mime-parsing.md. */
#ifndef QOB3XAPI_MIMEPARSE_H
#define QOB3XAPI_MIMEPARSE_H
#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>

typedef struct MimeBodyPart {
    char*   contentId;
    char*   contentDescription;
    char*   contentType;
    char*   contentSubtype;
    char*   contentTransferEncoding;
    char*   contentDisposition;
    ms*     contentTypeParams;         /* nodes "attribute=value" */
    ms*     contentDispositionParams;
    char*   fileName;
    char*   delimiter;
    int32_t contentStart;
    int32_t contentEnd;
    int32_t bodyStart;
    int32_t childCount;                /* only the low 16 bits are used */
    char*   trueName;
    int32_t role;                      /* 0 plain, 1 container, 2 child */
    struct MimeBodyPart** children;
} MimeBodyPart;

typedef struct MimeMessagePool {
    MimeBodyPart** parts;
    int32_t        count;
} MimeMessagePool;

QOB_C_BEGIN

/* MimeParseMessage - reads a message file of any kind into its parts.
 * Shape   reads the top-level header; with a Mime-Version that begins with "1." the message is read as ParseMimeMessage reads
 *         it, otherwise, and when the header cannot be parsed, as ParseNonMimeMessage does. A MIME read that fails is not
 *         followed by a plain one.
 * Units   fileName: path in library or native form. flags: as for ParseMimeMessage; without meaning for a plain message.
 * Owner   *pool is the caller's, released with MimeFreeMessage.
 * Result  the number of parts, 1 or more; -1 on failure: *pool is then null (MIME) or as it was, so set it to null before.
 *         A null or empty name, an unreadable file and a null pool address fail without a log line.
 * Thread  any.
 * Source  RFC 2045 section 4 (MIME-Version); the choice is the system's own. */
QOBAPI int32_t MimeParseMessage(const char* fileName, int32_t flags, MimeMessagePool** pool);
/* ParseMimeMessage - reads a MIME message into the tree of its parts.
 * Shape   a delimiter line begins with "--" and the boundary, compared by prefix and without case; "--" right behind it closes
 *         the multipart. A part reaches from behind its delimiter line to the start of the next one, the line end before that
 *         included. Text/plain bodies and bodies without a type are searched for uuencoded and BinHex blocks, which become
 *         their children. At most 100 containers are open at once; one more stays a leaf. A container takes at most 65,535
 *         children; further parts stay in the pool without one.
 * Units   flags: nonzero opens "message"/"rfc822" parts whose encoding is none, 7bit, 8bit or binary; 0 leaves them leaves.
 *         Positions: bytes.
 * Owner   *pool is the caller's, released with MimeFreeMessage.
 * Result  the number of parts, 1 or more; -1 on failure, after a log line, with *pool null. Failures are a file that cannot be
 *         read, a type without subtype, a multipart without a boundary, a file that ends before a multipart's first delimiter
 *         line, and memory exhausted.
 * Thread  any; the file may be written by others meanwhile.
 * Source  RFC 2045 and RFC 2046 section 5.1; embedded blocks and the placeholder "--QOB" are the system's own. */
QOBAPI int32_t ParseMimeMessage(const char* fileName, int32_t flags, MimeMessagePool** pool);
/* ParseNonMimeMessage - reads a plain message and cuts out the blocks embedded in its body.
 * Shape   part 0 is the header and the text up to the first block; every block is a part ("x-embedded" with encoding
 *         "x-uuencode", or "application"/"mac-binhex40") and is followed by a part for the text behind it, if an empty one. No
 *         part has children. A begin line needs a mode of digits.
 * Units   positions: bytes. The number of parts is odd.
 * Owner   *pool is the caller's, released with MimeFreeMessage.
 * Result  the number of parts; -1 on failure, *pool as it was; all but a null or empty name and a null pool address are logged.
 * Thread  any; refused while somebody writes the file.
 * Source  RFC 822; the blocks are the system's own. */
QOBAPI int32_t ParseNonMimeMessage(const char* fileName, MimeMessagePool** pool);
/* MimeFreeMessage - releases a pool.
 * Shape   every record with its texts, lists and children's array, the array and the pool itself; *pool becomes null.
 * Units   none.
 * Owner   nothing of the pool may be used afterwards.
 * Result  none; a null address, a null pool and an empty or half-filled one are allowed.
 * Thread  one at a time for the same pool.
 * Source  the system's own. */
QOBAPI void MimeFreeMessage(MimeMessagePool** pool);
/* MimeFreeFile - disposes of a file that body extraction made.
 * Shape   removes the file when it exists and releases its name.
 * Units   none.
 * Owner   fileName is a heap string of the library's and is gone afterwards.
 * Result  none; null is ignored, "" is ignored and not released.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void MimeFreeFile(char* fileName);
/* GetFromMsgPool - the record at an index.
 * Shape   index 0 is the message itself.
 * Units   index: from 0.
 * Owner   the record is the pool's.
 * Result  the record, or null for a null or empty pool or an index below 0 or not below the count.
 * Thread  any, while nobody changes the pool.
 * Source  the system's own. */
QOBAPI MimeBodyPart* GetFromMsgPool(const MimeMessagePool* pool, int32_t index);

/* Accessors: the results belong to the record; null for a null argument or an unset field. */
/* MimeGetNumberOfMessage - how many parts a pool holds.
 * Shape   the pool's count.
 * Units   parts.
 * Owner   nothing.
 * Result  the count, or -1 for a null pool.
 * Thread  any.
 * Source  the system's own. */
QOBAPI int32_t MimeGetNumberOfMessage(const MimeMessagePool* pool);
/* MimeGetMsg - the record at an index, without a test for negative ones.
 * Shape   as GetFromMsgPool, but a negative index is NOT rejected: never pass one.
 * Units   index: from 0.
 * Owner   the record is the pool's.
 * Result  the record, or null for a null pool or an index not below the count.
 * Thread  any, while nobody changes the pool.
 * Source  the system's own. */
QOBAPI MimeBodyPart* MimeGetMsg(const MimeMessagePool* pool, int32_t index);
/* MimeGetContentType - the media type of a part, "text" of "text/plain".
 * Shape   as written, at most 255 bytes; "application" where the field could not be used.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 5. */
QOBAPI const char* MimeGetContentType(const MimeBodyPart* part);
/* MimeGetContentSubtype - the subtype, "plain" of "text/plain".
 * Shape   as written; "octet-stream" where the field could not be used.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 5. */
QOBAPI const char* MimeGetContentSubtype(const MimeBodyPart* part);
/* MimeGetContentTypeParams - the parameters of the type.
 * Shape   one node for each, "attribute=value" as written: a quoted string keeps its quotes.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the first node, or null when there is none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 5.1. */
QOBAPI ms* MimeGetContentTypeParams(const MimeBodyPart* part);
/* MimeGetContentDisposition - how a part wants to be shown, "inline" or "attachment".
 * Shape   the token as written.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2183. */
QOBAPI const char* MimeGetContentDisposition(const MimeBodyPart* part);
/* MimeGetContentDispositionParams - the parameters of the disposition.
 * Shape   as for the type: "filename=..." and others.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the first node, or null when there is none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2183. */
QOBAPI ms* MimeGetContentDispositionParams(const MimeBodyPart* part);
/* MimeGetContentID - the identifier of a part.
 * Shape   as written, with its angle brackets.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 7. */
QOBAPI const char* MimeGetContentID(const MimeBodyPart* part);
/* MimeGetContentDescription - the description of a part.
 * Shape   unfolded, encoded words as they stand.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 8. */
QOBAPI const char* MimeGetContentDescription(const MimeBodyPart* part);
/* MimeGetContentTransferEncoding - how the body of a part is encoded.
 * Shape   the token as written; null counts as 7bit.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null when the part has none or for a null record.
 * Thread  any, while nobody changes the record.
 * Source  RFC 2045 section 6. */
QOBAPI const char* MimeGetContentTransferEncoding(const MimeBodyPart* part);
/* MimeGetTrueName - the file name that stood inside a uuencoded or BinHex body.
 * Shape   as written there, without the blanks around it; never a path to be trusted.
 * Units   none.
 * Owner   the record's; good until the pool is released.
 * Result  the text, or null before MimeGetBody found one and for a null record.
 * Thread  any, while nobody changes the record.
 * Source  the system's own. */
QOBAPI const char* MimeGetTrueName(const MimeBodyPart* part);
/* MimeGetNumLeafBodyParts - counts the leaves below a part.
 * Shape   adds, for the record and every record below it that has children, their number less one.
 * Units   start with *counter at 1 to get the number of leaves; a text with one embedded attachment counts as one.
 * Owner   counter is the caller's.
 * Result  none; null arguments do nothing, and without memory for the walk *counter stays.
 * Thread  any, while nobody changes the pool.
 * Source  the system's own. */
QOBAPI void MimeGetNumLeafBodyParts(const MimeBodyPart* part, int32_t* counter);
/* MimeGetNumMultipartHeaders - counts the containers of a subtree.
 * Shape   adds 1 for the record and every record below it that has children.
 * Units   start with *counter at 0.
 * Owner   counter is the caller's.
 * Result  none; null arguments do nothing, and without memory for the walk *counter stays.
 * Thread  any, while nobody changes the pool.
 * Source  the system's own. */
QOBAPI void MimeGetNumMultipartHeaders(const MimeBodyPart* part, int32_t* counter);

QOB_C_END
#endif
