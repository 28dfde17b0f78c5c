#include "envelope.h"

#include <algorithm>

#include "../config_keys.h"
#include "../failure.h"
#include "../utf8.h"
#include "mailbox.h"
#include "values.h"

namespace cli::mail {
namespace {

// What the records of the queue hold.
constexpr std::size_t kLongestEnvelopeId = 99;
constexpr std::size_t kLongestOriginal = 500;

struct NotifyRow {
  const char* name;
  std::int32_t bit;
};
constexpr NotifyRow kNotifyRows[] = {{"success", kNotifySuccess},
                                     {"failure", kNotifyFailure},
                                     {"delay", kNotifyDelay},
                                     {"never", kNotifyNever}};

std::int32_t NotifyBit(std::string_view name) {
  for (const NotifyRow& row : kNotifyRows) {
    if (EqualFold(name, row.name)) return row.bit;
  }
  return 0;
}

std::string SenderOf(const std::string& text) {
  RequireOneLine("--sender", text);
  const std::string_view trimmed = Trimmed(text);
  if (trimmed.empty() || trimmed == "<>") return "<>";
  const std::vector<Mailbox> mailboxes = ParseMailboxes("--sender", trimmed);
  if (mailboxes.size() != 1)
    throw Failure(ExitCode::kData, "--sender " + text + ": give one address");
  return mailboxes.front().address;
}

std::int32_t ReturnOption(const std::string& text) {
  if (EqualFold(text, "hdrs")) return 1;
  if (EqualFold(text, "full")) return 2;
  throw Failure(ExitCode::kUsage, "--return " + text + ": give full or hdrs");
}

// "type;address" of RFC 3461.
std::string OriginalOf(const std::string& text) {
  RequireGraphic("--orcpt", text, kLongestOriginal);
  const std::size_t semicolon = text.find(';');
  if (semicolon == std::string::npos || semicolon + 1 == text.size() ||
      !IsToken(std::string_view(text).substr(0, semicolon)))
    throw Failure(ExitCode::kUsage, "--orcpt " + text + ": give one like rfc822;ann@example.org");
  return text;
}

}  // namespace

std::int32_t ParseNotify(const std::string& text) {
  std::int32_t flags = 0;
  std::string_view rest = text;
  for (;;) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    const std::int32_t bit = NotifyBit(Trimmed(rest.substr(0, comma)));
    flags |= bit;
    if (bit == 0) break;
    if (comma == rest.size()) {
      if ((flags & kNotifyNever) != 0 && flags != kNotifyNever) break;
      return flags;
    }
    rest.remove_prefix(comma + 1);
  }
  throw Failure(ExitCode::kUsage,
                "--notify " + text + ": give never, or some of success,failure,delay");
}

Envelope ReadEnvelope(const Arguments& arguments) {
  Envelope envelope;
  if (arguments.Has("--sender")) envelope.sender = SenderOf(arguments.Value("--sender"));
  envelope.full_name = arguments.Value("--full-name");
  // Programs take the name of a person from old sources; a wrong byte in it is no reason to refuse.
  RequireOneLine("--full-name", envelope.full_name);
  envelope.full_name = Repaired(envelope.full_name);
  if (arguments.Has("--envid")) {
    envelope.envelope_id = arguments.Value("--envid");
    RequireGraphic("--envid", envelope.envelope_id, kLongestEnvelopeId);
  }
  if (arguments.Has("--return")) envelope.return_option = ReturnOption(arguments.Value("--return"));
  if (arguments.Has("--notify")) envelope.notify = ParseNotify(arguments.Value("--notify"));
  for (const std::string& text : arguments.All("--orcpt"))
    envelope.originals.push_back(OriginalOf(text));
  for (const std::string& operand : arguments.operands) {
    const std::vector<Mailbox> some = ParseMailboxes("recipient", operand);
    if (some.empty())
      throw Failure(ExitCode::kData, "recipient \"" + operand + "\": give an address");
    for (const Mailbox& mailbox : some) AddRecipient(mailbox.address, &envelope);
  }
  envelope.receipt = arguments.Has("--receipt");
  return envelope;
}

void AddRecipient(const std::string& address, Envelope* envelope) {
  const bool known = std::any_of(
      envelope->recipients.begin(), envelope->recipients.end(),
      [&](const Recipient& recipient) { return EqualFold(recipient.address, address); });
  if (!known) envelope->recipients.push_back({address, ""});
}

void AssignOriginals(Envelope* envelope) {
  if (envelope->originals.size() > envelope->recipients.size())
    throw Failure(ExitCode::kUsage, "--orcpt: given more often than there are recipients");
  for (std::size_t i = 0; i < envelope->originals.size(); ++i)
    envelope->recipients[i].original = envelope->originals[i];
}

}  // namespace cli::mail
