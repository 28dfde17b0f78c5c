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

/* The table's count after parsing, or 0. text is changed in place (a backslash-quote pair becomes two blanks). reset nonzero zeroes the
   table first without freeing; 0 appends. The nodes belong to the table: Clear_RT (header822.h). Holds the address lock. */
QOBAPI int32_t RecipParse(char* text, RecipTbl* table, int32_t reset);
/* Alias of RecipParse. */
QOBAPI int32_t QOB_RecipParse(char* text, RecipTbl* table, int32_t reset);

QOB_C_END

#ifdef __cplusplus
/* C++ linkage. As RecipParse, without the lock. */
QOBAPI int32_t ST_RecipParse(char* text, RecipTbl* table, int32_t reset);
#endif
#endif
