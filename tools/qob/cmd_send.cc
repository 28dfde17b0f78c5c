// qob send: a message into the queue, made from options or ready from another program; and the
// same under the name sendmail.
#include "commands.h"
#include "json_line.h"
#include "mail/composer.h"
#include "mail/envelope.h"
#include "mail/ready_message.h"
#include "mail/send_words.h"
#include "mail/submission.h"
#include "output.h"
#include "system_user.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;

// What goes into the queue, kept open until it is there.
struct Outgoing {
  mail::BuiltFile built;
  std::unique_ptr<mail::Spool> spool;
  std::string path() const { return spool ? spool->path() : built.path(); }
  std::int64_t size_bytes() const { return sys::StatusOf(path()).size_bytes; }
};

std::string SenderInHeader(const mail::Envelope& envelope) {
  if (envelope.sender == "<>") return mail::WithHost("MAILER-DAEMON");
  return mail::WithHost(envelope.sender);
}

// The one who runs this, where no sender is named.
void CompleteSender(mail::Envelope* envelope) {
  if (!envelope->sender.empty()) return;
  const sys::User user = sys::ThisUser();
  envelope->sender = user.name;
  if (envelope->full_name.empty() && IsUtf8(user.full_name)) envelope->full_name = user.full_name;
}

void RequireRecipients(const mail::Envelope& envelope, bool read_header) {
  if (!envelope.recipients.empty()) return;
  if (read_header)
    throw Failure(ExitCode::kData,
                  "no recipient in the fields To, Cc and Bcc: name one there or as an operand");
  throw Failure(ExitCode::kUsage,
                "a recipient is missing: name one, or use -t to take them from the header; see "
                "'qob send --help'");
}

mail::Input OpenMessage(const Arguments& arguments) {
  const std::string file = arguments.Value("--message", "-");
  mail::Input input = mail::Input::OfFile(file);
  const bool dot_ends = file == "-" && !arguments.Has("--ignore-dots");
  if (dot_ends) input.EndAtDot();
  if (file == "-" && sys::IsTerminal(kStandardInput))
    Message(dot_ends ? "write the message, header first; a line with a single dot ends it"
                     : "write the message, header first; Ctrl-D ends it");
  return input;
}

// A message that is ready: recipients from its header where that is asked for, no Bcc, a From.
Outgoing TakeReady(const Arguments& arguments, mail::Envelope* envelope) {
  const bool read_header = arguments.Has("--read-recipients");
  const bool raw = arguments.Has("--raw");
  // A line that lacks its recipients is told before anything is read.
  if (!read_header) RequireRecipients(*envelope, false);
  mail::ReadyMessage message(OpenMessage(arguments));
  if (read_header) {
    for (const std::string& address : message.Recipients()) AddRecipient(address, envelope);
    RequireRecipients(*envelope, true);
  }
  if (read_header || !raw) message.RemoveBcc();
  CompleteSender(envelope);
  if (!raw && !message.HasField("from")) {
    message.AddField("From: " + mail::HeaderForm({envelope->full_name, SenderInHeader(*envelope)},
                                                 mail::WordCharset()));
  }
  Outgoing outgoing;
  outgoing.spool = std::make_unique<mail::Spool>(raw, mail::Spool::Look::kAtSize);
  message.WriteTo(outgoing.spool.get(), raw);
  return outgoing;
}

// The envelope of a message that is made, and its From.
void CompleteMade(mail::MessageOptions* options, mail::Envelope* envelope) {
  for (const auto* list : {&options->to, &options->cc, &options->bcc}) {
    for (const mail::Mailbox& mailbox : *list) AddRecipient(mailbox.address, envelope);
  }
  RequireRecipients(*envelope, false);
  if (envelope->sender.empty() && !options->from.empty())
    envelope->sender = options->from.front().address;
  CompleteSender(envelope);
  if (options->from.empty())
    options->from.push_back({envelope->full_name, SenderInHeader(*envelope)});
}

// A failure to write the message down may pass, and the message with it then.
template <typename Work>
auto AsTemporary(Work work) {
  try {
    return work();
  } catch (const Failure& failure) {
    const bool passes = failure.code() == ExitCode::kIo || failure.code() == ExitCode::kCantCreate;
    throw Failure(passes ? ExitCode::kTemporary : failure.code(), failure.what());
  }
}

