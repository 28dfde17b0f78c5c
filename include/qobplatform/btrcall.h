/* The record manager: one entry point for files of fixed-length records with indexes, shared by processes.
 *
 * A file has one kind of record and some indexes, numbered from 0. Entries of an index are ordered by key and, among equal
 * keys, by insertion. A key flagged 0x400 compares without regard to case (ASCII letters). All numbers in the buffers are
 * little-endian.
 *
 * A position block is the caller's: 128 plain bytes without alignment that hold one cursor. A byte copy is an independent
 * cursor on the same open file, until the file is closed through any of them; from then on, and in a child process after a
 * fork, the others give 3. */
#ifndef BTRCALL_H
#define BTRCALL_H
#include <stdint.h>
#include <qobplatform/export.h>

#define B_OPEN 0
#define B_CLOSE 1
#define B_INSERT 2
#define B_UPDATE 3
#define B_DELETE 4
#define B_GET_EQUAL 5
#define B_GET_NEXT 6
#define B_GET_GREATER 8
#define B_GET_GREATER_OR_EQUAL 9
#define B_GET_FIRST 12
#define B_STAT 15   /* data: 16-byte file part (record length, page size, number of indexes, record count), then one 16-byte description per index */
#define B_CREATE 14
#define B_GET_POSITION 22
#define B_GET_DIRECT 23

#define B_OK 0
#define B_NOT_FOUND 4
#define B_DUPLICATE_KEY 5
#define B_END_OF_FILE 9
#define B_FILE_NOT_FOUND 12
#define B_FILE_EXISTS 59
#define B_CONFLICT 80

#ifdef __cplusplus
extern "C" {
#endif

/* BTRCALL - does one operation of the record manager.
 * Shape   keyBuffer: for open and create the path, NUL-terminated, with either separator; for the gets that seek the value,
 *         which ends at its NUL or with keyLength (an integer key: its bytes). It is never written. keyNumber: the index;
 *         open: -2 = read only, any other = normal. dataBuffer: the record in or out; create: 16-byte file part (record
 *         length, page size, number of indexes, 4 unused, flags, 2 unused, preallocated pages) and 16 bytes per key
 *         (position from 1, length, flags, 4 unused, type, null value, 4 unused); get position: the record's number in 4
 *         bytes; get direct: the same 4 bytes in at its start, the record out.
 * Units   *dataLength: in the size of dataBuffer, out the bytes used (left alone by a failure). keyLength: the size of
 *         keyBuffer, not used for a path.
 * Owner   nothing is kept; positionBlock, buffers and lengths stay the caller's. The block holds all of a cursor: index, key
 *         and number of the record, and its version as read.
 * Result  the status: 0 done; texts from ShowBtrError. 3 closed or no position block; 4 not found; 5 a duplicate where the
 *         index allows none; 6 no such index; 7 next on another index; 8 no record to act on (none was read, a seek failed,
 *         or it was deleted through this block); 9 end; 11 no path; 12 no such file; 22 buffer shorter than the record; 30
 *         a foreign or damaged file; 41 no such operation, a null key or a description of no file; 43 a record number
 *         beyond 4 bytes; 46 no permission, or opened read only; 49 an index of an unknown type; 59 the file exists,
 *         whatever keyNumber says: a create never replaces; 80 the record was changed or deleted by somebody else since it
 *         was read; 82 the place in a long key is lost; 84 others held the file too long; 87 too many open; 101 no memory;
 *         2, 18 and 35 of the disk and its directories. A failure has changed nothing, but that a change which met 2 may
 *         come to light when the file is opened anew; a file is created whole or not at all.
 *         Get next gives the first entry behind the block's place, whether the record there still stands or not, and leaves
 *         the block alone at the end. Insert makes the block stand on the new record, in that index. Update keeps the place
 *         that get next goes on from. A seek that finds nothing takes the block's place away.
 * Thread  any; one thread at a time for one block. Files are shared by threads and processes.
 * Source  the record manager of the mail system's first platform. */
QOBPLATAPI int16_t BTRCALL(uint16_t operation, void* positionBlock, void* dataBuffer, uint32_t* dataLength,
                           void* keyBuffer, uint8_t keyLength, int8_t keyNumber);

#ifdef __cplusplus
}
#endif
#endif
