// The exported bounces. The log texts are what operators search for; "MimeBuld" and the stops of
// the postmaster's family belong to them.
#include <qob3xapi/bounce.h>

#include "frame/guard.h"
#include "frame/report.h"
#include "notify/bounce.h"

namespace {

using qob::Guarded;
using qob::kFailure;
using qob::Report;
using namespace qob::notify;

// Frees the reasons, however it ends.
int32_t ToSender(const BounceOrder& order, const EnvFrom* given, ms* reasons, Content content) {
  Outcome outcome = Outcome::kFailed;
  if (order.queue_file != nullptr) {
    outcome = Guarded(
        Outcome::kFailed, [&] { return BounceToSender(order, given, content); },
        [] { Report(kFailure, "BounceMimeMessage failed: out of memory."); });
  }
  freeStringChain(reasons);
  return static_cast<int32_t>(outcome);
}

const char* PostmasterFailure(Step step, bool addressed) {
  switch (step) {
    case Step::kDone:
    case Step::kMemory:
      break;
    case Step::kCreate:
      return "BounceMimeMessageToPostmaster failed. filecreate failed.";
    case Step::kWrite:
      return "BounceMimeMessageToPostmaster failed. putline failed.";
    case Step::kOpen:
    case Step::kRead:
    case Step::kPart:
      return "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed.";
    case Step::kWhole:
      return "BounceMimeMessageToPostmaster failed. MimeBuildMultipartMessage failed.";
    case Step::kSubmit:
      return "BounceMimeMessageToPostmaster failed. MimeSendMessage failed, message cannot be "
             "submitted to MQ.";
  }
  return addressed ? "BounceMimeMessageToPostmaster failed: out of memory."
                   : "BounceMimeMessageToPostmaster failed. out of memory.";
}

}  // namespace

extern "C" {

QOBAPI int32_t BounceMimeMessage(const char* queueFile, const EnvFrom* envelopeFrom, ms* reasons,
                                 void* passThrough, MesgHandle* envelopeOption) {
  return ToSender({queueFile, reasons, passThrough, envelopeOption}, envelopeFrom, reasons,
                  Content::kMessage);
}

QOBAPI int32_t BounceMimeMessageHeader(const char* queueFile, ms* reasons, void* passThrough,
                                       MesgHandle* envelopeOption) {
  return ToSender({queueFile, reasons, passThrough, envelopeOption}, nullptr, reasons,
                  Content::kHeader);
}

QOBAPI int32_t BounceMimeMessageToPostmaster(const char* queueFile, const ms* reasons,
                                             void* passThrough, MesgHandle* envelopeOption) {
  if (queueFile == nullptr) return -1;
  bool addressed = false;
  const Step step = Guarded(Step::kMemory, [&] {
    return BounceToPostmaster({queueFile, reasons, passThrough, envelopeOption}, &addressed);
  });
  if (step == Step::kDone) return 0;
  Report(kFailure, "%s", PostmasterFailure(step, addressed));
  return -1;
}

}  // extern "C"
