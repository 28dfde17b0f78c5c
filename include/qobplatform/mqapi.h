/* The message queue of the mail system, as its clients call it: the connection, the names of entries, and the channels that
 * entries wait on.
 *
 * An entry is a message in the queue, known by its number; its files and records are those of the queue calls. "Boolean":
 * nonzero true, 0 false. Texts are NUL-terminated bytes, read only during the call. */
#ifndef MQAPI_H
#define MQAPI_H
#include <stdint.h>
#include <qobplatform/export.h>

typedef struct MQChannel MQChannel;  /* one opened channel, with a walk position */

#ifdef __cplusplus
extern "C" {
#endif

/* MQInit - connects the process to the message queue.
 * Shape   host and clientName are NUL-terminated; the queue lies in the queue directory of this machine.
 * Units   none.
 * Owner   nothing is kept of the arguments but a copy of the client name.
 * Result  nonzero connected; 0 for a null or empty host, or a queue directory that is missing or cannot be written.
 *         A repeated call reads the queue directory again and gives the result of that test.
 * Thread  once per process, before other threads use the queue.
 * Source  the system's own. */
QOBPLATAPI int32_t MQInit(const char* host, const char* clientName);

/* GetMQPathNameById - the path of an entry, by its number.
 * Shape   "<queue directory>\\<eight upper-case hexadecimal digits><extension>"; extension ".msg" and so on, "" or null for the
 *         base path.
 * Units   at most 1023 bytes.
 * Owner   a buffer of this thread, good until its next call.
 * Result  the path; null when there is no queue directory (before start-up and MQInit) or the extension is too long. Whether
 *         there is such an entry is not looked at.
 * Thread  any.
 * Source  the system's own. */
QOBPLATAPI const char* GetMQPathNameById(uint32_t id, const char* extension);

/* OpenMQChannel - opens a channel by name.
 * Shape   any text that is not empty; a channel without entries is as good as any.
 * Units   none.
 * Owner   a new channel; release it with CloseMQChannel.
 * Result  the channel; null for a null or empty name, without memory, or when the database of the queue directory cannot be
 *         opened (it is created when missing). Before MQInit it is that of the configured queue directory.
 * Thread  any; one thread at a time for one channel. In a child process after a fork it can only be closed.
 * Source  the system's own. */
QOBPLATAPI MQChannel* OpenMQChannel(const char* channelName);

/* RemoveMQQID - takes an entry off a channel.
 * Shape   the envelope that was put with the entry goes with its last channel, in the same step; its files and records stay.
 * Units   id: the entry's number.
 * Owner   channel stays the caller's.
 * Result  boolean: it was on the channel and is no longer. False also for a null channel and when the database cannot be
 *         written.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t RemoveMQQID(MQChannel* channel, uint32_t id);

/* CloseMQChannel - releases a channel.
 * Shape   null is allowed.
 * Units   none.
 * Owner   channel is freed.
 * Result  boolean: false for null.
 * Thread  one thread at a time for one channel.
 * Source  the system's own. */
QOBPLATAPI int32_t CloseMQChannel(MQChannel* channel);

/* MQTerminate - releases the connection of MQInit.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  always 0; a later MQInit may follow.
 * Thread  after all other use of the queue.
 * Source  the system's own. */
QOBPLATAPI int32_t MQTerminate(void);

#ifdef __cplusplus
}
/* GetMQPathName - as GetMQPathNameById, under the name that also takes an entry. */
inline const char* GetMQPathName(uint32_t id, const char* extension) { return GetMQPathNameById(id, extension); }
#endif
#endif
