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
/* 0 (also when already started), -1 when the pool cannot be allocated. */
QOBAPI int32_t InitLineIO(void);
/* Releases every open object without flushing, the pool and its locks. */
QOBAPI void TerminateLineIO(void);
/* Handle of an existing file, or -1. flags bit 30 or bit 0 set = write, else read. */
QOBAPI int32_t fileopen(const char* path, uint32_t flags, int32_t buffered);
/* Handle of a created or truncated file opened for writing, or -1. flags ignored. */
QOBAPI int32_t filecreate(const char* path, uint32_t flags, int32_t buffered);
/* 1 closed (also with an empty pool), 0 unknown handle. Flushes only when buffered is exactly 1. */
QOBAPI int32_t fileclose(int32_t handle);
/* getline: 1 a line, 0 end of file, -1 error / unknown handle / null pointer. *linePointer is the object's own buffer, valid until the
   next line read or the close of that handle. QOB_getline is an alias of the exported getline; see the note on the name. */
QOBAPI int32_t QOB_getline(int32_t handle, char** linePointer);
#if defined(_WIN32)
QOBAPI int32_t getline(int32_t handle, char** linePointer);
#endif
/* 1 or -1. The bytes up to the NUL, unchanged; no line end added. */
QOBAPI int32_t putline(int32_t handle, const char* text);
/* Next byte 0..255, or -1 at end of file or on error. */
QOBAPI int32_t inch(int32_t handle);
/* Steps the read position back one byte; character ignored. */
QOBAPI void uninch(int32_t character, int32_t handle);
/* 1 or -1. Writes the low byte of character. */
QOBAPI int32_t outch(int32_t character, int32_t handle);
/* The new absolute position, or -1. Drops read-ahead and unwritten output. */
QOBAPI int32_t setfpos(int32_t handle, int32_t position);
/* The logical position, or -1 for an unknown handle. */
QOBAPI int32_t getfpos(int32_t handle);

/* ---- object face: no pool, no lock ---- */
/* New object, released by FileClose, or null. */
QOBAPI QOB_FILE* FileOpen(const char* path, uint32_t flags, int32_t buffered);
/* New object, released by FileClose, or null (silently). */
QOBAPI QOB_FILE* FileCreate(const char* path, uint32_t flags, int32_t buffered);
/* 1. file must not be null; it is freed. */
QOBAPI int32_t FileClose(QOB_FILE* file);
/* As getline; -1 for a null object. */
QOBAPI int32_t GetLine(QOB_FILE* file, char** linePointer);
/* As putline; -1 for a null object. */
QOBAPI int32_t PutLine(QOB_FILE* file, const char* text);
/* As inch; -1 for a null object. */
QOBAPI int32_t InCh(QOB_FILE* file);
/* As uninch, without a character. Does nothing for a null object. */
QOBAPI void UninCh(QOB_FILE* file);
/* As outch with the object FIRST; -1 for a null object. */
QOBAPI int32_t OutCh(QOB_FILE* file, int32_t character);
/* As getfpos; -1 for a null object. */
QOBAPI int32_t GetFilePos(QOB_FILE* file);
/* As setfpos; -1 for a null object. */
QOBAPI int32_t SetFilePos(QOB_FILE* file, int32_t position);

QOB_C_END

#if defined(__cplusplus) && !defined(_WIN32)
/* C++ callers keep the short name: an overload beside the C library's three-argument one. */
inline int32_t getline(int32_t handle, char** linePointer) { return QOB_getline(handle, linePointer); }
#endif
#endif
