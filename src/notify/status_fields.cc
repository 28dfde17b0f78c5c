#include "notify/status_fields.h"

#include <cstdlib>

#include "frame/heap.h"

namespace qob::notify {
namespace {

constexpr char* PerRecipField::*kTexts[] = {
    &PerRecipField::originalRecipient,
    &PerRecipField::finalRecipient,
    &PerRecipField::action,
    &PerRecipField::status,
    &PerRecipField::remoteMta,
    &PerRecipField::diagnosticCode,
};
constexpr std::int32_t kNoDate = -1;

}  // namespace

bool CopyFields(const PerRecipField& from, PerRecipField* record) {
  *record = {};
  for (const auto text : kTexts) {
    if (from.*text == nullptr) continue;
    record->*text = HeapCopy(from.*text);
    if (record->*text == nullptr) {
      ReleaseFields(record);
      return false;
    }
  }
  record->lastAttempt = from.lastAttempt;
  record->willRetryUntil = from.willRetryUntil;
  return true;
}

void ReleaseFields(PerRecipField* record) {
  for (const auto text : kTexts) {
    std::free(record->*text);
    record->*text = nullptr;
  }
  record->lastAttempt = record->willRetryUntil = kNoDate;
}

}  // namespace qob::notify
