/* The header block of a message file, read into one record with a place for each known field.
 *
 * Texts are NUL-terminated bytes as they stand in the file, not decoded. The record owns everything it points to, all from
 * malloc; Free822Header releases it, and what a caller puts into it must come from malloc too. ParseHdr serialises whole header
 * reads on the header lock and takes the address lock (address.h) inside it, always in that order. A record must be used by one
 * thread at a time. */
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

/* Init822Parser - makes the header lock and the address lock ready; the start-up calls do it.
 * Shape   may be repeated; a lock that is held stays held.
 * Units   none.
 * Owner   the library keeps both locks.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void Init822Parser(void);
/* Terminate822Parser - the end of parsing; the shut-down call does it.
 * Shape   may be repeated, and called without Init822Parser. A thread that is still inside a parse ends it undisturbed.
 * Units   none.
 * Owner   nothing of the caller's is touched.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void Terminate822Parser(void);
/* New822Header - a new header record.
 * Shape   every field is null.
 * Units   none.
 * Owner   the caller: Free822Header, then free.
 * Result  the record; null when memory is exhausted.
 * Thread  any.
 * Source  the system's own. */
QOBAPI addr822* New822Header(void);
/* Free822Header - releases what a header record holds.
 * Shape   address lists with their tables, strings, both string lists and the date; every field is null afterwards.
 * Units   none.
 * Owner   the record itself stays the caller's and can be filled again. Null is allowed.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void Free822Header(addr822* header);
/* Clear_RT - releases the nodes of an address table.
 * Shape   head, tail and count are zero afterwards. The walk stops early at a node pointer that is no readable memory, so that
 *         a damaged table does not end the process.
 * Units   none.
 * Owner   nodes and strings must come from malloc; the table itself stays the caller's.
 * Result  the same table; null for null.
 * Thread  any.
 * Source  the system's own. */
QOBAPI RecipTbl* Clear_RT(RecipTbl* table);
/* ParseHdr - reads the header block of an open file into a record.
 * Shape   reads to the blank line, which is read too, or to the end of the file. Names are known in any case. Every occurrence
 *         of an address field adds to one table; of other fields the first is kept; every "Received:" is appended to received
 *         and every unknown field to otherHeaders as "Name: value", the name with one capital. A line break in a value stands
 *         as "\r\n\t"; in address fields and "Sender:" as "\r" and a blank. Dates are brought to one form; one that cannot be
 *         read becomes the present moment. A line that begins with "From" and a blank goes to fromLine. Lines that are no
 *         fields are skipped. Fields that the record has already stay.
 * Units   file: a line I/O handle at the first header line. *lineCount: lines read, the blank one included, a line of more than
 *         1024 bytes counted once for each piece getline gives. *statusLine: the line behind a "status" field; 0 without one,
 *         and no name a message can have is taken for one.
 * Owner   the record and both numbers are the caller's; null pointers for the numbers are allowed. The file stays open.
 * Result  1; 0 after a read error ("getline failed." is logged), without memory ("malloc failed."), or for a null record;
 *         fields filed before that stay. A field that would grow beyond 64,512 bytes ends the header with 1 and "too many
 *         headers to parse."; the rest of the header is then unread.
 * Thread  any; the header lock is held for the call, one thread may take it repeatedly.
 * Source  RFC 822 sections 3 and 4; the keyword table is the system's own. */
QOBAPI int32_t ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);
/* QOB_ParseHdr - ParseHdr under its other name.
 * Shape   as ParseHdr.
 * Units   as ParseHdr.
 * Owner   as ParseHdr.
 * Result  as ParseHdr.
 * Thread  as ParseHdr.
 * Source  the system's own name for it. */
QOBAPI int32_t QOB_ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);

QOB_C_END

#ifdef __cplusplus
/* ST_ParseHdr - ParseHdr without the header lock, with C++ linkage.
 * Shape   as ParseHdr; the address lock is still taken for each address field.
 * Units   as ParseHdr.
 * Owner   as ParseHdr.
 * Result  as ParseHdr.
 * Thread  any, as long as no other thread uses the same handle or record.
 * Source  the system's own, for callers that hold the lock. */
QOBAPI int32_t ST_ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine);
#endif
#endif
