#ifndef QOB3XAPI_QUEUEID_H
#define QOB3XAPI_QUEUEID_H
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/util.h>

typedef struct QueueScanFilter {
    int32_t minimumSize;  /* bytes */
    int32_t maximumSize;  /* bytes; below 1 = no maximum */
    int32_t takeAll;      /* 0 = pass over records with a non-empty state text */
} QueueScanFilter;

QOB_C_BEGIN

/* New heap queue path, locked (give back with ReleaseQueueId), or null. */
QOBAPI char* GetNewQueueId(const char* queueDir, MesgHandle* db);
/* 0 lock taken, -1 already locked or cannot be made. path without ".lck". */
QOBAPI int32_t CreateLockFile(const char* path);
/* 0 removed, -1 otherwise. path without ".lck". */
QOBAPI int32_t DeleteLockFile(const char* path);
/* Unlocks (when the text is not empty) and frees queuePath; null is allowed. */
QOBAPI void ReleaseQueueId(char* queuePath);
/* First message of the scan as a heap queue path (locked when a filter is given; with filter null the queue's own path name, not locked), or null. */
QOBAPI char* FindFirstQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter);
/* The next one with the same arguments on the same thread, or null at the end. */
QOBAPI char* FindNextQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter);
/* 0, or -1 for a path without separator. Deletes the message's records only; queuePath stays the caller's. */
QOBAPI int32_t DestroyQueueId(const char* queuePath, MesgHandle* db);
/* 0, or -1 for a path without separator. Deletes records, queue entry and queue file; queuePath stays the caller's. */
QOBAPI int32_t DeleteQueueId(const char* queuePath, const char* channelName, MesgHandle* db);
/* 0 or -1. Record and ".msg" file move; lock and reason file do not. */
QOBAPI int32_t MoveQueueId(const char* queuePath, const char* newQueueDir, MesgHandle* db);
/* Number of lock files removed. */
QOBAPI int32_t UnlockAllMessage(const char* queueDir);
/* 0 or -1. Appends text as it is to the ".rea" file. */
QOBAPI int32_t AddBounceReason(const char* queuePath, const char* text);
/* New string chain, one node per line with its line end (freeStringChain), or null when there is no reason file. */
QOBAPI ms* GetBounceReason(const char* queuePath);
/* Alias of FreeString: frees the text only, does not unlock. */
QOBAPI void FreeQueueId(char* queuePath);

QOB_C_END
#endif
