/* The file type database "magicdb" and the banned users of "banuserdb": which MIME type, file-name extension and Macintosh
 * type and creator belong together, and who may not use the system.
 *
 * Both relations lie in the queue directory ([Gateway] QueueDirectory of "twmta.ini", read at every call). Texts are
 * NUL-terminated bytes and only read. Extensions and MIME types compare without regard to the case of ASCII letters,
 * Macintosh types and creators exactly. "First" means first in the order in which the records were added.
 *
 * A field may be as wide as its place, and its NUL then falls on the first byte of the next field, which is written after
 * it: a field that fills its place ends only where the next one is empty. The last NUL needs the 377th byte.
 *
 * The calls that keep records work on one relation per process, opened by libmagic_init; the look-ups and BanUserExist open
 * the relation for themselves and need no start-up but that. What another process has changed is seen by the next call.
 * Every call holds the relation's lock while it works and waits for it as long as it takes. */
#ifndef QOB3XAPI_MAGIC_H
#define QOB3XAPI_MAGIC_H
#include <qob3xapi/frame.h>

/* 376 bytes, no padding; NUL-terminated texts. */
typedef struct MagicRecord {
    char extension[10];
    char contentType[50];
    char contentSubtype[128];
    char textA[50];
    char textB[128];
    char macTypeCreator[10];
} MagicRecord;

/* What an "out" argument must point at: 377 bytes, for the last NUL. Pass &buffer.record. */
typedef union MagicRecordBuffer {
    MagicRecord record;
    char        bytes[377];
} MagicRecordBuffer;

QOB_C_BEGIN

/* libmagic_init - opens the process's file type relation.
 * Shape   a missing or empty "magicdb" is first placed from the folder "srcdb" of the install directory ([Config]
 *         InstallDirectory); one that is there is never overwritten, damaged or not. A second call opens anew and ends
 *         the pass of the first.
 * Units   none.
 * Owner   the relation is the library's until libmagic_fini.
 * Result  none; logged under "Libmagic": "magic db opened" at level 6 or "magic db not opened" at level 1.
 * Thread  any; several processes may start at once, and one of them places the seed.
 * Source  the file type database (docs/file-types.md). */
QOBAPI void libmagic_init(void);
/* libmagic_fini - closes the process's file type relation.
 * Shape   may be called without libmagic_init and more than once.
 * Units   none.
 * Owner   nothing is left.
 * Result  none.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI void libmagic_fini(void);
/* InsMagicRecord - adds a record.
 * Shape   its six texts, each up to its NUL. Nobody looks whether there is a record with that extension.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; -1 for null or without libmagic_init; else the relation's dbError, and nothing was added.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t InsMagicRecord(const MagicRecord* record);
/* UpdateMagicRecord - replaces the first record with that extension.
 * Shape   record->extension tells which. A pass goes on behind the record that it read last.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; -1 for null or without libmagic_init; 17 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t UpdateMagicRecord(const MagicRecord* record);
/* DelMagicRecord - deletes the first record with that extension.
 * Shape   other records with it stay. A pass goes on behind the record that it read last.
 * Units   none.
 * Owner   extension stays the caller's.
 * Result  0; -1 for null or without libmagic_init; 17 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t DelMagicRecord(const char* extension);
/* FindMagicRecord - reads the first record with that extension.
 * Shape   out: 377 bytes, filled on success and untouched otherwise.
 * Units   none.
 * Owner   both arguments stay the caller's.
 * Result  0; -1 for null or without libmagic_init; 17 no such record; else the relation's dbError.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t FindMagicRecord(MagicRecord* out, const char* extension);
/* GetFirstMagicRecord - starts a pass over all records.
 * Shape   out: 377 bytes, filled on success and untouched otherwise. The process has one pass: whoever begins one ends
 *         that of another.
 * Units   none.
 * Owner   out stays the caller's.
 * Result  0; -1 for null or without libmagic_init; 17 there is no record; else the relation's dbError.
 * Thread  any; two that walk at once each see a part of the records.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetFirstMagicRecord(MagicRecord* out);
/* GetNextMagicRecord - reads the next record of the pass.
 * Shape   as GetFirstMagicRecord.
 * Units   none.
 * Owner   out stays the caller's.
 * Result  0; 17 the end; -1 for null, without libmagic_init, or when the relation stands on an error; else the relation's
 *         dbError. When the place of the pass is lost (4) it starts anew.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetNextMagicRecord(MagicRecord* out);
/* GetMagicFromExtension - the record of an extension.
 * Shape   extension without its dot. out: 377 bytes, filled on success and untouched otherwise.
 * Units   none.
 * Owner   both arguments stay the caller's.
 * Result  0; -1 no such record, null, or no database.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetMagicFromExtension(const char* extension, MagicRecord* out);
/* GetMagicFromMacTypes - the record of a Macintosh type and creator.
 * Shape   both are padded with blanks to four characters. out: 377 bytes, filled on success and untouched otherwise.
 * Units   none.
 * Owner   the arguments stay the caller's.
 * Result  0; -1 no record has exactly that pair, null, or no database.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetMagicFromMacTypes(MagicRecord* out, const char* type, const char* creator);
/* GetDosExtFromCTandCST - the extension of a MIME type.
 * Shape   extensionOut: 11 bytes, written on success and untouched otherwise.
 * Units   at most 10 characters and a NUL.
 * Owner   the arguments stay the caller's.
 * Result  0; -1 no such type, null, or no database.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetDosExtFromCTandCST(char* extensionOut, const char* contentType, const char* contentSubtype);
/* GetTypeCreatorfromDosExt - the Macintosh type and creator of an extension.
 * Shape   typeCreatorOut: 11 bytes, written on success and untouched otherwise; "" where the record has none.
 * Units   four characters of type and four of creator.
 * Owner   both arguments stay the caller's.
 * Result  0; -1 no such extension, null, or no database.
 * Thread  any.
 * Source  the file type database (docs/file-types.md). */
QOBAPI int32_t GetTypeCreatorfromDosExt(const char* extension, char* typeCreatorOut);
/* BanUserExist - is that user banned?
 * Shape   the whole address as it stands in the record; ASCII letters in any case.
 * Units   at most 239 characters; a longer address is in no record.
 * Owner   address stays the caller's.
 * Result  1 it is in "banuserdb"; 0 not, also for null and for whatever fails.
 * Thread  any.
 * Source  the banned users (docs/file-types.md). */
QOBAPI int32_t BanUserExist(const char* address);

QOB_C_END
#endif
