// The exported calls that read a pool and its records.
#include <qob3xapi/mimeparse.h>

#include "frame/guard.h"
#include "mime/counting.h"

namespace {

// Null for a null record.
template <class Field>
Field FieldOf(const MimeBodyPart* part, Field MimeBodyPart::*field) {
  return part == nullptr ? nullptr : part->*field;
}

void AddCount(const MimeBodyPart* part, int32_t* counter, int64_t qob::SubtreeCounts::*which) {
  if (part == nullptr || counter == nullptr) return;
  qob::Guarded(0, [&] {
    *counter += static_cast<int32_t>(qob::CountSubtree(*part).*which);
    return 0;
  });
}

}  // namespace

extern "C" QOBAPI MimeBodyPart* GetFromMsgPool(const MimeMessagePool* pool, int32_t index) {
  if (pool == nullptr || pool->parts == nullptr || index < 0 || index >= pool->count)
    return nullptr;
  return pool->parts[index];
}

extern "C" QOBAPI int32_t MimeGetNumberOfMessage(const MimeMessagePool* pool) {
  return pool == nullptr ? -1 : pool->count;
}

// Callers count on a negative index going through here, unlike in GetFromMsgPool: no second test.
extern "C" QOBAPI MimeBodyPart* MimeGetMsg(const MimeMessagePool* pool, int32_t index) {
  if (pool == nullptr || index >= pool->count) return nullptr;
  return pool->parts[index];
}

extern "C" QOBAPI const char* MimeGetContentType(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentType);
}

extern "C" QOBAPI const char* MimeGetContentSubtype(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentSubtype);
}

extern "C" QOBAPI ms* MimeGetContentTypeParams(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentTypeParams);
}

extern "C" QOBAPI const char* MimeGetContentDisposition(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentDisposition);
}

extern "C" QOBAPI ms* MimeGetContentDispositionParams(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentDispositionParams);
}

extern "C" QOBAPI const char* MimeGetContentID(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentId);
}

extern "C" QOBAPI const char* MimeGetContentDescription(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentDescription);
}

extern "C" QOBAPI const char* MimeGetContentTransferEncoding(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::contentTransferEncoding);
}

extern "C" QOBAPI const char* MimeGetTrueName(const MimeBodyPart* part) {
  return FieldOf(part, &MimeBodyPart::trueName);
}

extern "C" QOBAPI void MimeGetNumLeafBodyParts(const MimeBodyPart* part, int32_t* counter) {
  AddCount(part, counter, &qob::SubtreeCounts::extra_leaves);
}

extern "C" QOBAPI void MimeGetNumMultipartHeaders(const MimeBodyPart* part, int32_t* counter) {
  AddCount(part, counter, &qob::SubtreeCounts::containers);
}
