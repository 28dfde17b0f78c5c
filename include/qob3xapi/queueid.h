/* Queue ids, locks and scans: the calls that hand out a place for a message, keep two processes off one message, and walk a
 * queue directory.
 *
 * A message is known by its queue path "<queue directory>\<eight upper-case hexadecimal digits>". Beside that path lie its
 * message file (".msg"), its lock (".lck", empty: its existence is the lock) and its reasons (".rea"). A lock that cannot be
 * taken is no failure and is not logged; with [Debug] LogLocking = YES of "twmta.ini" every lock taken and let go is logged at
 * level 6.
 *
 * Texts are NUL-terminated; a path may use either separator. What is handed out is from malloc. Calls on one handle must not
 * overlap; they work on a copy of it, so that the place it stands on stays. */
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

/* GetNewQueueId - a queue path for a message that is to come.
 * Shape   "<queueDir>\<eight upper-case hexadecimal digits>".
 * Units   the number is that of GetUniqueId; 0 is an id like any other.
 * Owner   a new text, locked; unlock and release it with ReleaseQueueId.
 * Result  the path: the message database has no record and no channel mark of that number, and neither a message file nor
 *         reasons lie there; a number that something has is left out. Null for a null or empty argument, without a number,
 *         when the database cannot be read, when the lock cannot be made for another reason than that it stands already (a
 *         directory that is missing, cannot be written or is full), or without memory. Nothing is logged.
 * Thread  any; two processes never get the same id.
 * Source  the system's own. The first number of a spool is made durable before it is given out. */
QOBAPI char* GetNewQueueId(const char* queueDir, MesgHandle* db);
/* CreateLockFile - takes a lock.
 * Shape   path: without ".lck".
 * Units   none.
 * Owner   path stays the caller's.
 * Result  0 taken by this call; -1 somebody has it, it cannot be made, or path is null or empty.
 * Thread  any; of all processes and threads one takes it. A lock stays when its process ends.
 * Source  exclusive creation of a file. */
QOBAPI int32_t CreateLockFile(const char* path);
/* DeleteLockFile - lets a lock go.
 * Shape   as CreateLockFile. Whose lock it is is not looked at.
 * Units   none.
 * Owner   path stays the caller's.
 * Result  0 removed; -1 there is none, it cannot be removed, or path is null or empty.
 * Thread  any.
 * Source  the system's own. */
QOBAPI int32_t DeleteLockFile(const char* path);
/* ReleaseQueueId - unlocks and releases a queue path.
 * Shape   null is allowed; an empty text is released without touching a file.
 * Units   none.
 * Owner   queuePath is freed. For a path of a scan without filter, which is not locked, use FreeQueueId instead unless you
 *         have taken its lock yourself.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void ReleaseQueueId(char* queuePath);
/* FindFirstQueueId - the first message of a queue directory.
 * Shape   messages are those whose record names the last component of queueDir, cut to 15 characters; upper and lower case
 *         differ. With a filter a message is handed out that could be locked, whose message file stands, whose state text is
 *         empty (unless takeAll is not 0; a message that is held carries "HELD"), and whose message file has a size from
 *         minimumSize to maximumSize; any other is passed over and left unlocked. Without a filter those are passed over that
 *         are locked, under their name or under their number in decimal, and nothing else is looked at.
 * Units   bytes.
 * Owner   a new text. With a filter it is locked: ReleaseQueueId. Without one it is not: take the lock with CreateLockFile
 *         before any work and release with ReleaseQueueId, or with FreeQueueId when the lock was refused.
 * Result  the queue path; null when there is none, before start-up, for a null argument or a directory without separator, or
 *         after a failure (logged, "FindFirstQueueId failed, Btrieve error :%s" or "FindFirstQueueId: out of memory.").
 * Thread  any, after start-up. The place of the walk is the thread's own, so that several threads may walk by one handle as
 *         long as their calls do not overlap.
 * Source  the directory index of the message database. */
QOBAPI char* FindFirstQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter);
/* FindNextQueueId - the next message of the walk.
 * Shape   as FindFirstQueueId, with the same arguments. What was handed out may meanwhile have been deleted, moved or
 *         changed. A message is met at most once in one walk; one that stays is never missed; one that comes in meanwhile is
 *         met in this walk or in the next.
 * Units   bytes.
 * Owner   as FindFirstQueueId.
 * Result  the queue path; null at the end, without a FindFirstQueueId of this thread before it, when the handle was closed
 *         meanwhile or after another failure ("FindNextQueueId failed, Btrieve error :%s"). With null the walk is over.
 * Thread  the one that began the walk.
 * Source  the directory index of the message database. */
