#include "queue/submission_envelope.h"

#include <cstring>
#include <initializer_list>

namespace qob {
namespace {

struct Field {
  std::string_view text;
  char** place;
};

// One block for all texts of a record, each with its NUL; the fields point into it.
std::unique_ptr<char[]> CopyTexts(std::initializer_list<Field> fields) {
  std::size_t size = 0;
  for (const Field& field : fields) size += field.text.size() + 1;
  std::unique_ptr<char[]> block(new char[size]);
  char* at = block.get();
  for (const Field& field : fields) {
    *field.place = at;
    if (!field.text.empty()) std::memcpy(at, field.text.data(), field.text.size());
    at += field.text.size();
    *at++ = '\0';
  }
  return block;
}

}  // namespace

void SubmissionEnvelope::SetSender(const Sender& sender) {
  sender_texts_ = CopyTexts({{sender.address, &sender_.address},
                             {sender.envelope_id, &sender_.envelopeId},
                             {sender.fifth_text, &sender_.fifthText},
                             {sender.channel, &sender_.channel}});
  sender_.ret = sender.ret;
  sender_.fourth = sender.fourth;
  sender_node_ = {&sender_, nullptr};
  envelope_.senders = {&sender_node_, &sender_node_, 1};
}

void SubmissionEnvelope::AddRecipient(const Recipient& recipient) {
  RecipientEntry fresh;
  fresh.texts = CopyTexts({{recipient.address, &fresh.record.address},
                           {recipient.original_recipient, &fresh.record.originalRecipient},
                           {recipient.fourth_text, &fresh.record.fourthText},
                           {recipient.fifth_text, &fresh.record.fifthText}});
  fresh.record.notifyFlags = recipient.notify_flags;
  RecipientEntry& entry = recipients_.emplace_back(std::move(fresh));
  entry.node = {&entry.record, nullptr};
  MQEnvRecipList& list = envelope_.recipients;
  (list.tail == nullptr ? list.head : list.tail->next) = &entry.node;
  list.tail = &entry.node;
  ++list.count;
}

}  // namespace qob
