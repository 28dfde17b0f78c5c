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

/* Number of parts (1 or more) or -1. Reads the header, then runs the MIME or the plain parser. On failure *pool is null or as it was:
   set it to null before the call. Release: MimeFreeMessage. */
QOBAPI int32_t MimeParseMessage(const char* fileName, int32_t flags, MimeMessagePool** pool);
/* Number of parts or -1; on failure *pool is null. flags nonzero: descend into encapsulated messages. */
QOBAPI int32_t ParseMimeMessage(const char* fileName, int32_t flags, MimeMessagePool** pool);
/* Number of parts or -1. Plain RFC 822 text with embedded uuencode and BinHex blocks; *pool is set only on success. */
QOBAPI int32_t ParseNonMimeMessage(const char* fileName, MimeMessagePool** pool);
/* Releases records, array and pool, sets *pool to null; null and null content are allowed. */
QOBAPI void MimeFreeMessage(MimeMessagePool** pool);
/* Removes the file when it exists and frees the name; null or "" is ignored (and "" is not freed). */
QOBAPI void MimeFreeFile(char* fileName);
/* The record at index (the pool's own), or null for a null or empty pool or an index below 0 or not below count. */
QOBAPI MimeBodyPart* GetFromMsgPool(const MimeMessagePool* pool, int32_t index);

/* Accessors: the results belong to the record; null for a null argument or an unset field. */
/* The pool's count, or -1 for a null pool. */
QOBAPI int32_t MimeGetNumberOfMessage(const MimeMessagePool* pool);
/* The record at index, or null when index is not below count. A negative index is NOT rejected: never pass one. */
QOBAPI MimeBodyPart* MimeGetMsg(const MimeMessagePool* pool, int32_t index);
/* contentType */
QOBAPI const char* MimeGetContentType(const MimeBodyPart* part);
/* contentSubtype */
QOBAPI const char* MimeGetContentSubtype(const MimeBodyPart* part);
/* contentTypeParams */
QOBAPI ms* MimeGetContentTypeParams(const MimeBodyPart* part);
/* contentDisposition */
QOBAPI const char* MimeGetContentDisposition(const MimeBodyPart* part);
/* contentDispositionParams */
QOBAPI ms* MimeGetContentDispositionParams(const MimeBodyPart* part);
/* contentId */
QOBAPI const char* MimeGetContentID(const MimeBodyPart* part);
/* contentDescription */
QOBAPI const char* MimeGetContentDescription(const MimeBodyPart* part);
/* contentTransferEncoding */
QOBAPI const char* MimeGetContentTransferEncoding(const MimeBodyPart* part);
/* trueName (set by MimeGetBody) */
QOBAPI const char* MimeGetTrueName(const MimeBodyPart* part);
/* Adds to *counter: for a record with children, each child's result, then childCount - 1. Start at 1 to get the leaves. */
QOBAPI void MimeGetNumLeafBodyParts(const MimeBodyPart* part, int32_t* counter);
/* Adds 1 to *counter for every record of the subtree that has children. Start at 0. */
QOBAPI void MimeGetNumMultipartHeaders(const MimeBodyPart* part, int32_t* counter);

QOB_C_END
#endif
