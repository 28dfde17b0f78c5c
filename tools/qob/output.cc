#include "output.h"

#include <algorithm>

#include "failure.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr std::size_t kBufferBytes = 64 * 1024;
constexpr std::int64_t kProgressMilliseconds = 100;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

// The progress line that stands on the terminal now, so that other output can take it away first.
Progress* shown_progress = nullptr;

void ClearProgress() {
  if (shown_progress != nullptr) shown_progress->Clear();
}

std::string PaddedLine(const Columns::Cells& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i + 1 < cells.size(); ++i)
    line += cells[i] + std::string(widths[i] - Width(cells[i]) + 2, ' ');
  return line + cells.back();
}

}  // namespace

void Output::Write(std::string_view text) {
  if (text.size() >= kBufferBytes) {
    // A long text gains nothing from being copied together with others.
    Flush();
    Send(text);
    return;
  }
  buffer_ += text;
  if (buffer_.size() >= kBufferBytes) Flush();
}

void Output::Line(std::string_view text) {
  Write(text);
  Write("\n");
}

void Output::Flush() {
  if (buffer_.empty() && error_ == 0) return;
  Send(buffer_);
}

void Output::Send(std::string_view text) {
  ClearProgress();
  if (error_ == 0) error_ = sys::WriteOut(text);
  buffer_.clear();
  if (error_ != 0) {
    throw FatalFailure(ExitCode::kIo,
                       "standard output: " + sys::ErrorText(error_) +
                           ": the output is not complete: free some space, or send it elsewhere");
  }
}

void Output::FlushQuietly() noexcept {
  try {
    Flush();
  } catch (...) {
    // The next Write or Flush that is not quiet meets the same error and tells it.
  }
}

Output& Out() {
  static Output output;
  return output;
}

void Message(std::string_view text) {
  // On a terminal the two outputs stand in one place, so what was said before is shown before.
  if (sys::IsTerminal(kStandardOutput)) Out().FlushQuietly();
  ClearProgress();
  sys::WriteMessage("qob: " + Visible(text) + "\n");
}

Paint::Paint(const std::string& when) {
  if (when == "always") on_ = true;
  if (when != "auto" && !when.empty()) return;
  const std::string no_color = sys::Environment("NO_COLOR").value_or("");
  const std::string terminal = sys::Environment("TERM").value_or("dumb");
  on_ = no_color.empty() && terminal != "dumb" && sys::IsTerminal(kStandardOutput);
}

std::string Paint::Bold(const std::string& text) const {
  return on_ ? "\033[1m" + text + "\033[0m" : text;
}
std::string Paint::Warning(const std::string& text) const {
  return on_ ? "\033[33m" + text + "\033[0m" : text;
}

std::size_t Width(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

void Columns::Print(std::size_t count, const std::function<Cells(std::size_t)>& row,
                    const Paint& paint) const {
  std::vector<std::size_t> widths;
  for (const std::string& head : heads_) widths.push_back(Width(head));
  for (std::size_t i = 0; i < count; ++i) {
    const Cells cells = row(i);
    for (std::size_t k = 0; k < cells.size(); ++k) widths[k] = std::max(widths[k], Width(cells[k]));
  }
  Out().Line(paint.Bold(PaddedLine(heads_, widths)));
  for (std::size_t i = 0; i < count; ++i) Out().Line(PaddedLine(row(i), widths));
}

Progress::Progress(std::size_t total) : total_(total) {}

void Progress::Step(const std::string& what) {
  ++done_;
  if (total_ < 2 || !sys::IsTerminal(kStandardError)) return;
  const std::int64_t now = sys::Milliseconds();
  if (shown_progress == this && now - shown_at_ < kProgressMilliseconds) return;
  shown_at_ = now;
  shown_progress = this;
  constexpr std::size_t kLongest = 60;
  std::string name = Visible(what);
  if (name.size() > kLongest) name = Repaired("..." + name.substr(name.size() - kLongest));
  sys::WriteMessage("\r\033[K" + std::to_string(done_) + "/" + std::to_string(total_) + " " + name);
}

void Progress::Clear() {
  if (shown_progress != this) return;
  sys::WriteMessage("\r\033[K");
  shown_progress = nullptr;
}

}  // namespace cli
