// The message file is written whole before the queue hears of the envelope; the queue's commit is
// the one step that makes the message exist. Everything before it is undone on any failure, in the
// reverse order: first the file, then the entry with its lock. After it nothing is touched.
#include "queue/submit_message.h"

#include <memory>
#include <new>
#include <string>

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "platform/os/directory.h"
#include "platform/os/path.h"
#include "platform/os/process.h"
#include "queue/installation.h"
#include "queue/local_date.h"
#include "queue/message_source.h"
#include "queue/submission_address.h"
#include "queue/submission_envelope.h"
#include "queue/transport_header.h"

namespace qob {
namespace {

constexpr std::int32_t kPriority = 255;
constexpr std::size_t kNameSize = 128;
constexpr std::size_t kDomainLimit = 256;

std::string_view TextOf(const char* text) { return text == nullptr ? "" : text; }

// What the site calls itself, as it stands at the call's beginning.
struct SiteNames {
  std::string gateway;  // "host.domain", also of empty ones
  std::string home;     // where recipients without a domain belong
  std::string receipt_name;
};

SiteNames ReadSiteNames() {
  const ConfigReader config;
  SiteNames names;
  names.gateway = config.Text("Connection", "GatewayHostName", "", kNameSize);
  names.gateway += '.';
  names.gateway += config.Text("Connection", "GatewayDomain", "", kNameSize);
  names.home = config.Text("Routing", "PrimaryRelayHostName", "", kNameSize);
  if (names.home.empty()) names.home = names.gateway;
  names.receipt_name = config.Text("Options", "rrqHeader", "Return-Receipt-To", kNameSize);
  return names;
}

// An entry of the queue that is thrown away, with its message file, unless it is committed.
class NewEntry {
 public:
  // Throws std::bad_alloc.
  explicit NewEntry(MQContext* entry) : entry_(entry, &DiscardMQEntry) {
    const char* path = GetMQPathName(entry, kMessageFile);
    if (path == nullptr) throw std::bad_alloc();
    message_path_ = path;
  }
  ~NewEntry() {
    if (file_made_ && entry_ != nullptr) os::RemoveFile(message_path_);
  }
  NewEntry(const NewEntry&) = delete;
  NewEntry& operator=(const NewEntry&) = delete;

  // Of the message file, without its extension.
  std::string_view Path() const {
    return std::string_view(message_path_).substr(0, message_path_.size() - kExtensionSize);
  }
  std::string_view Name() const { return os::FileNamePart(Path()); }
  bool CreateFile(FileWriter* file) {
    file_made_ = true;
    return file->Create(message_path_.c_str(), true);
  }
  MQContext* get() const { return entry_.get(); }
  // The entry is the queue's afterwards, whatever the result.
  bool Commit() { return CloseMQEntry(entry_.release()) != 0; }

 private:
  static constexpr char kMessageFile[] = ".msg";
  static constexpr std::size_t kExtensionSize = sizeof kMessageFile - 1;

