// qob queue watch: the queue as it changes, on a terminal or a given number of times.
#include <optional>

#include "../commands.h"
#include "../output.h"
#include "../system.h"
#include "../system_terminal.h"
#include "list.h"
#include "list_json.h"
#include "number_option.h"
#include "order.h"
#include "result_code.h"
#include "selection.h"
#include "times.h"

namespace cli {
namespace {

constexpr int kStandardOutput = 1;
constexpr std::size_t kDaySeconds = 24 * 60 * 60;
constexpr std::size_t kNoEnd = 0;

class Watch {
 public:
  Watch(const Arguments& arguments, const queue::OpenQueue& queue)
      : arguments_(arguments),
        queue_(queue),
        operands_(queue::ReadOperands(arguments.operands)),
        interval_(static_cast<std::int64_t>(
                      queue::NumberOption(arguments, "--interval", 2, 1, kDaySeconds)) *
                  1000),
        count_(queue::NumberOption(arguments, "--count", kNoEnd, 1, SIZE_MAX)) {}

  std::size_t count() const { return count_; }
  ExitCode PrintLists();
  ExitCode FillTerminal();

 private:
  struct Look {
    explicit Look(const queue::OpenQueue& queue) : snapshot(queue) {}
    queue::Snapshot snapshot;
    queue::Selection all;                   // what the operands choose
    std::vector<queue::Message*> arranged;  // in the order asked for, cut to the limit
  };

  std::unique_ptr<Look> LookAgain() const;
  std::string Picture(const Look& look, const sys::TerminalExtent& extent) const;

  const Arguments& arguments_;
  const queue::OpenQueue& queue_;
  queue::Operands operands_;
  std::int64_t interval_;
  std::size_t count_;
};

std::unique_ptr<Watch::Look> Watch::LookAgain() const {
  auto look = std::make_unique<Look>(queue_);
  look->all = queue::Choose(queue_, &look->snapshot, operands_);
  if (queue::SortsByFiles(arguments_)) look->snapshot.LookAtFiles(queue_, look->all.messages);
  look->arranged = look->all.messages;
  queue::Arrange(arguments_, &look->arranged);
  return look;
}

ExitCode Watch::PrintLists() {
  ExitCode code = ExitCode::kOk;
  for (std::size_t i = 0; i < count_; ++i) {
    if (i > 0) sys::Sleep(interval_);
    const auto look = LookAgain();
    look->snapshot.LookAtFiles(queue_, look->arranged);
    if (arguments_.Has("--json")) {
      queue::PrintListJson(queue_, look->arranged);
    } else {
      Out().Line(queue::LocalText(look->snapshot.taken_at()) + "  " +
                 queue::ListSummary(look->all.messages));
      queue::ListTable(look->arranged, look->snapshot.taken_at(), {}).Print(Paint("never"), 0);
      Out().Line("");
    }
    Out().Flush();
    code = queue::CodeOf(look->snapshot, look->all);
  }
  return code;
}

// The lines that the terminal has room for; each ends what stood there before.
std::string Watch::Picture(const Look& look, const sys::TerminalExtent& extent) const {
  const std::int64_t now = look.snapshot.taken_at();
  constexpr std::size_t kHeadLines = 3;
  const std::size_t room = extent.rows > kHeadLines + 1 ? extent.rows - kHeadLines - 1 : 1;
  std::vector<queue::Message*> shown = look.arranged;
  if (shown.size() > room) shown.resize(room);
  look.snapshot.LookAtFiles(queue_, shown);
  std::string head = queue::LocalText(now) + "  " + queue::ListSummary(look.all.messages);
  if (look.snapshot.left_out() > 0)
    head += ", " + std::to_string(look.snapshot.left_out()) + " damaged records";
  std::string text(CutToWidth(head, extent.columns));
  text += "\n\n";
  queue::ListStyle style;
  style.terminal = true;
  queue::ListTable(shown, now, style)
      .Append(Paint(arguments_.Value("--color", "auto")), extent.columns, &text);
  std::string picture = "\033[H";
  for (const char c : text) picture += c == '\n' ? std::string("\033[K\n") : std::string(1, c);
  return picture + "\033[J";
}

ExitCode Watch::FillTerminal() {
  std::size_t looks = 0;
  std::unique_ptr<Look> look;
  {
    sys::FullScreen screen;
    auto event = sys::FullScreen::Event::kTimeOut;
    while (event != sys::FullScreen::Event::kQuit) {
      look = LookAgain();
      Out().Write(Picture(*look, sys::TerminalSize(kStandardOutput)));
      Out().Flush();
      if (count_ != kNoEnd && ++looks == count_) break;
      event = screen.Wait(interval_);
    }
  }
  return queue::CodeOf(look->snapshot, look->all);
}

}  // namespace

ExitCode RunQueueWatch(const Arguments& arguments) {
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  Watch watch(arguments, queue);
  const bool terminal = sys::IsTerminal(kStandardOutput) && !arguments.Has("--json");
  if (terminal) return watch.FillTerminal();
  if (watch.count() == kNoEnd) {
    throw Failure(ExitCode::kUsage,
                  "queue watch: the output is no terminal: say with --count how often to look");
  }
  return watch.PrintLists();
}

}  // namespace cli
