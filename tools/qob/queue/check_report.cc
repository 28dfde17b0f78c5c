#include "check_report.h"

#include "../json_line.h"
#include "../output.h"
#include "../utf8.h"
#include "ids.h"

namespace cli::queue {
namespace {

constexpr const char* kSchema = "qob.queue-check/1";

constexpr const char* kKindWords[] = {"stale-lock",        "held-lock",
                                      "orphan-file",       "missing-file",
                                      "lost-recipients",   "interrupted-move",
                                      "no-recipients",     "unfinished",
                                      "stray-reasons",     "second-record",
                                      "stray-mark",        "stray-note",
                                      "unknown-directory", "strange-record",
                                      "damaged-record",    "damaged-database",
                                      "missing-database",  "damaged-counter",
                                      "leftover",          "no-locks",
                                      "volatile",          "modes"};
constexpr const char* kRemedyWords[] = {"none", "possible", "done", "failed"};

const char* WordOf(Kind kind) { return kKindWords[static_cast<int>(kind)]; }

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + what;
}

}  // namespace

void CheckReport::TellJson(const Finding& finding) const {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "queue", finding.queue);
  line["finding"] = WordOf(finding.kind);
  line["id"] = finding.id.has_value() ? Json(IdText(*finding.id)) : Json();
  PutText(&line, "path", finding.path);
  PutText(&line, "text", finding.text);
  line["certain"] = finding.certain;
  line["repair"] = kRemedyWords[static_cast<int>(finding.remedy)];
  if (finding.detail.empty()) {
    line["detail"] = nullptr;
  } else {
    PutText(&line, "detail", finding.detail);
  }
  line["lock"] = LockJson(finding.holder);
  Out().Line(JsonText(line));
}

void CheckReport::Tell(const Finding& finding) {
  if (finding.kind == Kind::kHeldLock) {
    ++in_use_;
  } else if (finding.remedy == Remedy::kDone) {
    ++mended_;
  } else if (finding.certain) {
    ++standing_;
  } else {
    ++uncertain_;
  }
  if (json_) return TellJson(finding);
  std::string line = finding.path + ": " + finding.text;
  if (!finding.certain) line += " (uncertain: a program may be at work on it)";
  if (finding.remedy == Remedy::kPossible) line += ": --repair: " + finding.detail;
  if (finding.remedy == Remedy::kDone) line += ": mended: " + finding.detail;
  if (finding.remedy == Remedy::kFailed) line += ": not mended: " + finding.detail;
  if (finding.remedy == Remedy::kNone && !finding.detail.empty()) line += ": " + finding.detail;
  Out().Line(Visible(line));
}

void CheckReport::TellSum() const {
  if (json_) return;
  Out().Line(Counted(messages_, " messages, ") + Counted(in_use_, " in use, ") +
             Counted(standing_, " wrong, ") + Counted(mended_, " mended, ") +
             Counted(uncertain_, " uncertain"));
}

ExitCode CheckReport::code() const {
  if (standing_ > 0) return ExitCode::kData;
  if (uncertain_ > 0) return ExitCode::kNoPermission;
  return in_use_ > 0 ? ExitCode::kTemporary : ExitCode::kOk;
}

}  // namespace cli::queue
