#ifndef QOB3XAPI_MACFILE_H
#define QOB3XAPI_MACFILE_H
#include <qob3xapi/frame.h>

/* Writes count bytes to the context's file, adds count to *total (starts at 0 for each fork); 0, or -1 on a failed or short write. */
typedef int32_t (*BinHexForkWriter)(void* context, const void* buffer, uint32_t count, uint32_t* total);

QOB_C_BEGIN

/* 0 with a new heap name of the BinHex file in *outputName (caller frees and removes), or -1. fallbackName is used without a real-name entry. */
QOBAPI int32_t ConvertASToBinHex(const char* path, const char* fallbackName, char** outputName);
/* 0 with two new heap strings (AppleSingle file's name; name in the BinHex header), or -1. handle = line I/O handle at the text's start, left open. */
QOBAPI int32_t ConvertBinHexToAS(const char* path, int32_t handle, int32_t byteCount, char** outputName, char** binHexName);
/* 0 or -1. *binHexName receives a heap string; the three values are numbers read big-endian ("TEXT" = 0x54455854). */
QOBAPI int32_t SplitBinHexForks(void* context, const char* path, int32_t offset, int32_t byteCount,
                                BinHexForkWriter dataWriter, BinHexForkWriter resourceWriter, char** binHexName,
                                uint32_t* fileType, uint32_t* creator, uint32_t* thirdValue);

QOB_C_END
#endif
