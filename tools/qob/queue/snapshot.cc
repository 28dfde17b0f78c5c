#include "snapshot.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <unordered_map>

#include "../output.h"
#include "ids.h"
#include "record_access.h"
#include "platform/spool/message_files.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"

namespace cli::queue {
namespace {

using qob::spool::FieldText;
using qob::spool::MessageRecord;

// So many lines about records that cannot be used; the rest are counted.
constexpr std::size_t kProblemsTold = 20;
constexpr std::size_t kKeyDigits = 8;

std::int64_t Now() {
  using std::chrono::system_clock;
  return std::chrono::duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch())
      .count();
}

qob::spool::MessageFiles FilesOf(const Place& place) {
  qob::spool::MessageFiles files;
  files.Open(place.path);
  return files;
}

// The record where it lies, or copied where it lies crooked.
const MessageRecord& RecordIn(std::span<const std::byte> bytes, MessageRecord* copy) {
  if (reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(MessageRecord) == 0)
    return *reinterpret_cast<const MessageRecord*>(bytes.data());
  std::memcpy(copy, bytes.data(), sizeof *copy);
  return *copy;
}

void Take(const qob::spool::MessageFiles& files, Message* message) {
  if (!files.good()) return;
  message->files_known = true;
  message->locked = files.IsLocked(message->id);
  message->size = files.Size(message->id).value_or(kUnknown);
}

std::int64_t TimeOf(std::int32_t seconds) { return seconds > 0 ? seconds : 0; }

}  // namespace

class SnapshotBuilder {
 public:
  SnapshotBuilder(const OpenQueue& queue, Snapshot* snapshot)
      : queue_(queue), snapshot_(*snapshot) {}

  void Read(std::uint32_t home);
  void LookUp(std::uint32_t home, std::span<const std::uint32_t> ids);
  void Finish();

 private:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  void Begin(std::uint32_t home);
  void Check(qob::store::Status status) const;
  void Take(const qob::store::RecordFile::Seen& seen);
  void TakeMessage(std::int64_t number, std::uint32_t id, const MessageRecord& record);
  void TakeRecipient(std::uint32_t id, const MessageRecord& record);
  Message& MessageOf(std::uint32_t id);
  void GatherRecipients();
  void PartOrphans();
  void Problem(std::int64_t number, const std::string& what);

  const OpenQueue& queue_;
  Snapshot& snapshot_;
  std::uint32_t home_ = 0;
  std::unordered_map<std::uint32_t, std::uint32_t> by_id_;  // of this home: index of its message
  std::uint32_t last_ = kNone;         // index of the message of the record before
  std::vector<std::uint32_t> owners_;  // of each recipient: index of its message
};

void SnapshotBuilder::Begin(std::uint32_t home) {
  home_ = home;
  by_id_.clear();
  last_ = kNone;
}

void SnapshotBuilder::Check(qob::store::Status status) const {
  if (status != qob::store::kOk)
    throw StoreFailure(queue_.places()[home_].path + "/" + qob::spool::kDatabaseName, status);
}

void SnapshotBuilder::Read(std::uint32_t home) {
  Begin(home);
  const Place& place = queue_.places()[home];
  if (place.database == nullptr) return;
  Check(place.database->Snapshot([this](const qob::store::RecordFile::Seen& seen) {
    Take(seen);
    return true;
  }));
}

void SnapshotBuilder::LookUp(std::uint32_t home, std::span<const std::uint32_t> ids) {
  Begin(home);
  const Place& place = queue_.places()[home];
  if (place.database == nullptr) return;
  std::vector<StoredRecord> found;
  for (const std::uint32_t id : ids) {
    Check(ReadRecords(*place.database, id, qob::spool::kMessageKind, &found));
    for (const StoredRecord& record : found) TakeMessage(record.entry.number, id, record.record);
    Check(ReadRecords(*place.database, id, qob::spool::kRecipientKind, &found));
    for (const StoredRecord& record : found) TakeRecipient(id, record.record);
  }
}

void SnapshotBuilder::Problem(std::int64_t number, const std::string& what) {
  if (++snapshot_.left_out_ > kProblemsTold) return;
  snapshot_.problems_.push_back(queue_.places()[home_].path + "/" + qob::spool::kDatabaseName +
                                ": record " + std::to_string(number) + " is left out: " + what);
}

void SnapshotBuilder::Take(const qob::store::RecordFile::Seen& seen) {
  if (!seen.ok || seen.record.size() != sizeof(MessageRecord))
    return Problem(seen.number, "it is damaged: see 'qob queue check'");
  MessageRecord copy;
  const MessageRecord& record = RecordIn(seen.record, &copy);
  const std::string_view key = FieldText(record.key);
  const auto id =
      key.size() == kKeyDigits + 1 ? qob::spool::ReadId(key.substr(0, kKeyDigits)) : std::nullopt;
  const char kind = id.has_value() ? key.back() : '\0';
  if (kind == 'f' || kind == qob::spool::kMessageKind) return TakeMessage(seen.number, *id, record);
  if (kind == 'r' || kind == qob::spool::kRecipientKind) return TakeRecipient(*id, record);
  Problem(seen.number, "its key \"" + std::string(key) + "\" is not made from an id");
}

