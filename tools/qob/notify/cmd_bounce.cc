// qob bounce: messages of the queue go back to their senders.
#include <memory>
#include <vector>

#include <qob3xapi/bounce.h>
#include <qob3xapi/queueid.h>
#include <qob3xapi/util.h>

#include "../commands.h"
#include "../json_line.h"
#include "../library_log.h"
#include "../mail/submission.h"
#include "../mail/values.h"
#include "../output.h"
#include "../system.h"
#include "../utf8.h"
#include "queued_message.h"

namespace cli {
namespace {

struct FreeChain {
  void operator()(ms* chain) const { freeStringChain(chain); }
};
using Chain = std::unique_ptr<ms, FreeChain>;

Chain ChainOf(const std::vector<std::string>& lines) {
  ms* chain = nullptr;
  for (const std::string& line : lines) {
    if (appendString(&chain, line.c_str()) != 1) {
      freeStringChain(chain);
      throw Failure(ExitCode::kData, "--reason: longer than 65534 bytes: shorten it");
    }
  }
  return Chain(chain);
}

// What was noted for the message, without line ends.
std::vector<std::string> NotedReasons(const notify::QueuedMessage& message) {
  const Chain noted(GetBounceReason(message.path()));
  std::vector<std::string> lines;
  for (const ms* node = noted.get(); node != nullptr; node = node->next) {
    std::string line = node->text == nullptr ? "" : node->text;
    while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
    lines.push_back(std::move(line));
  }
  return lines;
}

const char* Text(std::int32_t result, bool to_postmaster) {
  if (result == 2) return "discarded";
  return result == 1 || to_postmaster ? "postmaster" : "returned";
}

class Bouncer {
 public:
  explicit Bouncer(const Arguments& arguments)
      : json_(arguments.Has("--json")),
        header_only_(arguments.Has("--header-only")),
        to_postmaster_(arguments.Has("--postmaster")),
        reasons_(arguments.All("--reason")) {
    for (const std::string& reason : reasons_) mail::RequireOneLine("--reason", reason);
    if (header_only_ && to_postmaster_)
      throw Failure(ExitCode::kUsage,
                    "--header-only, --postmaster: the postmaster gets the whole message: give one "
                    "of them");
  }

  void Bounce(const std::string& id) {
    const notify::QueuedMessage message(id);
    const notify::Sender sender(GetEnvelopeFrom(message.path(), database_.get()));
    LibraryLog::Get().Clear();
    const std::int32_t result = Send(message, sender.get());
    if (result < 0) throw notify::Refused(message.id() + " was not bounced");
    Tell(message, sender.get(), Text(result, to_postmaster_));
  }

 private:
  std::int32_t Send(const notify::QueuedMessage& message, const EnvFrom* sender) {
    Chain reasons = ChainOf(reasons_.empty() ? NotedReasons(message) : reasons_);
    if (to_postmaster_)
      return BounceMimeMessageToPostmaster(message.path(), reasons.get(), nullptr, database_.get());
    if (header_only_)
      return BounceMimeMessageHeader(message.path(), reasons.release(), nullptr, database_.get());
    return BounceMimeMessage(message.path(), sender, reasons.release(), nullptr, database_.get());
  }
  void Tell(const notify::QueuedMessage& message, const EnvFrom* sender, const char* what) const {
    const char* address = sender == nullptr ? nullptr : sender->address;
    if (json_) {
      Json line;
      line["schema"] = "qob.bounce/1";
      line["id"] = message.id();
      PutText(&line, "sender", address);
      line["result"] = what;
      return Out().Line(JsonText(line));
    }
    Out().Line(message.id() + "  " + what + "  " + Visible(address == nullptr ? "-" : address));
  }

  bool json_;
  bool header_only_;
  bool to_postmaster_;
  std::vector<std::string> reasons_;
  notify::Database database_;
};

}  // namespace

ExitCode RunBounce(const Arguments& arguments) {
  const mail::SiteQueue queue(arguments.Has("--verbose"));
  sys::DelaySignals();
  Bouncer bouncer(arguments);
  ExitCode code = ExitCode::kOk;
  for (const std::string& id : arguments.operands) {
    sys::EndIfAsked();
    try {
      bouncer.Bounce(id);
    } catch (const FatalFailure&) {
      throw;
    } catch (const Failure& failure) {
      Message(failure.what());
      if (code == ExitCode::kOk) code = failure.code();
    }
  }
  Out().Flush();
  return code;
}

}  // namespace cli
