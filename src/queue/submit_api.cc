// The exported calls of submission.
#include <qob3xapi/submit.h>

#include <cstdlib>

#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "queue/submit_message.h"

namespace {

const char* TextOf(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

extern "C" {

QOBAPI char* MimeSendMessage(const char* sender, const char* envelopeId, int32_t ret, int32_t,
                             const char* senderExtra, const char* channel,
                             const MimeRecipient* recipients, int32_t recipientCount,
                             const char* date, const char* messageFile, void*,
                             int32_t returnReceipt, int32_t noMimeVersion) {
  qob::Submission submission;
  submission.sender = TextOf(sender);
  submission.envelope_id = TextOf(envelopeId);
  submission.ret = ret;
  submission.sender_extra = TextOf(senderExtra);
  submission.channel = channel;
  if (recipients != nullptr && recipientCount > 0) {
    submission.recipients = {recipients, static_cast<std::size_t>(recipientCount)};
  }
  submission.date = TextOf(date);
  submission.message_file = messageFile;
  submission.return_receipt = returnReceipt != 0;
  submission.no_mime_version = noMimeVersion != 0;
  return qob::Guarded(
      static_cast<char*>(nullptr), [&] { return qob::SubmitFile(submission); },
      [] { qob::Report(qob::kFailure, "Out of memory."); });
}

QOBAPI struct MQContext* QOBGetNewMQEntry(void) {
  return qob::Guarded(static_cast<MQContext*>(nullptr), [] { return qob::NewQueueEntry(); });
}

QOBAPI char* QOBGetNewMQId(struct MQContext* entry) {
  if (entry == nullptr) return nullptr;
  const char* path = GetMQPathName(entry, "");
  return path == nullptr ? nullptr : qob::HeapCopy(path);
}

QOBAPI int32_t SubmitMQMessage(struct MQContext* entry, const EnvFrom* sender,
                               const EnvRecipNode* recipients, const char* channel) {
  if (entry == nullptr) {
    qob::Report(qob::kFailure, "CreateMQEntry failed.");
    return 0;
  }
  return qob::Guarded(int32_t{0},
                      [&] { return qob::SubmitEntry(entry, sender, recipients, channel) ? 1 : 0; });
}

QOBAPI void QOBFreeMQId(char* entryPath) { std::free(entryPath); }

}  // extern "C"
