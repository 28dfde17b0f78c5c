#ifndef QOB3XAPI_UTIL_H
#define QOB3XAPI_UTIL_H
#include <qob3xapi/frame.h>

/* The string-list node: address lists, parameters, extra header lines, string chains. Null pointer = empty list. */
typedef struct ms {
    char*      text;  /* owned (malloc) in every list the library makes or frees */
    struct ms* next;  /* null ends the list */
} ms;

QOB_C_BEGIN

/* 1 = a copy of text was appended at the end of *chain; 0 = bad pointer, text above 65534 characters, or no memory. */
QOBAPI int32_t appendString(ms** chain, const char* text);
/* Frees every node and its text; null is allowed. */
QOBAPI void freeStringChain(ms* chain);
/* New heap path of a file that does not exist yet (the file is not created), or null. dir is accepted and ignored; prefix cut to 4. */
QOBAPI char* QOBGetTempFileName(const char* dir, const char* prefix);
/* The same pointer, control characters removed in place; null and "" come back as they are. */
QOBAPI char* EliminateCntrlChars(char* text);
/* 0 done or nothing to do, -1 failure. The file is replaced in place. */
QOBAPI int32_t tabExpand(const char* path);
/* 1 = one block decoded up to its end line, else 0. input/output are line I/O handles; limit 0 = none.
   *fileName receives a heap copy of a non-empty begin-line name (caller frees); otherwise it is left as it was. */
QOBAPI int32_t uudecode(int32_t input, int32_t limit, int32_t output, char** fileName);
/* Releases a string that the library allocated; null is allowed. FreeQueueId and QOBFreeMQId are the same routine. */
QOBAPI void FreeString(char* text);

/* Extra (not in the text): new heap copy of a library path with the system's own separator, for callers that open files themselves. */
QOBAPI char* QOBNativePath(const char* path);

QOB_C_END

#ifdef __cplusplus
/* C++ linkage. The next unique number, 0 .. 0x7FFFFFFE, or -1. */
QOBAPI int32_t GetUniqueId(void);
#endif
#endif
