// The exported calls that turn a part into a file.
#include <qob3xapi/mimebody.h>

#include "frame/guard.h"
#include "mime/body.h"

namespace {
constexpr char* kNoFile = nullptr;
}

extern "C" QOBAPI char* MimeGetBody(MimeBodyPart* part, int32_t raw, QOB_OSHANDLE file) {
  if (part == nullptr) return nullptr;
  return qob::Guarded(kNoFile, [&] { return qob::ExtractBody(part, raw != 0, file); });
}

extern "C" QOBAPI char* MimeGetBodyWithNoEmbeddedAttachment(const MimeBodyPart* part) {
  if (part == nullptr) return nullptr;
  return qob::Guarded(kNoFile, [&] { return qob::ExtractOwnText(*part); });
}

extern "C" QOBAPI char* MimeGetHeader(const MimeBodyPart* part) {
  if (part == nullptr) return nullptr;
  return qob::Guarded(kNoFile, [&] { return qob::ExtractHeader(*part); });
}
