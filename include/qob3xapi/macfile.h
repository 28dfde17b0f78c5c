/* Macintosh files in mail: AppleSingle (one byte stream with both forks and the file's metadata), as the library keeps them,
 * and BinHex 4.0 (7-bit text).
 *
 * Strings are NUL-terminated bytes; a path may use either separator. Names of new files are heap strings with the library's
 * separator; the caller frees them with FreeString or free and removes the files. All memory use is bounded by a few blocks,
 * whatever the size of the file. No call keeps state; each may run on any thread. */
#ifndef QOB3XAPI_MACFILE_H
#define QOB3XAPI_MACFILE_H
#include <qob3xapi/frame.h>

/* BinHexForkWriter - takes a piece of a fork.
 * Shape   writes count bytes of buffer to the file that context names and adds count to *total.
 * Units   count: bytes, never 0; *total: bytes of this fork so far, 0 at the fork's first piece.
 * Owner   buffer is good during the call only; context is the caller's own.
 * Result  0; -1 for a failed or short write, which ends the conversion.
 * Thread  the one that called SplitBinHexForks.
 * Source  the system's own. */
typedef int32_t (*BinHexForkWriter)(void* context, const void* buffer, uint32_t count, uint32_t* total);

QOB_C_BEGIN

/* ConvertASToBinHex - writes an AppleSingle file as BinHex 4.0 text.
 * Shape   the name in the BinHex header is the file's real-name entry, or fallbackName (may be null) where that entry is
 *         missing or empty; cut to 63 bytes. Type, creator and flags come from the Finder info, zero without one.
 * Units   lines of 64 characters, CR LF.
 * Owner   *outputName is the caller's, and so is the file of that name in the temporary directory.
 * Result  0; -1, *outputName null and no file left behind, for a file that cannot be read, is no AppleSingle file or has
 *         entries beyond its end, for a file without any name, and for a failed write.
 * Thread  any.
 * Source  RFC 1740 (AppleSingle), RFC 1741 (BinHex 4.0). */
QOBAPI int32_t ConvertASToBinHex(const char* path, const char* fallbackName, char** outputName);
/* ConvertBinHexToAS - turns BinHex 4.0 text into an AppleSingle file.
 * Shape   path: the file that holds the text; handle: a line I/O handle on it that stands where the text starts. It is only
 *         asked for its position and left as it is. Entries of the new file: data fork, resource fork, real name, Finder
 *         info with type and creator.
 * Units   byteCount: bytes of the text; more than the file has means to its end.
 * Owner   *outputName and *binHexName (the name in the BinHex header, as it stands: never use it as a path) are the
 *         caller's, and so is the file *outputName in the temporary directory.
 * Result  0; -1, both names null and no file left behind, as SplitBinHexForks and for a failed write.
 * Thread  any; handle as every line I/O handle.
 * Source  RFC 1740, RFC 1741. */
QOBAPI int32_t ConvertBinHexToAS(const char* path, int32_t handle, int32_t byteCount, char** outputName, char** binHexName);
/* SplitBinHexForks - decodes BinHex 4.0 text and hands out its forks as they come.
 * Shape   starts at the first line that begins with a colon, else at the first colon. Bytes up to 0x20 and 0x7F are passed
 *         over; the closing colon may be missing. dataWriter gets the data fork, then resourceWriter the resource fork; the
 *         writer of an empty fork is not called.
 * Units   offset, byteCount: bytes. fileType, creator: four characters as a big-endian number ("TEXT" = 0x54455854);
 *         thirdValue: the Finder flags.
 * Owner   *binHexName is the caller's; context is handed to the writers unchanged.
 * Result  0; -1 with *binHexName null and the values 0. After -1 the writers may have got a part of the forks. Logged at
 *         level 1: "Data fork CRC error.", "Resource fork CRC error.", "Empty fork CRC not null.".
 * Thread  any; the writers run on it.
 * Source  RFC 1741. */
QOBAPI int32_t SplitBinHexForks(void* context, const char* path, int32_t offset, int32_t byteCount,
                                BinHexForkWriter dataWriter, BinHexForkWriter resourceWriter, char** binHexName,
                                uint32_t* fileType, uint32_t* creator, uint32_t* thirdValue);

QOB_C_END
#endif
