#include "library_log.h"

#include <string_view>

#include <qobplatform/logapi.h>

#include "output.h"

namespace cli {
namespace {

constexpr std::int32_t kFailureLevel = 1;
// The number that the log gives for a file which another process holds.
constexpr std::string_view kBusyText = ", error 16";

// "fileopen: name, FileHandle #3": the trace that [Debug] LogFileIO switches on, no problem of a
// message.
bool IsFileTrace(std::string_view text) {
  return text.find("FileHandle #") != std::string_view::npos;
}

}  // namespace

LibraryLog& LibraryLog::Get() {
  static LibraryLog log;
  return log;
}

void LibraryLog::Start(bool verbose) {
  verbose_ = verbose;
  LogSetSink(&LibraryLog::Take, this);
}

void LibraryLog::Stop() { LogSetSink(nullptr, nullptr); }

void LibraryLog::Clear() {
  problems_.clear();
  problem_count_ = 0;
  busy_ = false;
}

std::string LibraryLog::LastProblem(const std::string& otherwise) const {
  std::string text = problems_.empty() ? otherwise : problems_.back();
  while (text.ends_with('.')) text.pop_back();
  return text;
}

void LibraryLog::Take(void* self, std::int32_t level, const char* module, const char* text) {
  try {
    static_cast<LibraryLog*>(self)->Add(level, module == nullptr ? "" : module,
                                        text == nullptr ? "" : text);
  } catch (...) {
    // No memory for a log line: the line is lost, the command goes on.
  }
}

void LibraryLog::Add(std::int32_t level, const std::string& module, const std::string& text) {
  if (verbose_) Message("log " + std::to_string(level) + " " + module + ": " + text);
  if (level != kFailureLevel || IsFileTrace(text)) return;
  busy_ = busy_ || std::string_view(text).ends_with(kBusyText);
  ++problem_count_;
  if (problems_.size() >= kKept) problems_.erase(problems_.begin());
  problems_.push_back(text);
}

}  // namespace cli
