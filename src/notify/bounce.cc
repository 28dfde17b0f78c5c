#include "notify/bounce.h"

#include <optional>
#include <string>

#include <qob3xapi/bounce.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "notify/gateway.h"
#include "notify/returned.h"
#include "platform/os/ascii.h"
#include "platform/os/directory.h"
#include "platform/os/path.h"

namespace qob::notify {
namespace {

constexpr int kAccounting = 3;
constexpr char kSubject[] = "unable to deliver mail";
constexpr char kChannel[] = "DSN";
constexpr std::size_t kSwitchBytes = 8;

// What people read around the reasons.
struct Wording {
  std::string_view opening;
  std::string_view closing;
};

constexpr std::string_view kToSender =
    "This message was returned to you for the following reasons:\r\n\r\n";
constexpr std::string_view kWithoutSender =
    "This message has no sender in the envelope.\r\n"
    "It was being returned to sender for the following reasons:\r\n\r\n";
constexpr std::string_view kMessageFollows = "The original message follows.\r\n\r\n";
constexpr std::string_view kHeaderFollows = "The original message header follows.\r\n\r\n";
constexpr Wording kForPostmaster = {
    "This message has been bounced to postmaster for the following reason(s):\r\n\r\n",
    "\r\nThe original message follows.\r\n\r\n"};

Step ExplanationPart(const Wording& wording, const ms* reasons, BuiltFile* part) {
  Draft text;
  const Step step = text.Fill([&](FileWriter& out) {
    out.Write(wording.opening);
    for (const ms* reason = reasons; reason != nullptr; reason = reason->next) {
      out.Write(TextOf(reason->text));
      out.Write("\r\n");
    }
    return out.Write(wording.closing) ? Step::kDone : Step::kWrite;
  });
  if (step != Step::kDone) return step;
  *part = BuildPart("text", "plain", "7bit", text.path());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

Step ReturnedPart(const char* message_file, Content content, BuiltFile* part) {
  if (content == Content::kHeader) return HeaderPart(message_file, part);
  *part = WholeMessagePart(message_file);
  return *part == nullptr ? Step::kPart : Step::kDone;
}

Step Submit(const char* sender, const char* recipient, const char* message, void* pass_through) {
  const MimeRecipient to = {recipient, nullptr, 0, nullptr, nullptr};
  const HeapText entry(MimeSendMessage(sender, nullptr, 0, 0, nullptr, kChannel, &to, 1, nullptr,
                                       message, pass_through, 0, 0));
  return entry == nullptr ? Step::kSubmit : Step::kDone;
}

Step Send(const BounceOrder& order, const Wording& wording, Content content, const char* recipient,
          const std::string& sender) {
  BuiltFile whole;
  {
    BuiltFile explanation;
    Step step = ExplanationPart(wording, order.reasons, &explanation);
    if (step != Step::kDone) return step;
    BuiltFile returned;
    step = ReturnedPart(MessageFileOf(order.queue_file).c_str(), content, &returned);
    if (step != Step::kDone) return step;
    const char* const parts[] = {explanation.get(), returned.get(), nullptr};
    whole.reset(MimeBuildMultipartMessage(sender.c_str(), OneText(recipient).chain(), kSubject,
                                          nullptr, parts, "mixed", nullptr, nullptr, 0));
  }
  if (whole == nullptr) return Step::kWhole;
  return Submit(sender.c_str(), recipient, whole.get(), order.pass_through);
}

const char* FailureText(Step step) {
  switch (step) {
    case Step::kDone:
    case Step::kMemory:
      break;
    case Step::kCreate:
      return "BounceMimeMessage failed: filecreate error.";
    case Step::kWrite:
      return "BounceMimeMessage failed: putline failed.";
    case Step::kOpen:
      return "BounceMimeMessage failed: fileopen failed.";
    case Step::kRead:
    case Step::kPart:
      return "BounceMimeMessage failed: MimeBuildMessage failed.";
    case Step::kWhole:
      return "BounceMimeMessage failed: MimeBuldMultipartMessage failed.";
    case Step::kSubmit:
      return "BounceMimeMessage failed: MimeSendMessage failed.";
  }
  return "BounceMimeMessage failed: out of memory.";
}

bool IsYes(const char* key, const char* other) {
  return ConfigIsExact("Options", key, other, "NO", kSwitchBytes, "YES");
}

// The record as the envelope has it, or null.
EnvFrom* ReadSender(const BounceOrder& order) {
  if (order.database != nullptr) return GetEnvelopeFrom(order.queue_file, order.database);
  MesgHandle database;
  if (OpenMesgFile(nullptr, &database) != 0) return nullptr;
  EnvFrom* const sender = GetEnvelopeFrom(order.queue_file, &database);
  CloseMesgFile(&database);
  return sender;
}

// "" when there is none.
std::string SenderAddress(const BounceOrder& order, const EnvFrom* given) {
  struct Release {
    void operator()(EnvFrom* record) const { FreeEnvFrom(record); }
  };
  std::unique_ptr<EnvFrom, Release> read;
  if (given == nullptr) {
    read.reset(ReadSender(order));
    given = read.get();
  }
  return given == nullptr || given->address == nullptr ? std::string() : given->address;
}

bool SendToPostmaster(const BounceOrder& order) {
  if (BounceMimeMessageToPostmaster(order.queue_file, order.reasons, order.pass_through,
                                    order.database) != 0) {
    return false;
  }
  const os::Result<std::int64_t> size = os::SizeOf(MessageFileOf(order.queue_file).view());
  if (!size) Report(kFailure, "Could not get message file size.");
  Report(kAccounting, "Bounced %s size: %ld bytes to: <postmaster>\r\n",
         os::FileNamePart(order.queue_file).data(), static_cast<long>(size ? size.value : 0));
  return true;
}

// The sender has his message by now: what fails here changes nothing.
void CopyToPostmaster(const BounceOrder& order, const std::string& recipient,
                      const Gateway& gateway) {
  Guarded(false, [&] {
    const std::optional<Mailbox> returned_to = FirstAddress(recipient);
    return returned_to.has_value() &&
           !ascii::EqualFold(returned_to->address, gateway.Postmaster()) && SendToPostmaster(order);
  });
}

Outcome AnswerNobody(const BounceOrder& order) {
  if (!IsYes(kInsteadOfSender, kBesideSender)) {
    Report(kDetail, "Discard to bounce message with empty envelope From ( <> ).");
    return Outcome::kDiscarded;
  }
  return SendToPostmaster(order) ? Outcome::kToPostmaster : Outcome::kFailed;
}

}  // namespace

Outcome BounceToSender(const BounceOrder& order, const EnvFrom* given, Content content) {
  const ConfigReader config;
  const Gateway gateway = ReadGateway(config);
  std::string recipient = SenderAddress(order, given);
  Wording wording = {kToSender, content == Content::kHeader ? kHeaderFollows : kMessageFollows};
  if (recipient.empty()) {
    Report(kFailure, "Waring: trying to bonce message with no envelope from.");
    recipient = gateway.Postmaster() + " (envelope From missing)";
    wording.opening = kWithoutSender;
  }
  if (recipient == "<>") return AnswerNobody(order);
  const Step step = Send(order, wording, content, recipient.c_str(), BounceSender(config, gateway));
  if (step != Step::kDone) {
    Report(kFailure, "%s", FailureText(step));
    return Outcome::kFailed;
  }
  if (IsYes(kBesideSender, kInsteadOfSender)) CopyToPostmaster(order, recipient, gateway);
  return Outcome::kReturned;
}

Step BounceToPostmaster(const BounceOrder& order, bool* addressed) {
  const ConfigReader config;
  const Gateway gateway = ReadGateway(config);
  const std::string postmaster = gateway.Postmaster();
  *addressed = true;
  return Send(order, kForPostmaster, Content::kMessage, postmaster.c_str(),
              BounceSender(config, gateway));
}

}  // namespace qob::notify
