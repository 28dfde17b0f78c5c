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
/* Every call returns the record manager's status: 0 success, 4 not found, 9 end of file, ... (texts: ShowBtrError).
   dir null = the queue directory. Index: 0 record key, 1 directory name, 2 state text. Nothing is heap-allocated. */

/* Creates "mesg.btr" with the fixed description. */
QOBAPI int32_t CreateMesgFile(const char* dir);
/* Opens it into the caller's handle; on status 12 creates it and opens again. */
QOBAPI int32_t OpenMesgFile(const char* dir, MesgHandle* db);
/* Closes the handle. */
QOBAPI int32_t CloseMesgFile(MesgHandle* db);
/* Lower-cases record->key in the caller's record, then inserts. */
QOBAPI int32_t InsertMesgRecord(MesgHandle* db, MesgRecord* record);
/* Get-equal on index 0 (first 15 characters of key, lower-cased); fills record. */
QOBAPI int32_t FindMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* Get-next on index 0 from the current position; key is accepted and not used; fills record. */
QOBAPI int32_t GetNextMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* Get-equal, then replaces the found record by the caller's; one retry on status 80. */
QOBAPI int32_t UpdateMesgRecord(MesgHandle* db, const char* key, const MesgRecord* record);
/* Get-equal (fills record), then deletes it; one retry on status 80. */
QOBAPI int32_t RemoveMesgRecord(MesgHandle* db, const char* key, MesgRecord* record);
/* Get-equal on the given index (first 254 characters, lower-cased); fills record. */
QOBAPI int32_t FindMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record, int32_t index);
/* Get-greater on the given index; fills record. */
QOBAPI int32_t GetGreaterMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record, int32_t index);
/* Get-first on the given index; fills record. */
QOBAPI int32_t GetFirstMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index);
/* Get-next on the given index; fills record. */
QOBAPI int32_t GetNextMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index);
/* Replaces the record at the current position by the caller's. */
QOBAPI int32_t UpdateCurrentMesgRecordByKey(MesgHandle* db, const MesgRecord* record, int32_t index);
/* Deletes the record at the current position. */
QOBAPI int32_t DeleteCurrentMesgRecordByKey(MesgHandle* db, int32_t index);
/* Get-equal on the given index (at most 255 characters, lower-cased), then update; one retry on status 80. */
QOBAPI int32_t UpdateMesgRecordByKey(MesgHandle* db, const char* keyValue, const MesgRecord* record, int32_t index);

QOB_C_END
#endif