QOBAPI char* FindNextQueueId(const char* queueDir, MesgHandle* db, const QueueScanFilter* filter);
/* DestroyQueueId - deletes a message's records.
 * Shape   the message's own and those of all its recipients. Files and lock are left alone.
 * Units   none.
 * Owner   queuePath stays the caller's.
 * Result  0, also when there was nothing to delete or it could not be deleted; -1 for a path without separator or a null
 *         argument.
 * Thread  any; the caller holds the message's lock.
 * Source  the message database; one commit. */
QOBAPI int32_t DestroyQueueId(const char* queuePath, MesgHandle* db);
/* DeleteQueueId - removes a message from the queue.
 * Shape   its records, its entry on the channel, its message file and its reasons; the lock stays.
 * Units   none.
 * Owner   queuePath and channelName stay the caller's; the path goes back with ReleaseQueueId.
 * Result  0; -1 for a path without separator, or a null path or handle. Records that cannot be deleted are logged ("Unable to
 *         remove entry from message database. Please run message recover utility."), and so is an entry that is not on the
 *         channel ("RemoveMQQID failed."); the rest is still done. When the channel cannot be opened (a null or empty name
 *         above all) the files stay.
 * Thread  any; the caller holds the message's lock.
 * Source  the message database and the message queue. */
QOBAPI int32_t DeleteQueueId(const char* queuePath, const char* channelName, MesgHandle* db);
/* MoveQueueId - moves a message to another queue directory.
 * Shape   the record gets the last component of newQueueDir, cut to 15 characters, then the message file goes there; nothing
 *         that stands there is replaced. The lock under the old path stays the caller's, and so do the reasons.
 * Units   none.
 * Owner   both paths stay the caller's.
 * Result  0 the record was changed, whether the file could be moved or not ("qob queue check --repair" finishes such a
 *         move); -1 for a null or empty argument, a path without separator, or a record that cannot be found or written:
 *         nothing has changed then.
 * Thread  any; the caller holds the message's lock.
 * Source  the message database; both directories are flushed. */
QOBAPI int32_t MoveQueueId(const char* queuePath, const char* newQueueDir, MesgHandle* db);
/* UnlockAllMessage - removes every lock of a queue directory.
 * Shape   names that end in ".lck" in upper or lower case. Only for the moment before any program of the system runs: locks
 *         in use go too.
 * Units   files.
 * Owner   queueDir stays the caller's.
 * Result  the number removed; 0 for a null or empty name or a directory that cannot be read. What cannot be removed is logged
 *         at level 6 ("Unable to remove %s.").
 * Thread  any.
 * Source  the system's own. */
QOBAPI int32_t UnlockAllMessage(const char* queueDir);
/* AddBounceReason - appends to a message's reasons.
 * Shape   text as it is; the caller ends it with a line end. The file is made when there is none.
 * Units   none.
 * Owner   both texts stay the caller's.
 * Result  0; -1 for a null or empty path, a null text, a file that somebody else is writing or that cannot be written (logged
 *         as by fileopen). When the file has no end to go to it stays open under the handle that is logged
 *         ("AddBounceReason: setfpos failed, FileHandle #%d, error #%d").
 * Thread  any; of two at once one is refused.
 * Source  the system's own. */
QOBAPI int32_t AddBounceReason(const char* queuePath, const char* text);
/* GetBounceReason - a message's reasons.
 * Shape   a string chain, one node per line with its line end; a line of more than 1024 bytes comes in pieces.
 * Units   none.
 * Owner   a new chain; release it with freeStringChain.
 * Result  the chain; null for a null or empty path, a missing or empty file, a read error or without memory.
 * Thread  any.
 * Source  the system's own. */
QOBAPI ms* GetBounceReason(const char* queuePath);
/* FreeQueueId - releases a queue path without unlocking it.
 * Shape   null is allowed.
 * Units   none.
 * Owner   queuePath is freed, as by FreeString.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void FreeQueueId(char* queuePath);

QOB_C_END
#endif
