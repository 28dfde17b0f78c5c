#ifndef QOB3XAPI_ERRORS_H
#define QOB3XAPI_ERRORS_H
#include <qob3xapi/frame.h>
QOB_C_BEGIN

/* Text of a record-manager status, never null; constant, or for an unknown code a per-thread buffer valid until this thread's next call. */
QOBAPI const char* ShowBtrError(int32_t code);
/* Text of a program-start result code; lifetime as ShowBtrError, in a buffer of its own. */
QOBAPI const char* QOBWinExecError(uint32_t code);

QOB_C_END
#endif
