// qob dsn send: a status notification for a message of the queue.
#include <qob3xapi/dsn.h>

#include "../commands.h"
#include "../json_line.h"
#include "../library_log.h"
#include "../mail/submission.h"
#include "../mail/values.h"
#include "../output.h"
#include "../system.h"
#include "../utf8.h"
#include "queued_message.h"
#include "recipient_fields.h"
#include "text_lines.h"

namespace cli {
namespace {

using notify::RecipientFields;

constexpr const char* kSubject = "Delivery status notification";

std::int32_t ReturnOption(const Arguments& arguments, std::int32_t otherwise) {
  if (!arguments.Has("--return")) return otherwise;
  const std::string what = arguments.Value("--return");
  if (what == "full") return 2;
  if (what == "hdrs") return 1;
  throw Failure(ExitCode::kUsage, "--return " + what + ": full or hdrs");
}

// What people read when no text is given.
std::vector<std::string> PlainText(const std::vector<RecipientFields>& recipients) {
  std::vector<std::string> lines = {"This is a report on the delivery of your message.", ""};
  for (const RecipientFields& recipient : recipients) {
    lines.push_back("  " + recipient.final + ": " + recipient.action +
                    (recipient.status.empty() ? "" : " (" + recipient.status + ")"));
    if (!recipient.diagnostic.empty()) lines.push_back("    " + recipient.diagnostic);
  }
  return lines;
}

notify::Chain Lines(const Arguments& arguments, const std::vector<RecipientFields>& recipients) {
  std::vector<std::string> lines = notify::TextOf(arguments).value_or(PlainText(recipients));
  for (std::string& line : lines) line += "\r\n";
  return notify::ChainOf("the text", lines);
}

void Tell(const Arguments& arguments, const std::string& id, const char* sender,
          const std::vector<RecipientFields>& recipients) {
  if (!arguments.Has("--json")) {
    Out().Line(id + "  reported  " + Visible(sender == nullptr ? "-" : sender));
    return;
  }
  Json line;
  line["schema"] = "qob.dsn-send/1";
  line["id"] = id;
  PutText(&line, "sender", sender);
  line["recipients"] = recipients.size();
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunDsnSend(const Arguments& arguments) {
  const std::vector<RecipientFields> recipients = notify::ReadRecipients(arguments);
  const std::string subject = arguments.Value("--subject", kSubject);
  mail::RequireOneLine("--subject", subject);
  const notify::Chain text = Lines(arguments, recipients);
  const notify::FieldList fields(recipients);
  ReturnOption(arguments, 0);

  const mail::SiteQueue queue(arguments.Has("--verbose"));
  sys::DelaySignals();
  notify::Database database;
  const notify::QueuedMessage message(arguments.operands.front());
  const notify::Sender sender(GetEnvelopeFrom(message.path(), database.get()));
  sys::EndIfAsked();
  LibraryLog::Get().Clear();
  std::int32_t result = 0;
  if (arguments.Has("--postmaster")) {
    result =
        GenerateDSNMessageToPostmaster(message.path(), subject.c_str(), text.get(), fields.head());
  } else {
    DsnEnvFrom from{};
    if (sender != nullptr)
      from = {sender->address, sender->envelopeId, ReturnOption(arguments, sender->firstOption),
              sender->secondOption, GetMessageCreationTime(message.path(), database.get())};
    result = GenerateDSNMessage(message.path(), sender == nullptr ? nullptr : &from,
                                subject.c_str(), text.get(), fields.head());
  }
  if (result != 0) throw notify::Refused(message.id() + " was not reported on");
  Tell(arguments, message.id(), sender == nullptr ? nullptr : sender->address, recipients);
  Out().Flush();
  return ExitCode::kOk;
}

}  // namespace cli
