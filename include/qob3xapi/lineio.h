/* Files as objects, read and written line by line and byte by byte.
 *
 * Two faces share one object. The handle face (lower case) names it by number and finds it in the process's pool; the object
 * face (capitals) is given the object itself and registers nothing. Lines are bytes that end in a line feed; they may hold any
 * byte, NUL included. Paths take either separator. Positions are signed 32-bit; reading and writing go on beyond 2 GiB, where
 * positions can no longer be told. A file that is read cannot be written through the same object, nor the other way round.
 * Different files may be used by different threads at once, one file by one thread at a time. With [Debug] LogFileIO=TRUE in
 * "twmta.ini" every open and close is logged. Failures are logged at level 1. */
#ifndef QOB3XAPI_LINEIO_H
#define QOB3XAPI_LINEIO_H
#include <qob3xapi/frame.h>

typedef struct QOB_FILE {
    int32_t  handle;          /* OS file handle, -1 just before the object is freed; the handle face's file handle */
    char*    name;            /* heap copy of the path */
    char*    lineBuffer;      /* 1025 bytes */
    uint32_t position;        /* logical position */
    uint32_t flushedPosition; /* OS file pointer after a putline flush */
    uint32_t access;          /* 0x80000000 read, 0x40000000 write */
    uint8_t* ioBuffer;        /* 4096 bytes */
    uint8_t* cursor;          /* next byte in ioBuffer; null = not primed */
    int32_t  count;           /* reading: valid bytes; writing: free bytes */
    int32_t  buffered;        /* third argument of open/create */
} QOB_FILE;

QOB_C_BEGIN

/* ---- handle face ---- */
/* InitLineIO - makes the pool of the handle face (done by start-up).
 * Shape   none.
 * Units   none.
 * Owner   the pool is the library's; TerminateLineIO releases it.
 * Result  0, also when the pool stands already; -1 when memory is exhausted.
 * Thread  one thread, before and after all other use of the library.
 * Source  the system's own. */
QOBAPI int32_t InitLineIO(void);
/* TerminateLineIO - releases the pool and closes every file in it (done by shutdown).
 * Shape   pending output is lost.
 * Units   none.
 * Owner   every handle becomes unknown.
 * Result  none.
 * Thread  one thread, before and after all other use of the library.
 * Source  the system's own. */
QOBAPI void TerminateLineIO(void);
/* fileopen - opens an existing file and registers it.
 * Shape   path: either separator. flags: bit 30 or bit 0 set writes, any other value reads.
 * Units   buffered: 0 writes at once; nonzero collects output in blocks of 4096 bytes; the last block is written at close
 *         only when it is exactly 1. Reading is always by blocks.
 * Owner   close it with fileclose.
 * Result  the handle, at least 3; -1 for a null or empty path and without memory (both silent), for a directory, a
 *         missing file, or one that another has open in a way that does not agree (logged with path and error number).
 * Thread  any.
 * Source  the system's own. Reading shares reading and writing; writing shares reading alone, between processes as well. */
QOBAPI int32_t fileopen(const char* path, uint32_t flags, int32_t buffered);
/* filecreate - creates or empties a file for writing and registers it.
 * Shape   path: either separator; a symbolic link is refused. flags are ignored.
 * Units   buffered: as fileopen.
 * Owner   close it with fileclose.
 * Result  the handle, at least 3, or -1 ("open failed", "Unable to allocate QOB_FILE object", "Unable to insert QOB_FILE
 *         object to memory pool"; silent for a null or empty path). A file that another writes is refused and keeps its
 *         bytes.
 * Thread  any.
 * Source  the system's own. New files have mode 0600; writing shares reading alone. */
QOBAPI int32_t filecreate(const char* path, uint32_t flags, int32_t buffered);
/* fileclose - closes a file of the handle face.
 * Shape   pending output is written first when the third argument of the open was exactly 1, else it is lost.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   the handle and the pointers from its lines are no longer good.
 * Result  1 closed (also when its last bytes could not be written, which is logged), and when no file was ever opened
 *         since InitLineIO; 0 unknown handle; -1 before InitLineIO.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI int32_t fileclose(int32_t handle);
/* QOB_getline - the next line of an open file.
 * Shape   *linePointer: the bytes as they stand, line feed included, at most 1024, NUL-terminated; a longer line comes in
 *         pieces. The exported symbol getline@QOB3X_1 is the same call; who just says getline still gets the C library's.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   the file object keeps the buffer; good until the next line read or the close of the same file.
 * Result  1 a line, also a last one without line feed; 0 end of file; -1 read error (logged), unknown handle or null
 *         pointer. With 0 and -1 *linePointer is left alone. A last piece without line feed that ends on a multiple of
 *         4096 bytes of the file is not returned: callers count on the position behind it.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own line discipline: lines end in a line feed, nothing is added or removed. */
