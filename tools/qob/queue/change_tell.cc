// What became of a message: on standard output, on standard error, in the log.
#include "change.h"

#include <algorithm>

#include <qobplatform/logapi.h>

#include "../json_line.h"
#include "../output.h"
#include "../system.h"
#include "../utf8.h"
#include "ids.h"

namespace cli::queue {
namespace {

constexpr const char* kSchema = "qob.queue-change/1";
constexpr const char* kModule = "qob";
// That of the accounting lines: above the tracing that sites switch off, no failure.
constexpr std::int32_t kAuditLevel = 3;

constexpr const char* kResultWords[] = {"done",    "unchanged", "would",   "locked",
                                        "changed", "gone",      "refused", "failed"};

const char* WordOf(Result result) { return kResultWords[static_cast<int>(result)]; }

// What a person should know on standard error; "" when nothing went wrong.
std::string Complaint(const Outcome& outcome) {
  switch (outcome.result) {
    case Result::kLocked:
      return LockText(outcome.holder) +
             ": left alone: try again, or see 'qob queue unlock' if whoever has it is gone";
    case Result::kChanged:
      return "it changed since it was chosen: left alone: try again";
    case Result::kGone:
      if (!outcome.detail.empty()) return outcome.detail;
      return "no such message in the queue: 'qob queue list' shows those there";
    case Result::kRefused:
    case Result::kFailed:
      return outcome.detail;
    default:
      return {};
  }
}

}  // namespace

std::string NativeBase(const std::string& base) {
  std::string native = base;
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

void Audit(const std::string& verb, std::uint32_t id, const std::string& base,
           std::string_view sender, const std::string& detail) {
  std::string text = "queue " + verb + ": " + IdText(id) + ", user " + sys::UserName() +
                     ", sender " + (sender.empty() ? "-" : std::string(sender)) + ", " +
                     NativeBase(base);
  if (!detail.empty()) text += ", " + detail;
  LogMessage(kAuditLevel, kModule, text.c_str());
}

void AuditPlace(const std::string& verb, const std::string& path, const std::string& detail) {
  const std::string text =
      "queue " + verb + ": " + path + ", user " + sys::UserName() + ", " + detail;
  LogMessage(kAuditLevel, kModule, text.c_str());
}

Teller::Teller(const Arguments& arguments, const Action& action)
    : action_(action), json_(arguments.Has("--json")) {}

void Teller::TellJson(std::uint32_t id, const std::string& base, std::string_view sender,
                      const Outcome& outcome) const {
  Json line;
  line["schema"] = kSchema;
  line["action"] = action_.verb;
  line["id"] = IdText(id);
  if (base.empty()) {
    line["path"] = nullptr;
    line["sender"] = nullptr;
  } else {
    PutText(&line, "path", NativeBase(base));
    PutText(&line, "sender", sender);
  }
  line["result"] = WordOf(outcome.result);
  if (outcome.detail.empty()) {
    line["detail"] = nullptr;
  } else {
    PutText(&line, "detail", outcome.detail);
  }
  line["lock"] = LockJson(outcome.holder);
  Out().Line(JsonText(line));
}

void Teller::Count(const Outcome& outcome) {
  busy_ = busy_ || outcome.result == Result::kLocked || outcome.result == Result::kChanged;
  gone_ = gone_ || outcome.result == Result::kGone;
  if (failure_ == ExitCode::kOk) failure_ = outcome.code;
}

void Teller::Tell(std::uint32_t id, const std::string& base, std::string_view sender,
                  const Outcome& outcome) {
  Count(outcome);
  if (json_) TellJson(id, base, sender, outcome);
  const std::string complaint = Complaint(outcome);
  if (!complaint.empty()) {
    cli::Message(IdText(id) + ": " + complaint);
    return;
  }
  if (json_) return;
  std::string line = IdText(id) + " ";
  if (outcome.result == Result::kUnchanged) line += std::string("is ") + action_.done + " already";
  if (outcome.result == Result::kWould) line += std::string("would be ") + action_.done;
  if (outcome.result == Result::kDone) line += action_.done;
  if (outcome.result == Result::kWould && !sender.empty())
    line += ", from " + Visible(std::string(sender));
  if (!outcome.detail.empty()) line += ": " + Visible(outcome.detail);
  Out().Line(line);
}

ExitCode Teller::code() const {
  if (failure_ != ExitCode::kOk) return failure_;
  if (busy_) return ExitCode::kTemporary;
  return gone_ ? ExitCode::kNoInput : ExitCode::kOk;
}

}  // namespace cli::queue