  std::unique_ptr<MQContext, std::int32_t (*)(MQContext*)> entry_;
  std::string message_path_;
  bool file_made_ = false;
};

bool PutAll(MQContext* entry, const SubmissionEnvelope& envelope, const char* channel) {
  const bool routed = InsertMQChannel(entry, channel, kPriority) != 0;
  return PutMQEnvelope(entry, envelope.get()) != 0 && routed;
}

SubmissionEnvelope::Sender SenderOf(const Submission& submission, std::string_view address) {
  return {address, submission.envelope_id,  submission.ret,
          0,       submission.sender_extra, TextOf(submission.channel)};
}

void AddRecipients(const Submission& submission, std::string_view home,
                   SubmissionEnvelope* envelope) {
  for (const MimeRecipient& recipient : submission.recipients) {
    const std::string_view text = TextOf(recipient.address);
    if (text.empty()) {
      Report(kDetail, "Ignore empty recipient address.");
      continue;
    }
    ForEachRecipient(text, home, [&](std::string&& address) {
      envelope->AddRecipient({address, TextOf(recipient.originalRecipient), recipient.notifyFlags,
                              TextOf(recipient.fourthText), TextOf(recipient.fifthText)});
    });
  }
}

std::string LinesInFront(const Submission& submission, const SiteNames& names,
                         const SenderAddress& sender, std::string_view entry_name,
                         const FieldsPresent& present) {
  const std::string now = LocalDateText(os::Now());
  const std::string installation = present.message_id ? std::string() : InstallationId();
  const std::string_view domain = sender.domain.empty() ? names.gateway : sender.domain;
  TransportHeader header;
  header.gateway = names.gateway;
  header.entry_name = entry_name;
  header.now = now;
  header.mime_version = !present.mime_version && !submission.no_mime_version;
  if (!present.date) header.date = submission.date.empty() ? now : submission.date;
  header.message_id = !present.message_id;
  header.installation = installation;
  header.message_id_domain = domain.substr(0, kDomainLimit);
  header.receipt = submission.return_receipt;
  header.receipt_name = names.receipt_name;
  header.sender = submission.sender;
  return TransportLines(header);
}

}  // namespace

char* SubmitFile(const Submission& submission) {
  const SiteNames names = ReadSiteNames();
  MQContext* const fresh = NewQueueEntry();
  if (fresh == nullptr) return nullptr;
  NewEntry entry(fresh);
  LineReader message;
  FieldsPresent present;
  FileWriter file;
  // A pipe without its writer would be taken for an empty message.
  if (!message.OpenIfThere(submission.message_file) || message.IsNoFile() ||
      !LookForFields(&message, &present) || !entry.CreateFile(&file)) {
    return nullptr;
  }
  const SenderAddress sender = ReadSender(submission.sender);
  SubmissionEnvelope envelope;
  envelope.SetSender(SenderOf(submission, sender.text));
  AddRecipients(submission, names.home, &envelope);
  if (!file.Write(LinesInFront(submission, names, sender, entry.Name(), present)) ||
      !CopyMessage(&message, &file) || !file.Close() ||
      !PutAll(entry.get(), envelope, submission.channel)) {
    return nullptr;
  }
  HeapText path(HeapCopy(entry.Path()));
  if (path == nullptr) throw std::bad_alloc();
  return entry.Commit() ? path.release() : nullptr;
}

MQContext* NewQueueEntry() {
  MQContext* const entry = CreateMQEntry();
  if (entry == nullptr) Report(kFailure, "CreateMQEntry failed.");
  return entry;
}

namespace {

bool SetSender(const EnvFrom& sender, const char* channel, SubmissionEnvelope* envelope) {
  return Guarded(
      false,
      [&] {
        envelope->SetSender({TextOf(sender.address), TextOf(sender.envelopeId), sender.firstOption,
                             sender.secondOption, TextOf(sender.optionText), TextOf(channel)});
        return true;
      },
      [] { Report(kFailure, "Out of memory"); });
}

bool AddRecipients(const EnvRecipNode* recipients, SubmissionEnvelope* envelope) {
  return Guarded(
      false,
      [&] {
        for (const EnvRecipNode* node = recipients; node != nullptr; node = node->next) {
          const EnvRecip& recipient = *node->recipient;
          envelope->AddRecipient({TextOf(recipient.address),
                                  TextOf(recipient.secondText),
                                  recipient.notifyFlags,
                                  TextOf(recipient.thirdText),
                                  {}});
        }
        return true;
      },
      [] { Report(kFailure, "Out of memory."); });
}

bool AreWhole(const EnvFrom* sender, const EnvRecipNode* recipients) {
  if (sender == nullptr) return false;
  for (; recipients != nullptr; recipients = recipients->next) {
    if (recipients->recipient == nullptr) return false;
  }
  return true;
}

}  // namespace

bool SubmitEntry(MQContext* entry, const EnvFrom* sender, const EnvRecipNode* recipients,
                 const char* channel) {
  if (!AreWhole(sender, recipients)) {
    DiscardMQEntry(entry);
    return false;
  }
  SubmissionEnvelope envelope;
  if (!SetSender(*sender, channel, &envelope) || !AddRecipients(recipients, &envelope)) {
    return false;
  }
  if (PutAll(entry, envelope, channel)) return CloseMQEntry(entry) != 0;
  DiscardMQEntry(entry);
  return false;
}

}  // namespace qob
