#include "platform/mq/entry_records.h"

#include <new>
#include <span>

#include "platform/mq/database.h"
#include "platform/mq/envelope_note.h"
#include "platform/os/process.h"
#include "platform/os/profile.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/spool/qualify.h"

namespace qob::mq {
namespace {

using store::RecordFile;
using store::Status;
using store::Transaction;

// The one the envelope calls read.
constexpr char kConfigFile[] = "twmta.ini";

spool::QualifySettings Settings() {
  const os::ProfileReader config(kConfigFile);
  return spool::ReadQualifySettings(
      [&](const char* section, const char* key, const char* fallback, std::size_t size) {
        std::string value(size, '\0');
        value.resize(
            config.Read(section, key, fallback, value.data(), static_cast<std::uint32_t>(size)));
        return value;
      });
}

Status InsertMessage(RecordFile& file, const EntryRecords& records, const NotedSender& sender,
                     const spool::QualifySettings& settings) {
  // Nobody as a sender is what mail that must not be answered has.
  const std::string address =
      sender.address.empty() ? "<>" : spool::QualifySender(sender.address, settings, false);
  spool::SenderFields fields;
  fields.address = address;
  fields.envelope_id = sender.envelope_id;
  fields.first_option = sender.ret;
  fields.second_option = sender.fourth;
  fields.option_text = sender.fifth_text;
  spool::MessageRecord record;
  spool::ComposeMessage(spool::StoredKey(records.id, spool::kMessageKind), "", os::Now(), &record);
  spool::SetSender(spool::DirectoryName(records.directory), fields, &record);
  store::Entry entry;
  return file.Insert(spool::Bytes(record), &entry);
}

Status InsertRecipient(RecordFile& file, const std::string& key, const NotedRecipient& recipient,
                       const spool::QualifySettings& settings) {
  const std::string address = spool::QualifyRecipient(recipient.address, settings);
  spool::RecipientFields fields;
  fields.address = address;
  fields.second_text = recipient.original;
  fields.notify_flags = recipient.notify_flags;
  fields.third_text = recipient.fourth_text;
  spool::MessageRecord record;
  spool::ComposeRecipient(key, fields, &record);
  store::Entry entry;
  return file.Insert(spool::Bytes(record), &entry);
}

Status WriteAll(RecordFile& file, const EntryRecords& records, NoteReader* envelope,
                const spool::QualifySettings& settings) {
  Status status = InsertMessage(file, records, envelope->sender(), settings);
  const std::string key = spool::StoredKey(records.id, spool::kRecipientKind);
  NotedRecipient recipient;
  while (status == store::kOk && envelope->Next(&recipient)) {
    status = InsertRecipient(file, key, recipient, settings);
  }
  for (const std::string& channel : records.channels) {
    if (status == store::kOk) status = file.AddMark(channel, records.id);
  }
  return status == store::kOk ? file.PutNote(records.id, records.note) : status;
}

Written WriteInOneStep(RecordFile& file, const EntryRecords& records) {
  NoteReader envelope;
  if (!envelope.Open(records.note)) return {Outcome::kUndone, store::kNotOurFile};
  const spool::QualifySettings settings = Settings();
  Transaction together(file);
  Status status = together.begun();
  if (status == store::kOk) status = WriteAll(file, records, &envelope, settings);
  if (status != store::kOk) return {Outcome::kUndone, status};
  status = together.Commit();
  return {status == store::kOk ? Outcome::kWritten : Outcome::kUnknown, status};
}

// Every record of that kind.
Status DeleteRecords(RecordFile& file, std::uint32_t id, char kind) {
  const std::string key = spool::RecordKey(id, kind);
  const std::string wanted =
      store::IndexKey(file.description().keys[spool::kKeyIndex], std::as_bytes(std::span(key)));
  spool::MessageRecord record;
  for (;;) {
    store::Entry entry;
    Status status =
        file.Find(spool::kKeyIndex, store::Seek::kEqual, wanted, &entry, spool::Bytes(record));
    if (status == store::kNotFound) return store::kOk;
    if (status == store::kOk) status = file.Delete(entry);
    if (status != store::kOk) return status;
  }
}

Status DeleteMarks(RecordFile& file, const EntryRecords& records) {
  for (const std::string& channel : records.channels) {
    const Status status = file.RemoveMark(channel, records.id);
    if (status != store::kOk && status != store::kNotFound) return status;
  }
  return store::kOk;
}

// A commit that failed may lie in the log in full and come to life after a power cut, though nobody
// sees it now. So something is always written: it takes that place in the log.
Status DeleteNote(RecordFile& file, std::uint32_t id) {
  const Status status = file.PutNote(id, "");
  return status == store::kOk ? file.RemoveNote(id) : status;
}

Status EraseInOneStep(const EntryRecords& records) {
  // The connection that failed writes no more; this one is new.
  std::shared_ptr<RecordFile> file;
  Status status = OpenDatabase(records.directory, &file);
  if (status != store::kOk) return status;
  Transaction together(*file);
  status = together.begun();
  if (status == store::kOk) status = DeleteRecords(*file, records.id, spool::kMessageKind);
  if (status == store::kOk) status = DeleteRecords(*file, records.id, spool::kRecipientKind);
  if (status == store::kOk) status = DeleteMarks(*file, records);
  if (status == store::kOk) status = DeleteNote(*file, records.id);
  return status == store::kOk ? together.Commit() : status;
}

}  // namespace

Written WriteRecords(RecordFile& file, const EntryRecords& records) noexcept {
  try {
    return WriteInOneStep(file, records);
  } catch (const std::bad_alloc&) {
    return {};  // thrown before the last step only
  }
}

Status EraseRecords(const EntryRecords& records) noexcept {
  try {
    return EraseInOneStep(records);
  } catch (const std::bad_alloc&) {
    return store::kNoMemory;
  }
}

}  // namespace qob::mq
