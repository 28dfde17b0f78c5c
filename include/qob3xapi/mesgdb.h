/* The message database: the records of a queue's messages and recipients in "mesg.btr" of the queue directory.
 *
 * Every call gives the record manager's status: 0 done, 4 not found, 9 end of file, and so on; ShowBtrError has the texts.
 * A null handle gives 3, a null key or value 41, a null record 22; an index outside 0 to 2 gives 6. Keys and values are
 * NUL-terminated bytes and only read; capitals in them count as small letters, and records keep their key in small letters.
 * index: 0 the record's key, 1 the directory name, 2 the state text; among equal values records come in the order of their
 * insertion. Index 1 alone minds case: a directory name with capitals is not found by the calls here, which lower the
 * value. Nothing is allocated for the caller, and nothing has to be released but the handle. */
#ifndef QOB3XAPI_MESGDB_H
#define QOB3XAPI_MESGDB_H
#include <qob3xapi/frame.h>

/* Caller-owned position block; one handle = one cursor. Plain bytes, no alignment: a byte copy is an independent cursor. */
typedef struct MesgHandle { uint8_t block[128]; } MesgHandle;

/* The 2224-byte record. Both kinds share the layout; comments: offset, F record / R record. */
typedef struct MesgRecord {
    char    key[16];            /*    0  name + "F" / name + "R" */
    char    directoryName[16];  /*   16  F */
    char    stateText[256];     /*   32  R: recipient state text, "" = pending */
    uint8_t gap288[4];          /*  288  zero */
    char    address[512];       /*  292  sender / recipient, qualified */
    int32_t creationTime;       /*  804  F */
    int32_t lastChangeTime;     /*  808  F */
    int32_t retryTime;          /*  812  F */
    int32_t retryCount;         /*  816  F */
    int32_t delayNotifyStatus;  /*  820  F */
    int32_t partNumber;         /*  824  F */
    char    statusText[256];    /*  828  F */
    char    secondText[512];    /* 1084  R */
    char    envelopeId[100];    /* 1596  F */
    int32_t firstOption;        /* 1696  F */
    int32_t notifyFlags;        /* 1700  R */
    char    optionText[512];    /* 1704  sender's option text / recipient's third text */
    int32_t secondOption;       /* 2216  F */
    int32_t reserved2220;       /* 2220  zero */
} MesgRecord;

QOB_C_BEGIN

