#include "queue/envelope.h"

#include "frame/config.h"
#include "frame/heap.h"
#include "platform/os/process.h"
#include "platform/spool/qualify.h"

namespace qob::envelope {
namespace {

spool::QualifySettings Settings() {
  const ConfigReader config;
  return spool::ReadQualifySettings(
      [&](const char* section, const char* key, const char* fallback, std::size_t size) {
        return config.Text(section, key, fallback, size);
      });
}

}  // namespace

spool::SenderFields FieldsOf(const EnvFrom& sender, std::string_view qualified) {
  spool::SenderFields fields;
  fields.address = qualified;
  fields.envelope_id = TextOf(sender.envelopeId);
  fields.first_option = sender.firstOption;
  fields.second_option = sender.secondOption;
  fields.option_text = TextOf(sender.optionText);
  return fields;
}

spool::RecipientFields FieldsOf(const EnvRecip& recipient, std::string_view qualified) {
  spool::RecipientFields fields;
  fields.address = qualified;
  fields.second_text = TextOf(recipient.secondText);
  fields.notify_flags = recipient.notifyFlags;
  fields.third_text = TextOf(recipient.thirdText);
  return fields;
}

EnvFrom* NewSender(const MesgRecord& record) {
  EnvFrom* sender = HeapRecord<EnvFrom>();
  if (sender == nullptr) return nullptr;
  sender->address = HeapCopy(spool::FieldText(record.address));
  sender->envelopeId = HeapCopy(spool::FieldText(record.envelopeId));
  sender->optionText = HeapCopy(spool::FieldText(record.optionText));
  sender->firstOption = record.firstOption;
  sender->secondOption = record.secondOption;
  if (sender->address && sender->envelopeId && sender->optionText) return sender;
  FreeEnvFrom(sender);
  return nullptr;
}

EnvRecip* NewRecipient(const MesgRecord& record) {
  EnvRecip* recipient = HeapRecord<EnvRecip>();
  if (recipient == nullptr) return nullptr;
  recipient->address = HeapCopy(spool::FieldText(record.address));
  recipient->secondText = HeapCopy(spool::FieldText(record.secondText));
  recipient->thirdText = HeapCopy(spool::FieldText(record.optionText));
  recipient->notifyFlags = record.notifyFlags;
  if (recipient->address && recipient->secondText && recipient->thirdText) return recipient;
  FreeEnvRecip(recipient);
  return nullptr;
}

std::string QualifiedSender(std::string_view address, bool kept_bare) {
  return spool::QualifySender(address, Settings(), kept_bare);
}

std::string QualifiedRecipient(std::string_view address) {
  return spool::QualifyRecipient(address, Settings());
}

int InsertMessage(std::string_view path, std::string_view status_text, MesgHandle* db) {
  MesgRecord record;
  spool::ComposeMessage(spool::RecordKeyOf(path, spool::kMessageKind), status_text, os::Now(),
                        &record);
  return mesgdb::Insert(db, &record);
}

int InsertRecipient(std::string_view path, const spool::RecipientFields& recipient,
                    MesgHandle* db) {
  MesgRecord record;
  spool::ComposeRecipient(spool::RecordKeyOf(path, spool::kRecipientKind), recipient, &record);
  return mesgdb::Insert(db, &record);
}

int FindMessage(std::string_view path, MesgHandle* db, MesgRecord* record) {
  return mesgdb::Find(db, spool::RecordKeyOf(path, spool::kMessageKind), record);
}

}  // namespace qob::envelope
