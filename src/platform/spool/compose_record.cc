#include <algorithm>
#include <limits>

#include "platform/spool/message_record.h"

namespace qob::spool {

std::int32_t RecordTime(std::int64_t seconds) {
  constexpr std::int64_t kLatest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, 0, kLatest));
}

void ComposeMessage(std::string_view key, std::string_view status_text, std::int64_t now,
                    MessageRecord* record) {
  *record = {};
  SetField(record->key, key);
  SetField(record->statusText, status_text);
  record->creationTime = RecordTime(now);
  record->lastChangeTime = record->creationTime;
}

void SetSender(std::string_view directory_name, const SenderFields& sender, MessageRecord* record) {
  SetField(record->directoryName, directory_name);
  SetField(record->address, sender.address);
  SetField(record->envelopeId, sender.envelope_id);
  SetField(record->optionText, sender.option_text);
  record->firstOption = sender.first_option;
  record->secondOption = sender.second_option;
}

void ComposeRecipient(std::string_view key, const RecipientFields& recipient,
                      MessageRecord* record) {
  *record = {};
  SetField(record->key, key);
  SetField(record->address, recipient.address);
  SetRecipient(recipient, record);
}

void SetRecipient(const RecipientFields& recipient, MessageRecord* record) {
  SetField(record->secondText, recipient.second_text);
  SetField(record->optionText, recipient.third_text);
  record->notifyFlags = recipient.notify_flags;
}

}  // namespace qob::spool
