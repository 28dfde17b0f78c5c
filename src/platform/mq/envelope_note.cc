#include "platform/mq/envelope_note.h"

#include <cstring>
#include <span>

#include "platform/store/crc32c.h"
#include "platform/store/little_endian.h"

namespace qob::mq {
namespace {

constexpr std::string_view kMark = "QOBMQEN1";
constexpr std::size_t kSumAt = 8;
constexpr std::size_t kSummedAt = 12;
constexpr std::size_t kCountAt = 12;
constexpr std::size_t kNumberBytes = 4;

std::uint32_t SumOf(std::string_view note) {
  return store::Crc32c(0, std::as_bytes(std::span(note.substr(kSummedAt))));
}

void SetNumber(std::uint32_t number, std::size_t at, std::string* note) {
  std::byte bytes[kNumberBytes];
  store::StoreLittle(number, bytes);
  std::memcpy(note->data() + at, bytes, sizeof bytes);
}

void AddNumber(std::uint32_t number, std::string* note) {
  note->append(kNumberBytes, '\0');
  SetNumber(number, note->size() - kNumberBytes, note);
}

void AddWord(std::int32_t word, std::string* note) {
  AddNumber(static_cast<std::uint32_t>(word), note);
}

// False when the note would become too large.
bool AddText(const char* text, std::string* note) {
  const std::string_view bytes = text == nullptr ? "" : text;
  if (bytes.size() + kNumberBytes > kLargestNote - note->size()) return false;
  AddNumber(static_cast<std::uint32_t>(bytes.size()), note);
  note->append(bytes);
  return true;
}

bool AddSender(const MQEnvFrom& sender, std::string* note) {
  AddWord(sender.ret, note);
  AddWord(sender.fourth, note);
  return AddText(sender.address, note) && AddText(sender.envelopeId, note) &&
         AddText(sender.fifthText, note) && AddText(sender.channel, note);
}

bool AddRecipient(const MQEnvRecip& recipient, std::string* note) {
  if (kLargestNote - note->size() < kNumberBytes) return false;
  AddWord(recipient.notifyFlags, note);
  return AddText(recipient.address, note) && AddText(recipient.originalRecipient, note) &&
         AddText(recipient.fourthText, note) && AddText(recipient.fifthText, note);
}

// The only sender, or null.
const MQEnvFrom* SenderOf(const stEnvelope& envelope) {
  const MQEnvFromNode* node = envelope.senders.head;
  if (node == nullptr || node->next != nullptr || node->record == nullptr) return nullptr;
  return node->record->address != nullptr ? node->record : nullptr;
}

}  // namespace

bool WriteNote(const stEnvelope& envelope, std::string* note) {
  const MQEnvFrom* sender = SenderOf(envelope);
  if (sender == nullptr) return false;
  std::string bytes(kMark);
  bytes.append(kCountAt + kNumberBytes - kMark.size(), '\0');
  AddWord(envelope.last, &bytes);
  if (!AddSender(*sender, &bytes)) return false;
  std::uint32_t count = 0;
  for (const MQEnvRecipNode* node = envelope.recipients.head; node != nullptr; node = node->next) {
    if (node->record == nullptr || node->record->address == nullptr) return false;
    if (!AddRecipient(*node->record, &bytes)) return false;
    ++count;
  }
  if (count == 0) return false;
  SetNumber(count, kCountAt, &bytes);
  SetNumber(SumOf(bytes), kSumAt, &bytes);
  note->swap(bytes);
  return true;
}

bool NoteReader::TakeNumber(std::uint32_t* number) {
  if (rest_.size() < kNumberBytes) return false;
  std::byte bytes[kNumberBytes];
  std::memcpy(bytes, rest_.data(), sizeof bytes);
  *number = store::LoadLittle<std::uint32_t>(bytes);
  rest_.remove_prefix(kNumberBytes);
  return true;
}

bool NoteReader::TakeWord(std::int32_t* word) {
  std::uint32_t number = 0;
  if (!TakeNumber(&number)) return false;
  *word = static_cast<std::int32_t>(number);
  return true;
}

bool NoteReader::TakeText(std::string_view* text) {
  std::uint32_t size = 0;
  if (!TakeNumber(&size) || size > rest_.size()) return false;
  *text = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return text->find('\0') == std::string_view::npos;
}

bool NoteReader::TakeRecipient(NotedRecipient* recipient) {
  return TakeWord(&recipient->notify_flags) && TakeText(&recipient->address) &&
         TakeText(&recipient->original) && TakeText(&recipient->fourth_text) &&
         TakeText(&recipient->fifth_text);
}

bool NoteReader::Open(std::string_view note) {
  taken_ = 0;
  recipients_ = 0;
  if (note.size() < kSummedAt || !note.starts_with(kMark)) return false;
  rest_ = note.substr(kSumAt);
  std::uint32_t sum = 0;
  std::uint32_t count = 0;
  const bool head = TakeNumber(&sum) && sum == SumOf(note) && TakeNumber(&count) && count > 0 &&
                    TakeWord(&last_) && TakeWord(&sender_.ret) && TakeWord(&sender_.fourth) &&
                    TakeText(&sender_.address) && TakeText(&sender_.envelope_id) &&
                    TakeText(&sender_.fifth_text) && TakeText(&sender_.channel);
  if (!head) return false;
  const std::string_view first = rest_;
  NotedRecipient recipient;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!TakeRecipient(&recipient)) return false;
  }
  if (!rest_.empty()) return false;
  rest_ = first;
  recipients_ = count;
  return true;
}

bool NoteReader::Next(NotedRecipient* recipient) {
  if (taken_ == recipients_) return false;
  ++taken_;
  return TakeRecipient(recipient);
}

}  // namespace qob::mq
