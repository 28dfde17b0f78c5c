/* Address lists: the value of a To:, Cc: or From: field, or any recipient list, to a table of addresses.
 *
 * Texts are NUL-terminated bytes of any charset. A table owns its nodes and their strings, all from malloc; Clear_RT
 * (header822.h) releases them. A table itself is the caller's and must be used by one thread at a time. The calls keep no state
 * besides the address lock, which RecipParse holds. */
#ifndef QOB3XAPI_ADDRESS_H
#define QOB3XAPI_ADDRESS_H
#include <qob3xapi/frame.h>

typedef struct RecipNode {
    char* address;    /* normalised; never null in a table */
    char* rawText;
    char* phrase;
    char* comment;
    char* localPart;
    char* domain;
    struct RecipNode* next;
} RecipNode;

typedef struct RecipTbl {
    RecipNode* head;
    RecipNode* tail;
    uint32_t   count;
} RecipTbl;

QOB_C_BEGIN

/* RecipParse - parses a list of addresses into a table, one node for each.
 * Shape   text is separated by commas and changed in place: a backslash and the double quote behind it become two blanks. An
 *         address is a local name, "local@domain", "phrase <local@domain>", a source route "<@relay:local@domain>", a lone
 *         domain literal "[...]", or a group "name: address, address;" (one node). In a node, address has no phrase, no
 *         comments, and no brackets unless it has a route; phrase has its words joined by one blank and keeps its quotes;
 *         comment is the inner text of the last comment; rawText is the address as it stood in the list. None of them is null;
 *         what an address does not have is "". A dot belongs to the word before the first at-sign of an address. What is no
 *         address is left out, the list goes on at the next comma. A list whose double quotes are odd in number (the character
 *         behind a backslash not counted) is refused whole and not changed.
 * Units   reset: nonzero sets the table to empty first without releasing what was in it; 0 appends. comment is cut to 255
 *         bytes and a domain literal to 511; nothing else has a limit.
 * Owner   text and table are the caller's, the nodes the table's.
 * Result  the table's count, nodes that it held before included; 0 for a null or blank text, odd quotes, a null table, or when
 *         memory is exhausted (nodes appended before stay).
 * Thread  any; the address lock is held for the call, one thread may take it repeatedly.
 * Source  RFC 822 section 6; dots in words and phrases as this system has always read them. */
QOBAPI int32_t RecipParse(char* text, RecipTbl* table, int32_t reset);
/* QOB_RecipParse - RecipParse under its other name.
 * Shape   as RecipParse.
 * Units   as RecipParse.
 * Owner   as RecipParse.
 * Result  as RecipParse.
 * Thread  as RecipParse.
 * Source  the system's own name for it. */
QOBAPI int32_t QOB_RecipParse(char* text, RecipTbl* table, int32_t reset);

QOB_C_END

#ifdef __cplusplus
/* ST_RecipParse - RecipParse without the address lock, with C++ linkage.
 * Shape   as RecipParse.
 * Units   as RecipParse.
 * Owner   as RecipParse.
 * Result  as RecipParse.
 * Thread  any, as long as no other thread uses the same text or table.
 * Source  the system's own, for callers that hold the lock. */
QOBAPI int32_t ST_RecipParse(char* text, RecipTbl* table, int32_t reset);
#endif
#endif
