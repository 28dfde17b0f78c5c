/* Error numbers as sentences, for log lines and dialogs.
 *
 * Texts are NUL-terminated ASCII and the library's own: do not free or change them. Every call may run on any thread. */
#ifndef QOB3XAPI_ERRORS_H
#define QOB3XAPI_ERRORS_H
#include <qob3xapi/frame.h>
QOB_C_BEGIN

/* ShowBtrError - the text of a record-manager status.
 * Shape   one sentence; the texts are kept as they have always stood in logs, misspellings included.
 * Units   code: a status number, or -1.
 * Owner   constant, or for a number without a text of its own a buffer of this thread, good until its next call.
 * Result  never null; "Btrieve database message : #<number>" for a number without a text.
 * Thread  any.
 * Source  the status numbers of the record manager under the databases. */
QOBAPI const char* ShowBtrError(int32_t code);
/* QOBWinExecError - the text of a program-start result.
 * Shape   as ShowBtrError.
 * Units   code: a result number; printed signed when it has no text.
 * Owner   as ShowBtrError, in a buffer of its own.
 * Result  never null; "Unknown error code #<number>" for a number without a text.
 * Thread  any.
 * Source  the result numbers of the program-start call of the mail system's first platform. */
QOBAPI const char* QOBWinExecError(uint32_t code);

QOB_C_END
#endif
