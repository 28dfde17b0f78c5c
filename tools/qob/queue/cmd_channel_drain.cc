// qob channel drain: the messages of a channel go into a maildir and leave the queue, or lose their
// place on the channel.
//
// A recipient's copy is flushed and has its name in the maildir before the recipient's record says
// so, and the message leaves the queue when every recipient's record does: a crash in between costs
// a second copy for one recipient at most, never a message.
#include <algorithm>
#include <memory>
#include <optional>

#include "../commands.h"
#include "../system.h"
#include "../system_maildir.h"
#include "change.h"
#include "channels.h"
#include "platform/spool/names.h"
#include "record_access.h"
#include "remove_message.h"

namespace cli {
namespace {

using namespace queue;
using qob::spool::FieldText;
using qob::store::Status;

// What a recipient's state text says when it is done with.
constexpr const char* kDone = "DONE";
// So many recipients are named in the log's line about a message.
constexpr std::size_t kNamedInLog = 20;

// The address in a header line; control characters would end it or begin another.
std::string InLine(std::string_view address) {
  std::string text;
  for (const char c : address) {
    const auto byte = static_cast<unsigned char>(c);
    text += byte < 0x20 || byte == 0x7F ? '?' : c;
  }
  return text;
}

// What stands in front of a delivered message; "<>" is a message of nobody.
std::string Envelope(std::string_view sender, std::string_view recipient) {
  const std::string_view path = sender == "<>" ? std::string_view() : sender;
  return "Return-Path: <" + InLine(path) + ">\r\nDelivered-To: " + InLine(recipient) + "\r\n";
}

class Deliverer {
 public:
  Deliverer(std::string channel, std::string maildir)
      : channel_(std::move(channel)), path_(std::move(maildir)) {}

  Outcome operator()(Target& target);

 private:
  void Deliver(const Target& target, std::string_view recipient);
  std::string Detail() const;

  std::string channel_;
  std::string path_;
  std::unique_ptr<sys::Maildir> maildir_;
  Remover remove_;
  std::vector<std::string> delivered_;  // of the message at hand
};

std::string Deliverer::Detail() const {
  std::string text = "channel " + channel_ + ", maildir " + path_ + ", delivered to ";
  if (delivered_.empty()) text += "nobody: no recipient was pending";
  for (std::size_t i = 0; i < delivered_.size() && i < kNamedInLog; ++i)
    text += (i == 0 ? "" : ", ") + delivered_[i];
  if (delivered_.size() > kNamedInLog)
    text += " and " + std::to_string(delivered_.size() - kNamedInLog) + " more";
  return text;
}

// A maildir that takes nothing ends the command: the next message would fare no better.
void Deliverer::Deliver(const Target& target, std::string_view recipient) {
  if (maildir_ == nullptr) maildir_ = std::make_unique<sys::Maildir>(path_);
  const std::string head = Envelope(FieldText(target.record.address), recipient);
  int error = maildir_->error();
  if (error == 0)
    error = maildir_->Deliver(head, NativeBase(target.base) + qob::spool::kMessageFile);
  if (error == 0) return;
  if (!delivered_.empty())
    Audit("drain", target.id, target.base, FieldText(target.record.address),
          "not finished, " + Detail());
  throw FatalFailure(
      sys::IsPermission(error) ? ExitCode::kNoPermission : ExitCode::kCantCreate,
      path_ + ": a message cannot be delivered there: " + sys::ErrorText(error) +
          ": nothing is lost: mend it, or name another maildir, and run the command again");
}

Outcome Deliverer::operator()(Target& target) {
  delivered_.clear();
  if (const std::string_view state = FieldText(target.record.stateText); !state.empty())
    return Refused("its state is '" + std::string(state) + "': left alone");
  const std::string file = NativeBase(target.base) + qob::spool::kMessageFile;
  if (const sys::File message = sys::File::OpenToRead(file); !message) {
    return Failed(file + ": cannot be read: " + sys::ErrorText(message.error()) +
                  ": see 'qob queue check'");
  }
  qob::store::RecordFile& database = *target.home.database;
  std::vector<StoredRecord> recipients;
  Status status = ReadRecords(database, target.id, qob::spool::kRecipientKind, &recipients);
  for (StoredRecord& recipient : recipients) {
    if (status != qob::store::kOk) break;
    if (!FieldText(recipient.record.stateText).empty()) continue;
    const std::string address(FieldText(recipient.record.address));
    Deliver(target, address);
    delivered_.push_back(address);
    qob::spool::SetField(recipient.record.stateText, kDone);
    status = database.Update(&recipient.entry, qob::spool::Bytes(recipient.record));
  }
  if (status != qob::store::kOk) return StoreFailed(status);
  Outcome outcome = remove_(target);
  if (outcome.result == Result::kDone) outcome.detail = Detail();
  return outcome;
}

// The message stays in the queue with its records; the last mark takes the note along.
Outcome TakeOff(const std::string& channel, const Target& target) {
  qob::store::RecordFile& database = *target.home.database;
  qob::store::Transaction transaction(database);
  Status status = transaction.begun();
  if (status == qob::store::kOk) status = database.RemoveMark(channel, target.id);
  if (status == qob::store::kNotFound) return {Result::kUnchanged, "", ExitCode::kOk, {}};
  bool marked = true;
  if (status == qob::store::kOk) status = database.HasMark(target.id, &marked);
  if (status == qob::store::kOk && !marked) {
    status = database.RemoveNote(target.id);
    if (status == qob::store::kNotFound) status = qob::store::kOk;
  }
  if (status == qob::store::kOk) status = transaction.Commit();
  if (status != qob::store::kOk) return StoreFailed(status);
  Outcome outcome;
  outcome.detail = "channel " + channel;
  return outcome;
}

}  // namespace

ExitCode RunChannelDrain(const Arguments& arguments) {
  const std::string& channel = arguments.operands.front();
  const std::string maildir = arguments.Value("--maildir");
  const bool discard = arguments.Has("--discard-marks");
  if (arguments.Has("--maildir") == discard || (!discard && maildir.empty())) {
    throw Failure(ExitCode::kUsage,
                  "channel drain: say where the messages go: --maildir DIR, or --discard-marks to "
                  "leave them in the queue without the channel");
  }
  Action action;
  action.among = [&](const OpenQueue& queue) { return OnChannel(queue, channel); };
  Deliverer deliver(channel, sys::AbsolutePath(maildir));
  if (discard) {
    action.verb = "discard-mark";
    action.done = "taken off";
    action.act = [&](Target& target) { return TakeOff(channel, target); };
    action.always_asks = true;
  } else {
    action.verb = "drain";
    action.done = "drained";
    action.act = [&](Target& target) { return deliver(target); };
  }
  return RunChange(arguments, action);
}

}  // namespace cli
