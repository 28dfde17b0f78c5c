/* The shared log of the mail system.
 *
 * Strings are NUL-terminated bytes, read only during the call. Every call may run on any thread. */
#ifndef LOGAPI_H
#define LOGAPI_H
#include <stdint.h>
#include <qobplatform/export.h>
#ifdef __cplusplus
extern "C" {
#endif

/* LogMessage - appends one line to the shared log.
 * Shape   text is finished text, never a format; control characters are made visible by the log.
 * Units   level: 1 failure, 3 bounce accounting, 6 detail and tracing. module: the client name, or a routine's own name.
 * Owner   nothing is kept; a null module or text counts as empty.
 * Result  none: a log that cannot be written loses the line, never the caller's work.
 * Thread  any; one line is one append, also between processes.
 * Source  the system's own log format (docs/formats/log.md). */
QOBPLATAPI void LogMessage(int32_t level, const char* module, const char* text);

typedef void (*LogSink)(void* context, int32_t level, const char* module, const char* text);

/* LogSetSink - sends every later LogMessage to a function of the caller's instead of the log.
 * Shape   sink is called with the texts as LogMessage got them; null restores the log.
 * Units   levels as LogMessage; a sink gets every level.
 * Owner   context stays the caller's and must live until the sink is replaced.
 * Result  none.
 * Thread  set it while no other thread logs; the sink runs on the logging thread.
 * Source  the system's own. */
QOBPLATAPI void LogSetSink(LogSink sink, void* context);

#ifdef __cplusplus
}
#endif
#endif
