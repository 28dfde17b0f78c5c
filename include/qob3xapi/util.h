/* Text and file utilities: string chains, unique numbers, temporary names, tabs, uudecode, release of texts.
 *
 * Texts are NUL-terminated bytes of any charset. What comes back as a new text or chain is from malloc: FreeString or free,
 * freeStringChain for chains. Every call may run on any thread; a chain or file must not be used by two at once. */
#ifndef QOB3XAPI_UTIL_H
#define QOB3XAPI_UTIL_H
#include <qob3xapi/frame.h>

/* The string-list node: address lists, parameters, extra header lines, string chains. Null pointer = empty list. */
typedef struct ms {
    char*      text;  /* owned (malloc) in every list the library makes or frees */
    struct ms* next;  /* null ends the list */
} ms;

QOB_C_BEGIN

/* appendString - appends a copy of a text to a chain.
 * Shape   text: 0 to 65534 bytes. *chain: the first node, null for an empty chain.
 * Units   bytes.
 * Owner   the copy is the chain's; release the whole with freeStringChain.
 * Result  1 appended; 0 for a pointer that cannot be used, a longer text, or without memory (then a node without text may
 *         stand at the end of the chain).
 * Thread  any.
 * Source  the system's own. Appending walks the chain. */
QOBAPI int32_t appendString(ms** chain, const char* text);
/* freeStringChain - releases a chain.
 * Shape   null is allowed, and so are nodes without text.
 * Units   none.
 * Owner   every node and its text are freed.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void freeStringChain(ms* chain);
/* QOBGetTempFileName - a fresh name in the temporary directory.
 * Shape   <temporary directory>\<eight characters>: a counter as eight digits with the prefix laid over the first of
 *         them. dir is accepted and ignored; prefix counts up to four characters, null counts as empty.
 * Units   none.
 * Owner   a new text; release it with FreeString.
 * Result  the path; nothing stood there and nothing was made. Null when the directory is not set or the counter file
 *         "tmpcnt.$$$" cannot be used within a second, when 100 names in a row are in use, or without memory.
 * Thread  any; the counter is shared by all processes of the directory.
 * Source  the system's own counter files (docs/formats/counters.md). */
QOBAPI char* QOBGetTempFileName(const char* dir, const char* prefix);
/* EliminateCntrlChars - removes control characters in place.
 * Shape   bytes 1 to 31 and 127, tabs and line ends included.
 * Units   none.
 * Owner   text stays the caller's.
 * Result  the same pointer; null comes back as null.
 * Thread  any.
 * Source  iscntrl of the C locale. */
QOBAPI char* EliminateCntrlChars(char* text);
/* tabExpand - replaces the tabs of a text file by blanks.
 * Shape   columns start at 0 on each line. The file is replaced as a whole and keeps its permissions.
 * Units   [Options] TabSize of "twmta.ini", default 8, at most 80; 0, a negative or no number leaves the file.
 * Owner   none.
 * Result  0 done or nothing to do; -1 failure (logged), the file is then as it was.
 * Thread  any; one at a time for one file.
 * Source  the system's own. */
QOBAPI int32_t tabExpand(const char* path);
/* uudecode - decodes one uuencoded block.
 * Shape   the block begins at the first line "begin <digits> <name>" and ends at a line "end". Every line's first
 *         character counts its bytes; a line that is too short goes on with blanks. Lines end in LF or CR LF.
 * Units   input, output: line I/O handles, read from and written to where they stand. limit: bytes of input that may be
 *         consumed, counted by whole lines; 0 no limit.
 * Owner   *fileName: a new text with the name of the begin line, at most 255 bytes, when there is one; release it with
 *         FreeString. Otherwise it is left as it was. It is data: never a path to write to. A null fileName is allowed.
 * Result  1 the end line was reached and everything was written; 0 no block, an incomplete one (its bytes and its name
 *         are still handed out), a failed write, an unknown handle, or no memory.
 * Thread  one thread per handle.
 * Source  the encoding of the uuencode command of POSIX. */
QOBAPI int32_t uudecode(int32_t input, int32_t limit, int32_t output, char** fileName);
/* FreeString - releases a text of the library.
 * Shape   null is allowed.
 * Units   none.
 * Owner   text is freed.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void FreeString(char* text);

/* QOBNativePath - a library path as the operating system takes it.
 * Shape   every backslash becomes the system's separator; nothing else changes.
 * Units   none.
 * Owner   a new text; release it with FreeString.
 * Result  the path; null for null or without memory.
 * Thread  any.
 * Source  an extra of ours, for callers that open files themselves. */
QOBAPI char* QOBNativePath(const char* path);

QOB_C_END

#ifdef __cplusplus
/* GetUniqueId - the next unique number of the temporary directory.
 * Shape   C++ linkage.
 * Units   0 to 0x7FFFFFFE; the first is 0, the highest is followed by 0.
 * Owner   none.
 * Result  the number; -1 when the directory is not set or its counter file "unique.$$$" cannot be made, read or written.
 * Thread  any; waits for as long as others hold the counter; no two processes of the directory get the same number.
 * Source  the system's own counter files (docs/formats/counters.md). */
QOBAPI int32_t GetUniqueId(void);
#endif
#endif
