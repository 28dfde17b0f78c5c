// The exported builders.
#include <qob3xapi/mimebuild.h>

#include "frame/guard.h"
#include "mime/multi_part.h"
#include "mime/single_part.h"

namespace {

template <class Build>
char* Built(Build&& build) {
  return qob::Guarded<char*>(nullptr, [&]() -> char* {
    qob::TempFile file = build();
    return file ? file.HandOut() : nullptr;
  });
}

}  // namespace

extern "C" {

QOBAPI char* MimeBuildMessageWithBCC(const char* from, const ms* to, const char* subject,
                                     const ms* cc, const ms* bcc, const char* type,
                                     const char* subtype, const ms* params, const char* encoding,
                                     const char* contentId, const char* description,
                                     const char* bodyFile, const ms* extraHeaders, int32_t flags) {
  return Built([&] {
    return qob::BuildSinglePart({{from, to, subject, cc, bcc, extraHeaders},
                                 type,
                                 subtype,
                                 params,
                                 encoding,
                                 contentId,
                                 description,
                                 bodyFile,
                                 flags});
  });
}

QOBAPI char* MimeBuildMessage(const char* from, const ms* to, const char* subject, const ms* cc,
                              const char* type, const char* subtype, const ms* params,
                              const char* encoding, const char* contentId, const char* description,
                              const char* bodyFile, const ms* extraHeaders, int32_t flags) {
  return Built([&] {
    return qob::BuildSinglePart({{from, to, subject, cc, nullptr, extraHeaders},
                                 type,
                                 subtype,
                                 params,
                                 encoding,
                                 contentId,
                                 description,
                                 bodyFile,
                                 flags});
  });
}

QOBAPI char* MimeBuildMultipartMessageWithBCC(const char* from, const ms* to, const char* subject,
                                              const ms* cc, const ms* bcc,
                                              const char* const* partFiles, const char* subtype,
                                              const ms* params, const ms* extraHeaders,
                                              int32_t flags) {
  return Built([&] {
    return qob::BuildMultiPart(
        {{from, to, subject, cc, bcc, extraHeaders}, partFiles, subtype, params, flags});
  });
}

QOBAPI char* MimeBuildMultipartMessage(const char* from, const ms* to, const char* subject,
                                       const ms* cc, const char* const* partFiles,
                                       const char* subtype, const ms* params,
                                       const ms* extraHeaders, int32_t flags) {
  return Built([&] {
    return qob::BuildMultiPart(
        {{from, to, subject, cc, nullptr, extraHeaders}, partFiles, subtype, params, flags});
  });
}

}  // extern "C"

QOBAPI char* MimeBuildMessageV2(char* from, ms* to, char* subject, ms* cc, char*, char*, ms*, char*,
                                char*, char*, char* bodyFile, ms*, int32_t) {
  return Built([&] {
    qob::SinglePart part;
    part.header = {from, to, subject, cc, nullptr, nullptr};
    part.body_file = bodyFile;
    return qob::BuildAroundPart(part);
  });
}
