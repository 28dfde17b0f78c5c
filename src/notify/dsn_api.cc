// The exported status notifications.
#include <qob3xapi/dsn.h>

#include "frame/guard.h"
#include "frame/report.h"
#include "notify/status_fields.h"
#include "notify/status_report.h"

namespace {

using qob::kFailure;
using qob::Report;
using namespace qob::notify;

// Nothing for what the failing call tells itself.
const char* FailureText(Step step) {
  switch (step) {
    case Step::kMemory:
      return "Out of memory.";
    case Step::kWrite:
      return "putline failed.";
    case Step::kRead:
      return "getline failed.";
    default:
      return nullptr;
  }
}

int32_t Sent(Step (*send)(const StatusReport&), const StatusReport& report) {
  if (report.queue_file == nullptr) return -1;
  const Step step = qob::Guarded(Step::kMemory, [&] { return send(report); });
  if (const char* text = FailureText(step); text != nullptr) Report(kFailure, "%s", text);
  return step == Step::kDone ? 0 : -1;
}

}  // namespace

extern "C" {

QOBAPI int32_t AssignPerRecipField(PerRecipField* record, const char* originalRecipient,
                                   const char* finalRecipient, const char* action,
                                   const char* status, const char* remoteMta,
                                   const char* diagnostic, int32_t lastAttempt,
                                   int32_t willRetryUntil) {
  if (record == nullptr) return -1;
  // Only read.
  const auto text = [](const char* given) { return const_cast<char*>(given); };
  const PerRecipField given = {
      text(originalRecipient), text(finalRecipient), text(action), text(status),
      text(remoteMta),         text(diagnostic),     lastAttempt,  willRetryUntil};
  return CopyFields(given, record) ? 0 : -1;
}

QOBAPI void CleanPerRecipField(PerRecipField* record) {
  if (record != nullptr) ReleaseFields(record);
}

QOBAPI int32_t GenerateDSNMessage(const char* queueFile, const DsnEnvFrom* envelopeFrom,
                                  const char* subject, const ms* textLines,
                                  const PerRecipFieldNode* recipientFields) {
  return Sent(&SendStatusReport, {queueFile, envelopeFrom, subject, textLines, recipientFields});
}

QOBAPI int32_t GenerateDSNMessageToPostmaster(const char* queueFile, const char* subject,
                                              const ms* textLines,
                                              const PerRecipFieldNode* recipientFields) {
  return Sent(&SendStatusReportToPostmaster,
              {queueFile, nullptr, subject, textLines, recipientFields});
}

QOBAPI int32_t GenerateDSNMessageForAllRecipients(const char*, const DsnEnvFrom*, const char*,
                                                  const ms*, const PerRecipFieldNode*) {
  return 0;
}

}  // extern "C"
