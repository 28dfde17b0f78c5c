#include "notify/status_report.h"

#include <optional>
#include <string>
#include <vector>

#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>

#include "charset/word_encoder.h"
#include "frame/config.h"
#include "frame/heap.h"
#include "notify/gateway.h"
#include "notify/returned.h"
#include "platform/os/ascii.h"
#include "platform/os/process.h"
#include "queue/local_date.h"

namespace qob::notify {
namespace {

constexpr char kChannel[] = "DSN";
constexpr std::int32_t kFull = 2;
constexpr std::size_t kCharsetBytes = 32;
constexpr std::size_t kSenderBytes = 128;
constexpr std::size_t kSwitchBytes = 4;
constexpr std::size_t kRemoteNameBytes = 256;

// ---- the part for people ----

bool NeedsEncoding(const ms* text) {
  for (; text != nullptr; text = text->next) {
    if (HasEightBit(TextOf(text->text))) return true;
  }
  return false;
}

Step TextPart(const StatusReport& report, const ConfigReader& config, BuiltFile* part) {
  Draft draft;
  const Step step = draft.Fill([&](FileWriter& out) {
    for (const ms* line = report.text; line != nullptr; line = line->next) {
      if (!out.Write(TextOf(line->text))) return Step::kWrite;
    }
    return Step::kDone;
  });
  if (step != Step::kDone) return step;
  const std::string charset =
      "Charset=" + config.Text("Gateway", "LocalCharSet", "US-ASCII", kCharsetBytes);
  const char* encoding = NeedsEncoding(report.text) ? "quoted-printable" : "7bit";
  *part = BuildPart("text", "plain", encoding, draft.path(), OneText(charset.c_str()).chain());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

// ---- the part for programs ----

void WriteField(std::string_view name, std::string_view value, FileWriter& out) {
  if (value.empty()) return;
  out.Write(name);
  out.Write(value);
  out.Write("\r\n");
}

void WriteDate(std::string_view name, std::int32_t seconds, FileWriter& out) {
  if (seconds > 0) WriteField(name, LocalDateText(seconds), out);
}

void WriteMessageFields(const StatusReport& report, const Gateway& gateway, FileWriter& out) {
  if (report.sender != nullptr) {
    WriteField("Original-Envelope-Id: ", TextOf(report.sender->envelopeId), out);
  }
  WriteField("Reporting-MTA: DNS; ", gateway.name, out);
  const std::int64_t arrival = report.sender == nullptr ? os::Now() : report.sender->arrivalTime;
  WriteField("Arrival-Date: ", LocalDateText(arrival), out);
  out.Write("\r\n");
}

// "rfc822;" and "smtp;" have no blank behind them: the values bring their own.
void WriteRecipientFields(const PerRecipField& fields, FileWriter& out) {
  WriteField("Original-Recipient: ", TextOf(fields.originalRecipient), out);
  WriteField("Final-Recipient: rfc822;", TextOf(fields.finalRecipient), out);
  WriteField("Action: ", TextOf(fields.action), out);
  WriteField("Status: ", TextOf(fields.status), out);
  WriteField("Remote-MTA: DNS; ", TextOf(fields.remoteMta).substr(0, kRemoteNameBytes), out);
  WriteField("Diagnostic-code: smtp;", TextOf(fields.diagnosticCode), out);
  WriteDate("Last-attempt-date: ", fields.lastAttempt, out);
  WriteDate("Will-retry-until: ", fields.willRetryUntil, out);
  out.Write("\r\n");
}

Step StatusPart(const StatusReport& report, const Gateway& gateway, BuiltFile* part) {
  Draft draft;
  const Step step = draft.Fill([&](FileWriter& out) {
    WriteMessageFields(report, gateway, out);
    for (const PerRecipFieldNode* node = report.recipients; node != nullptr; node = node->next) {
      if (node->field != nullptr) WriteRecipientFields(*node->field, out);
    }
    return out.failed() ? Step::kWrite : Step::kDone;
  });
  if (step != Step::kDone) return step;
  *part = BuildPart("message", "delivery-status", "7bit", draft.path());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

bool ReportsFailure(const PerRecipFieldNode* node) {
  for (; node != nullptr; node = node->next) {
    if (node->field != nullptr && ascii::EqualFold(TextOf(node->field->action), "failed")) {
      return true;
    }
  }
  return false;
}

// ---- what is returned ----

// The whole message only to who asked for it, and only when it failed.
Step ReturnedPart(const StatusReport& report, bool failure, BuiltFile* part) {
  const PathText message = MessageFileOf(report.queue_file);
  const std::int32_t ret = report.sender == nullptr ? 0 : report.sender->ret;
  if (!failure || ret != kFull) return HeaderPart(message.c_str(), part);
  *part = WholeMessagePart(message.c_str());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

// ---- the message ----

std::string ReportSender(const ConfigReader& config, const Gateway& gateway) {
  const std::optional<Mailbox> sender =
      FirstAddress(config.Text("Options", "BounceSender", "postmaster", kSenderBytes));
  if (!sender.has_value() || sender->local_part.empty()) return gateway.Postmaster();
  return sender->domain.empty() ? gateway.Qualified(sender->local_part)
                                : sender->local_part + '@' + sender->domain;
}

std::vector<std::string> Recipients(std::string_view sender, bool failure, const Gateway& gateway) {
  const std::string postmaster = gateway.Postmaster();
  if (sender.empty() || sender == "<>") return {postmaster};
  std::vector<std::string> recipients{std::string(sender)};
  const bool both =
      failure && !ascii::EqualFold(sender, postmaster) &&
      ConfigIsExact("Options", kInsteadOfSender, kBesideSender, "", kSwitchBytes, "YES");
  if (both) recipients.push_back(postmaster);
  return recipients;
}

Step Submit(const std::vector<std::string>& recipients, const char* message) {
  std::vector<MimeRecipient> records;
  for (const std::string& recipient : recipients) {
    records.push_back({recipient.c_str(), nullptr, 0, nullptr, nullptr});
  }
  const HeapText entry(MimeSendMessage("<>", nullptr, 0, 0, nullptr, kChannel, records.data(),
                                       static_cast<std::int32_t>(records.size()), nullptr, message,
                                       nullptr, 0, 0));
  return entry == nullptr ? Step::kSubmit : Step::kDone;
}

struct Parts {
  BuiltFile text;
  BuiltFile status;  // null: there is none
  BuiltFile returned;
};

Step BuildParts(const StatusReport& report, bool failure, const ConfigReader& config,
                const Gateway& gateway, Parts* parts) {
  Step step = TextPart(report, config, &parts->text);
  if (step == Step::kDone && report.recipients != nullptr) {
    step = StatusPart(report, gateway, &parts->status);
  }
  return step == Step::kDone ? ReturnedPart(report, failure, &parts->returned) : step;
}

BuiltFile BuildWhole(const StatusReport& report, const std::string& from, const char* sender,
                     const Parts& parts) {
  std::vector<const char*> files{parts.text.get()};
  if (parts.status != nullptr) files.push_back(parts.status.get());
  files.push_back(parts.returned.get());
  files.push_back(nullptr);
  const OneText to(sender);
  return BuiltFile(MimeBuildMultipartMessage(
      from.c_str(), sender[0] == '\0' ? nullptr : to.chain(), report.subject, nullptr, files.data(),
      "Report", OneText("report-type=delivery-status").chain(), nullptr, 0));
}

}  // namespace

Step SendStatusReport(const StatusReport& report) {
  const ConfigReader config;
  const Gateway gateway = ReadGateway(config);
  const bool failure = ReportsFailure(report.recipients);
  const bool has_sender = report.sender != nullptr && report.sender->address != nullptr;
  const char* sender = has_sender ? report.sender->address : "";
  BuiltFile whole;
  {
    Parts parts;
    const Step step = BuildParts(report, failure, config, gateway, &parts);
    if (step != Step::kDone) return step;
    whole = BuildWhole(report, ReportSender(config, gateway), sender, parts);
  }
  if (whole == nullptr) return Step::kWhole;
  return Submit(Recipients(sender, failure, gateway), whole.get());
}

Step SendStatusReportToPostmaster(const StatusReport& report) {
  const std::string postmaster = ReadGateway(ConfigReader()).Postmaster();
  const DsnEnvFrom sender = {postmaster.c_str(), "", kFull, 0,
                             static_cast<std::int32_t>(os::Now())};
  StatusReport addressed = report;
  addressed.sender = &sender;
  return SendStatusReport(addressed);
}

}  // namespace qob::notify
