// The exported calls for messages of the system's own making.
#include <qob3xapi/generate.h>

#include "frame/guard.h"
#include "frame/report.h"
#include "notify/generated.h"
#include "notify/log_file.h"

namespace {

using qob::Guarded;
using namespace qob::notify;

const char* FailureText(Step step) {
  switch (step) {
    case Step::kCreate:
      return "GenerateMimeMessage failed: filecreate failed.";
    case Step::kWrite:
      return "GenerateMimeMessage failed: putline failed.";
    case Step::kPart:
      return "GenerateMimeMessage failed: MimeBuildMessage failed.";
    case Step::kWhole:
      return "GenerateMimeMessage failed: MimeBuildMultipartMessage failed.";
    default:
      return "GenerateMimeMessage failed: out of memory.";
  }
}

}  // namespace

extern "C" {

QOBAPI int32_t GenerateMimeMessage(const char* from, const char* channel, const ms* to,
                                   const char* subject, void* passThrough, const ms* textLines,
                                   const ms* attachments, void* /*reserved*/) {
  const Step step = Guarded(Step::kMemory, [&] {
    return SendGenerated({from, channel, to, subject, passThrough, textLines, attachments});
  });
  if (step == Step::kDone) return 0;
  qob::Report(qob::kFailure, "%s", FailureText(step));
  return -1;
}

QOBAPI int32_t SendOldLogfile(const char* logFile) {
  if (logFile == nullptr) return -1;
  return Guarded(false, [&] { return MailLogFile(logFile); }) ? 0 : -1;
}

}  // extern "C"