std::string LogNote(const mail::Envelope& envelope, const std::string& path,
                    const std::string& channel, std::int64_t size_bytes) {
  return "send " + mail::QueueIdOf(path) + ": from " + envelope.sender + " to " +
         envelope.recipients.front().address +
         (envelope.recipients.size() == 1
              ? ""
              : " and " + std::to_string(envelope.recipients.size() - 1) + " more") +
         ", channel " + channel + ", " + std::to_string(size_bytes) + " bytes, user " +
         sys::UserNumber();
}

void PrintJson(const mail::Envelope& envelope, const std::string& path, const std::string& channel,
               std::int64_t size_bytes) {
  Json line;
  line["schema"] = "qob.send/1";
  line["id"] = mail::QueueIdOf(path);
  PutText(&line, "path", path);
  PutText(&line, "channel", channel);
  PutText(&line, "sender", envelope.sender);
  PutText(&line, "envelope_id", envelope.envelope_id);
  line["return"] = envelope.return_option;
  line["size"] = size_bytes;
  Json recipients = Json::array();
  for (const mail::Recipient& recipient : envelope.recipients) {
    Json one;
    PutText(&one, "address", recipient.address);
    PutText(&one, "original", recipient.original);
    one["notify_flags"] = envelope.notify;
    recipients.push_back(std::move(one));
  }
  line["recipients"] = std::move(recipients);
  Out().Line(JsonText(line));
}

// The message is in the queue: whatever happens to the output now, its sender must not send it
// once more, and so it is no failure.
void Tell(const Arguments& arguments, const mail::Envelope& envelope, const std::string& path,
          const std::string& channel, std::int64_t size_bytes) {
  try {
    if (arguments.Has("--json")) {
      PrintJson(envelope, path, channel, size_bytes);
    } else if (!mail::IsStandIn(arguments)) {
      Out().Line(mail::QueueIdOf(path));
    }
    Out().Flush();
  } catch (const Failure& failure) {
    Message("the message is queued as " + mail::QueueIdOf(path) + ", but " + failure.what());
    Out().Discard();
  }
}

}  // namespace

ExitCode RunSend(const Arguments& arguments) {
  if (const auto code = mail::RunForeignMode(arguments)) return *code;
  const bool make = mail::AsksForMessage(arguments);
  if (make && (arguments.Has("--message") || arguments.Has("--read-recipients")))
    throw Failure(ExitCode::kUsage,
                  "a ready message (--message, -t) and options of a new one do not go together");
  mail::Envelope envelope = mail::ReadEnvelope(arguments);
  mail::MessageOptions options;
  if (make) options = mail::ReadMessageOptions(arguments);
  const std::string channel = mail::ChannelOf(arguments);
  if (!mail::IsStandIn(arguments) && !sys::IsOpen(kStandardOutput))
    throw Failure(ExitCode::kIo,
                  "standard output is closed: nothing was queued, since its id could "
                  "not be told: send it to /dev/null");
  mail::Composer composer(options, false, !arguments.Has("--ignore-dots"));
  Outgoing outgoing;
  if (make) {
    CompleteMade(&options, &envelope);
    AsTemporary([&] { composer.Read(); });
  } else {
    outgoing = AsTemporary([&] { return TakeReady(arguments, &envelope); });
  }
  AssignOriginals(&envelope);
  // Up to here an interrupt ends the command at once; now files are made that it must remove.
  sys::DelaySignals();
  mail::SiteQueue queue(arguments.Has("--verbose"));
  if (make) outgoing.built = AsTemporary([&] { return composer.Build(); });
  const std::int64_t size_bytes = outgoing.size_bytes();
  if (sys::EndAsked()) {
    outgoing = {};
    sys::EndIfAsked();
  }
  const std::string path = queue.Submit(envelope, channel, outgoing.path());
  queue.Note(LogNote(envelope, path, channel, size_bytes));
  Tell(arguments, envelope, path, channel, size_bytes);
  return ExitCode::kOk;
}

}  // namespace cli