// The message of that id, made when it is met first. What belongs to one message mostly stands
// together.
Message& SnapshotBuilder::MessageOf(std::uint32_t id) {
  std::vector<Message>& messages = snapshot_.messages_;
  if (last_ != kNone && messages[last_].id == id) return messages[last_];
  const auto [at, is_new] = by_id_.try_emplace(id, static_cast<std::uint32_t>(messages.size()));
  last_ = at->second;
  if (is_new) {
    Message& message = messages.emplace_back();
    message.id = id;
    message.home = home_;
  }
  return messages[last_];
}

void SnapshotBuilder::TakeMessage(std::int64_t number, std::uint32_t id,
                                  const MessageRecord& record) {
  Message& message = MessageOf(id);
  if (message.has_record)
    return Problem(number, "it is a second one of " + IdText(id) + ", and the first one counts");
  TextStore& texts = snapshot_.texts_;
  message.has_record = true;
  message.directory = texts.Keep(FieldText(record.directoryName));
  message.holder = queue_.HolderOf(home_, message.directory);
  message.state = texts.Keep(FieldText(record.stateText));
  message.held = message.state.view() == qob::spool::kHeld;
  message.status = texts.Keep(FieldText(record.statusText));
  message.sender = texts.Keep(FieldText(record.address));
  message.envelope_id = texts.Keep(FieldText(record.envelopeId));
  message.option_text = texts.Keep(FieldText(record.optionText));
  message.created = TimeOf(record.creationTime);
  message.changed = TimeOf(record.lastChangeTime);
  message.retry_at = TimeOf(record.retryTime);
  message.tries = record.retryCount;
  message.part_number = record.partNumber;
  message.delay_noticed = record.delayNotifyStatus == 1;
  message.first_option = record.firstOption;
  message.second_option = record.secondOption;
}

void SnapshotBuilder::TakeRecipient(std::uint32_t id, const MessageRecord& record) {
  Message& message = MessageOf(id);
  TextStore& texts = snapshot_.texts_;
  Recipient& recipient = snapshot_.recipients_.emplace_back();
  recipient.address = texts.Keep(FieldText(record.address));
  recipient.state = texts.Keep(FieldText(record.stateText));
  recipient.second_text = texts.Keep(FieldText(record.secondText));
  recipient.third_text = texts.Keep(FieldText(record.optionText));
  recipient.notify_flags = record.notifyFlags;
  if (recipient.pending()) ++message.pending;
  owners_.push_back(last_);
}

// Puts the recipients of one message beside each other, in the order of their records.
void SnapshotBuilder::GatherRecipients() {
  std::vector<Message>& messages = snapshot_.messages_;
  std::vector<Recipient>& recipients = snapshot_.recipients_;
  std::vector<std::uint32_t> starts(messages.size() + 1, 0);
  for (const std::uint32_t owner : owners_) ++starts[owner + 1];
  for (std::size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
  if (!std::is_sorted(owners_.begin(), owners_.end())) {
    std::vector<Recipient> gathered(recipients.size());
    std::vector<std::uint32_t> next = starts;
    for (std::size_t i = 0; i < recipients.size(); ++i)
      gathered[next[owners_[i]]++] = recipients[i];
    recipients.swap(gathered);
  }
  for (std::size_t i = 0; i < messages.size(); ++i) {
    messages[i].recipients =
        std::span<const Recipient>(recipients).subspan(starts[i], starts[i + 1] - starts[i]);
  }
}

void SnapshotBuilder::PartOrphans() {
  std::vector<Message>& messages = snapshot_.messages_;
  const auto first_orphan = std::stable_partition(
      messages.begin(), messages.end(), [](const Message& message) { return message.has_record; });
  snapshot_.orphans_.assign(first_orphan, messages.end());
  messages.erase(first_orphan, messages.end());
}

void SnapshotBuilder::Finish() {
  GatherRecipients();
  PartOrphans();
  if (snapshot_.left_out_ > kProblemsTold) {
    snapshot_.problems_.push_back(std::to_string(snapshot_.left_out_ - kProblemsTold) +
                                  " more records are left out: see 'qob queue check'");
  }
}

Snapshot::Snapshot(const OpenQueue& queue) : taken_at_(Now()) {
  SnapshotBuilder builder(queue, this);
  for (std::uint32_t home = 0; home < queue.places().size(); ++home) builder.Read(home);
  builder.Finish();
}

Snapshot::Snapshot(const OpenQueue& queue, std::span<const std::uint32_t> ids) : taken_at_(Now()) {
  SnapshotBuilder builder(queue, this);
  for (std::uint32_t home = 0; home < queue.places().size(); ++home) builder.LookUp(home, ids);
  builder.Finish();
}

bool Snapshot::TellProblems() const {
  for (const std::string& problem : problems_) cli::Message(problem);
  return !problems_.empty();
}

void Snapshot::LookAtFiles(const OpenQueue& queue, std::span<Message* const> messages) const {
  std::vector<std::optional<qob::spool::MessageFiles>> files(queue.places().size());
  for (Message* const message : messages) {
    if (message->files_known || message->holder < 0) continue;
    const auto holder = static_cast<std::size_t>(message->holder);
    if (!files[holder].has_value()) files[holder] = FilesOf(queue.places()[holder]);
    Take(*files[holder], message);
  }
}

void Snapshot::TakeFiles(const std::vector<qob::spool::MessageFiles>& files) {
  for (Message& message : messages_) {
    if (message.holder >= 0) Take(files[static_cast<std::size_t>(message.holder)], &message);
  }
}

}  // namespace cli::queue
