#ifndef QOB3XAPI_ENVELOPE_H
#define QOB3XAPI_ENVELOPE_H
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>

/* Sender record of the envelope store (five fields). Also the caller-side sender of SubmitMQMessage. */
typedef struct EnvFrom {
    char*   address;       /* owned */
    char*   envelopeId;    /* owned; null on input = empty */
    int32_t firstOption;   /* SubmitMQMessage: RET (1 headers only, 2 full) */
    int32_t secondOption;
    char*   optionText;    /* owned; null on input = empty */
} EnvFrom;

/* Recipient record of the envelope store (four fields). Also the caller-side recipient of SubmitMQMessage. */
typedef struct EnvRecip {
    char*   address;       /* owned */
    char*   secondText;    /* owned; null on input = empty. SubmitMQMessage: original recipient */
    int32_t notifyFlags;
    char*   thirdText;     /* owned; null on input = empty */
} EnvRecip;

QOB_C_BEGIN
/* path = queue path without extension; a path without a separator fails at once, silently. "Or -1" = logged failure. */

/* 0 or -1. Inserts the F record with status text, creation and change time now. */
QOBAPI int32_t CreateStatusFile(const char* path, const char* statusText, MesgHandle* db);
/* 0 or -1. Writes the qualified sender into the existing F record; envFrom stays the caller's. */
QOBAPI int32_t CreateEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db);
/* 0 or -1. As CreateEnvelope, honouring "qualifyAddress". */
QOBAPI int32_t CreateSMTPEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db);
/* 0 or -1. Inserts one R record; envRecip stays the caller's. */
QOBAPI int32_t AddEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db);
/* New record for FreeEnvFrom, or null. */
QOBAPI EnvFrom* GetEnvelopeFrom(const char* path, MesgHandle* db);
/* New record for FreeEnvRecip, or null at the end or on error. */
QOBAPI EnvRecip* GetFirstEnvelopeRecipient(const char* path, MesgHandle* db);
/* As above, from the cursor the previous call left on db. */
QOBAPI EnvRecip* GetNextEnvelopeRecipient(const char* path, MesgHandle* db);
/* As GetFirst..., skipping recipients whose state text is not empty. */
QOBAPI EnvRecip* GetFirstPendingEnvelopeRecipient(const char* path, MesgHandle* db);
/* As GetNext..., skipping recipients whose state text is not empty. */
QOBAPI EnvRecip* GetNextPendingEnvelopeRecipient(const char* path, MesgHandle* db);
/* 0 updated, 0 also at end of file and for a path without separator; -1 key not found, other message reached, or write failed. */
QOBAPI int32_t UpdateEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db);
/* Number of recipients left (also when none matched), or -1. */
QOBAPI int32_t DeleteEnvelopeRecipient(const char* path, const char* address, MesgHandle* db);
/* Number of R records (0 for a path without separator). */
QOBAPI int32_t GetRecipientNumber(const char* path, MesgHandle* db);
/* Notify flags of the recipient with that address (any case), or -1. */
QOBAPI int32_t GetNotifyFlag(const char* path, const char* address, MesgHandle* db);
/* New heap copy of the status text, or null. */
QOBAPI char* GetEnvelopeStatus(const char* path, MesgHandle* db);
/* New heap copy of the status text, or null. */
QOBAPI char* GetMessageStatus(const char* path, MesgHandle* db);
/* 0 or -1. Sets status text (255) and change time. */
QOBAPI int32_t UpdateMessageStatus(const char* path, const char* statusText, MesgHandle* db);
/* Retry count, or -1. */
QOBAPI int32_t GetMessageRetryCount(const char* path, MesgHandle* db);
/* Retry time (seconds since 1970), or -1. */
QOBAPI int32_t GetMessageRetryTime(const char* path, MesgHandle* db);
/* Creation time (seconds since 1970), or -1. */
QOBAPI int32_t GetMessageCreationTime(const char* path, MesgHandle* db);
/* Part number, or -1. */
QOBAPI int32_t GetMessagePartNumber(const char* path, MesgHandle* db);
/* The new retry count, or -1. Sets the change time. */
QOBAPI int32_t BumpMessageRetryCount(const char* path, MesgHandle* db);
/* 0 or -1. Sets the change time too. */
QOBAPI int32_t SetMessageRetryTime(const char* path, int32_t time, MesgHandle* db);
/* 0 or -1. Sets the change time too. */
QOBAPI int32_t UpdateMessagePartNumber(const char* path, int32_t number, MesgHandle* db);
/* 1 when the delay-notify status is 1, 0 otherwise, -1 on failure. */
QOBAPI int32_t GetDelayNotifyStatus(const char* path, MesgHandle* db);
/* 0 or -1. Sets it to 1; the change time stays. */
QOBAPI int32_t UpdateDelayNotifyStatus(const char* path, MesgHandle* db);
/* Frees the three strings and the record; null is allowed. */
QOBAPI void FreeEnvFrom(EnvFrom* envFrom);
/* Frees the three strings and the record; null is allowed. */
QOBAPI void FreeEnvRecip(EnvRecip* envRecip);

QOB_C_END
#endif
