#ifndef QOB3XAPI_MIMEBODY_H
#define QOB3XAPI_MIMEBODY_H
#include <qob3xapi/frame.h>
#include <qob3xapi/mimeparse.h>
QOB_C_BEGIN

/* New heap name of a temporary file with the decoded body (raw nonzero: header and body undecoded), or null. file = OS handle of the message
   file, not closed, or QOB_INVALID_OSHANDLE to open part->fileName. May replace part->trueName. Dispose: MimeFreeFile. */
QOBAPI char* MimeGetBody(MimeBodyPart* part, int32_t raw, QOB_OSHANDLE file);
/* New heap name of a temporary file with the body less its children's lines, or null (also for an empty body). Dispose: MimeFreeFile. */
QOBAPI char* MimeGetBodyWithNoEmbeddedAttachment(const MimeBodyPart* part);
/* New heap name of a temporary file with the decoded header block, or null. Dispose: MimeFreeFile. */
QOBAPI char* MimeGetHeader(const MimeBodyPart* part);

QOB_C_END
#endif