/* CreateMesgFile - creates the database of a directory.
 * Shape   dir: a directory with either separator, null = the queue directory of start-up.
 * Units   records of 2224 bytes, three indexes, nineteen key descriptions.
 * Owner   dir is only read.
 * Result  0; 59 when the file stands there already, which is left alone; 11 without a directory; 12, 35, 46 when the
 *         directory is missing or closed to us; 18 and 2 of the disk.
 * Thread  any; of several processes that create at once one succeeds and the others get 59.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t CreateMesgFile(const char* dir);
/* OpenMesgFile - opens the database of a directory, and creates it first when there is none.
 * Shape   dir as CreateMesgFile. db: 128 bytes of any content; the first word is cleared before all else, so that a failed
 *         open leaves no usable handle.
 * Units   none.
 * Owner   the handle stands for an open file until CloseMesgFile. A byte copy of it is a cursor of its own on the same file.
 *         A handle that comes over a fork gives 3 in the child, which opens anew.
 * Result  0; otherwise the status of the last open (that of creating is not told): 12 nothing could be created, 30 a file
 *         that is no such database or is damaged, 46, 87 too many open, 101.
 * Thread  any; one thread per handle from then on.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t OpenMesgFile(const char* dir, MesgHandle* db);
/* CloseMesgFile - closes a database.
 * Shape   db: the handle or any copy of it; all of them give 3 from then on.
 * Units   none.
 * Owner   the handle's bytes stay the caller's.
 * Result  0; 3 when it is not open.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t CloseMesgFile(MesgHandle* db);
/* InsertMesgRecord - adds a record.
 * Shape   record: its key is turned to small letters in the caller's record; the 2224 bytes are stored as they then stand.
 *         Further records with the same key may follow. The handle then stands on the new record.
 * Units   the key counts up to its NUL, 15 characters.
 * Owner   record stays the caller's; nothing is kept.
 * Result  0, durable as [Store] Durability says; else the status, and nothing was added.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t InsertMesgRecord(MesgHandle* db, MesgRecord* record);
/* FindMesgRecord - reads the first record of a key.
 * Shape   record is filled on success.
 * Units   key: its first 15 characters.
 * Owner   key and record stay the caller's.
 * Result  0; 4 none, and the handle stands nowhere; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t FindMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* GetNextMesgRecord - reads the record behind the handle's place in the order of keys.
 * Shape   key is accepted and not used; compare the key of what comes. The record that the handle stands on may have been
 *         deleted or moved meanwhile: the walk goes on from the key that was read.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; 9 the end, and the handle stays where it is; 8 the handle stands nowhere; 7 it was placed by another index.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetNextMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* UpdateMesgRecord - replaces the first record of a key.
 * Shape   the whole record is written, its key in small letters; the caller's record is not changed.
 * Units   key: its first 15 characters.
 * Owner   key and record stay the caller's.
 * Result  0; 4 none; 80 when others changed it between reading and writing twice in a row (the first time is logged at level
 *         1, "UpdateMesgRecord <key> failed: 80"); else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateMesgRecord(MesgHandle* db, const char* key, const MesgRecord* record);
/* RemoveMesgRecord - deletes the first record of a key.
 * Shape   record is filled with what was found.
 * Units   key: its first 15 characters.
 * Owner   key and record stay the caller's.
 * Result  0; 4 none, or the status of the failed reading (logged at level 6, "RemoveMesgRecord: <key>"); another failure is
 *         logged at level 1, "RemoveMesgRecord <key> failed: <status>". After 80 it is read and deleted once more
 *         ("RemoveMesgRecord <key>" at level 1) and that status given.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t RemoveMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* FindMesgRecordByKey - reads the first record of a value in an index.
 * Shape   record is filled on success.
 * Units   keyValue: its first 254 characters, and no more than the index holds: 15 of a key or directory name, 254 of a
 *         state text.
 * Owner   keyValue and record stay the caller's.
 * Result  0; 4 none, and the handle stands nowhere; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t FindMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record, int32_t index);
/* GetGreaterMesgRecordByKey - reads the first record behind a value in an index.
 * Shape   records that equal the value are passed over. record is filled on success.
 * Units   keyValue as FindMesgRecordByKey.
 * Owner   keyValue and record stay the caller's.
 * Result  0; 9 none, and the handle stands nowhere; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetGreaterMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record, int32_t index);
/* GetFirstMesgRecordByKey - reads the first record in an index.
 * Shape   record is filled on success.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; 9 the database is empty, and the handle stands nowhere; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetFirstMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index);
/* GetNextMesgRecordByKey - reads the record behind the handle's place in an index.
 * Shape   as GetNextMesgRecord.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; 9 the end, and the handle stays where it is; 8 the handle stands nowhere; 7 it was placed by another index; 82
 *         the place is lost: its state text is longer than a handle holds, and the record was deleted or its text changed.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t GetNextMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index);
/* UpdateCurrentMesgRecordByKey - replaces the record that the handle stands on.
 * Shape   the whole record is written, its key in small letters; the caller's record is not changed. index: any of the
 *         three. A walk goes on from the key that was read, not from the new one.
 * Units   none.
 * Owner   record stays the caller's.
 * Result  0; 80 somebody else changed or deleted it since it was read; 8 the handle stands nowhere, or it was deleted
 *         through this handle; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateCurrentMesgRecordByKey(MesgHandle* db, const MesgRecord* record, int32_t index);
/* DeleteCurrentMesgRecordByKey - deletes the record that the handle stands on.
 * Shape   index: any of the three. The next call of a walk goes on behind it.
 * Units   none.
 * Owner   none.
 * Result  0; 80 somebody else changed or deleted it since it was read; 8 the handle stands nowhere, or it was deleted
 *         through this handle already; else the status.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t DeleteCurrentMesgRecordByKey(MesgHandle* db, int32_t index);
/* UpdateMesgRecordByKey - replaces the first record of a value in an index.
 * Shape   as UpdateMesgRecord. After 80 the record is looked for by the first 15 characters of the value alone; when they
 *         are not the whole of a state text it is not found.
 * Units   keyValue: its first 255 characters, and no more than the index holds (FindMesgRecordByKey).
 * Owner   keyValue and record stay the caller's.
 * Result  as UpdateMesgRecord.
 * Thread  one thread per handle; others and other processes may use the file meanwhile.
 * Source  the message database mesg.btr (docs/formats/mesg.md). */
QOBAPI int32_t UpdateMesgRecordByKey(MesgHandle* db, const char* keyValue, const MesgRecord* record, int32_t index);

QOB_C_END
#endif
