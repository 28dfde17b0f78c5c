/* The message queue of the mail system, as its clients call it: the connection. */
#ifndef MQAPI_H
#define MQAPI_H
#include <stdint.h>
#include <qobplatform/export.h>
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
#endif
#endif
