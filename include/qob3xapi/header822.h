#ifndef QOB3XAPI_HEADER822_H
#define QOB3XAPI_HEADER822_H
#include <qob3xapi/frame.h>
#include <qob3xapi/address.h>
#include <qob3xapi/util.h>

typedef struct HeaderAddressList {
    char*     text;                  /* never set by the parser; freed if present */
    RecipTbl* table;
    struct HeaderAddressList* next;  /* the parser makes one node per field */
} HeaderAddressList;

typedef struct HeaderDate {
    char*   text;  /* owned 64-byte buffer, RFC 822 form */
    int32_t utc;   /* seconds since 1970, UTC */
} HeaderDate;

typedef struct addr822 {
    HeaderAddressList* to;
    HeaderAddressList* resentTo;
    HeaderAddressList* cc;
    HeaderAddressList* resentCc;
    HeaderAddressList* bcc;
    HeaderAddressList* resentBcc;
    HeaderAddressList* from;
    HeaderAddressList* resentFrom;
    HeaderAddressList* replyTo;
    HeaderAddressList* returnReceiptTo;
    char* subject;
    char* sender;
    char* messageId;
    char* resentMessageId;
    char* inReplyTo;
    char* references;
    char* returnPath;
    char* status;
    char* fromLine;
    char* mimeVersion;
    char* contentType;
    char* contentTransferEncoding;
    char* contentId;
    char* contentDescription;
    ms*   received;
    ms*   otherHeaders;
    HeaderDate* date;
} addr822;

QOB_C_BEGIN

/* Creates the header lock and the address lock (done by the start-up calls). */
QOBAPI void Init822Parser(void);
/* Destroys both locks. */
QOBAPI void Terminate822Parser(void);
/* New all-null record, or null. Release: Free822Header, then free(). */
QOBAPI addr822* New822Header(void);
/* Releases every field and sets it to null; the record itself stays the caller's. Null is allowed. */
QOBAPI void Free822Header(addr822* header);
/* The same table, emptied (nodes freed, head/tail/count zero). */
QOBAPI RecipTbl* Clear_RT(RecipTbl* table);
/* 1 success, 0 failure. file = line I/O handle at the first header line; *lineCount = lines read, blank line included; *statusLine stays 0
   unless a "status" field was filed. Holds the header lock. */
QOBAPI int32_t ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);
/* Alias of ParseHdr. */
QOBAPI int32_t QOB_ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);

QOB_C_END

#ifdef __cplusplus
/* C++ linkage. As ParseHdr, without the header lock. */
QOBAPI int32_t ST_ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);
#endif
#endif