QOBAPI int32_t QOB_getline(int32_t handle, char** linePointer);
#if defined(_WIN32)
QOBAPI int32_t getline(int32_t handle, char** linePointer);
#endif
/* putline - writes a text.
 * Shape   text: the bytes up to its NUL, unchanged; no line end is added.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   text stays the caller's.
 * Result  1, or -1: unknown handle, null text, a file opened for reading, a failed write (logged "putline: WriteFile
 *         failed." when buffered).
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own line discipline: lines end in a line feed, nothing is added or removed. */
QOBAPI int32_t putline(int32_t handle, const char* text);
/* inch - the next byte.
 * Shape   none.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   none.
 * Result  0 to 255; -1 at the end of the file, on a read error (logged) or for an unknown handle.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI int32_t inch(int32_t handle);
/* uninch - steps the read position back by one byte.
 * Shape   character is ignored: the next read gives the byte that is in the file.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   none.
 * Result  none. Nothing happens at position 0, for a file opened for writing and for an unknown handle.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI void uninch(int32_t character, int32_t handle);
/* outch - writes one byte.
 * Shape   the low byte of character.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   none.
 * Result  1, or -1 as putline ("outch: WriteFile failed."). getfpos counts a block twice that this call has flushed,
 *         until putline flushes one.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI int32_t outch(int32_t character, int32_t handle);
/* setfpos - moves to an absolute position.
 * Shape   read-ahead is dropped, and so is output that was not yet written.
 * Units   position: bytes from the start; past the end is allowed.
 * Owner   none.
 * Result  the new position; -1 for an unknown handle, or for a negative position or a file that has no positions (logged,
 *         the file stays where it is).
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI int32_t setfpos(int32_t handle, int32_t position);
/* getfpos - the logical position.
 * Shape   bytes consumed or produced since the open or the last setfpos.
 * Units   handle: as returned by fileopen or filecreate.
 * Owner   none.
 * Result  the position; -1 for an unknown handle and beyond 0x7FFFFFFF.
 * Thread  one thread per handle; different handles are independent.
 * Source  the system's own. */
QOBAPI int32_t getfpos(int32_t handle);

/* ---- object face: no pool, no lock ---- */
/* FileOpen - opens an existing file as an object.
 * Shape   as fileopen.
 * Units   as fileopen.
 * Owner   release the object with FileClose.
 * Result  the object, or null: "CreateFile failed.", "Unable to allocate new file objcet.", silent for a null or empty
 *         path.
 * Thread  any.
 * Source  the system's own. Reading shares reading alone, which fileopen does not ask for. */
QOBAPI QOB_FILE* FileOpen(const char* path, uint32_t flags, int32_t buffered);
/* FileCreate - creates or empties a file for writing as an object.
 * Shape   as filecreate.
 * Units   as fileopen.
 * Owner   release the object with FileClose.
 * Result  the object, or null, always without a message.
 * Thread  any.
 * Source  the system's own. */
QOBAPI QOB_FILE* FileCreate(const char* path, uint32_t flags, int32_t buffered);
/* FileClose - closes a file object.
 * Shape   as fileclose.
 * Units   none.
 * Owner   file is freed.
 * Result  1; also for null, which is ignored.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI int32_t FileClose(QOB_FILE* file);
/* GetLine - as QOB_getline.
 * Shape   as QOB_getline.
 * Units   none.
 * Owner   as QOB_getline; the buffer is file->lineBuffer.
 * Result  as QOB_getline; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own line discipline: lines end in a line feed, nothing is added or removed. */
QOBAPI int32_t GetLine(QOB_FILE* file, char** linePointer);
/* PutLine - as putline.
 * Shape   as putline.
 * Units   none.
 * Owner   as putline.
 * Result  as putline; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own line discipline: lines end in a line feed, nothing is added or removed. */
QOBAPI int32_t PutLine(QOB_FILE* file, const char* text);
/* InCh - as inch.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  as inch; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI int32_t InCh(QOB_FILE* file);
/* UninCh - as uninch, without a character.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  none; a null object is ignored.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI void UninCh(QOB_FILE* file);
/* OutCh - as outch, the object FIRST.
 * Shape   the low byte of character.
 * Units   none.
 * Owner   none.
 * Result  as outch; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI int32_t OutCh(QOB_FILE* file, int32_t character);
/* GetFilePos - as getfpos.
 * Shape   none.
 * Units   bytes.
 * Owner   none.
 * Result  as getfpos; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI int32_t GetFilePos(QOB_FILE* file);
/* SetFilePos - as setfpos.
 * Shape   as setfpos.
 * Units   as setfpos.
 * Owner   none.
 * Result  as setfpos; -1 for a null object.
 * Thread  one thread per object; no lock is taken.
 * Source  the system's own. */
QOBAPI int32_t SetFilePos(QOB_FILE* file, int32_t position);

QOB_C_END

#if defined(__cplusplus) && !defined(_WIN32)
/* C++ callers keep the short name: an overload beside the C library's three-argument one. */
inline int32_t getline(int32_t handle, char** linePointer) { return QOB_getline(handle, linePointer); }
#endif
#endif
