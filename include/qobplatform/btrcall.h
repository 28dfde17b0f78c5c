#ifndef BTRCALL_H
#define BTRCALL_H
#include <stdint.h>

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

/* Returns the status. positionBlock: the caller's 128 bytes. *dataLength: in = buffer size, out = bytes used. keyLength: size of keyBuffer.
   Create/open: keyBuffer = path text; create: dataBuffer = file description (keyNumber -1 = never replace: status 59).
   Get position: 4-byte record position into dataBuffer; get direct: the same 4 bytes in at the start of dataBuffer, the record out. */
int16_t BTRCALL(uint16_t operation, void* positionBlock, void* dataBuffer, uint32_t* dataLength,
                void* keyBuffer, uint8_t keyLength, int8_t keyNumber);

#ifdef __cplusplus
}
#endif
#endif
