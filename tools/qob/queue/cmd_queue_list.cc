// qob queue list: the messages of a queue, one line each.
#include "../commands.h"
#include "../output.h"
#include "../system.h"
#include "../system_memory.h"
#include "../system_terminal.h"
#include "files_ahead.h"
#include "list.h"
#include "list_json.h"
#include "order.h"
#include "result_code.h"
#include "selection.h"

namespace cli {
namespace {

constexpr int kStandardOutput = 1;

void PrintTable(const Arguments& arguments, std::span<queue::Message* const> messages,
                std::int64_t now) {
  queue::ListStyle style;
  style.terminal = sys::IsTerminal(kStandardOutput);
  style.recipients = arguments.Has("--recipients");
  const std::size_t width = style.terminal ? sys::TerminalSize(kStandardOutput).columns : 0;
  queue::ListTable(messages, now, style).Print(Paint(arguments.Value("--color", "auto")), width);
  if (style.terminal) Out().Line(queue::ListSummary(messages));
}

}  // namespace

ExitCode RunQueueList(const Arguments& arguments) {
  sys::KeepFreedMemory();
  const queue::Operands operands = queue::ReadOperands(arguments.operands);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  const bool all = operands.ids.empty() && operands.filter.empty() && !arguments.Has("--limit");
  std::future<queue::FilesOfPlaces> ahead;
  if (all) ahead = queue::LookAhead(queue);
  queue::Snapshot snapshot(queue);
  if (all) snapshot.TakeFiles(ahead.get());
  queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  if (queue::SortsByFiles(arguments)) snapshot.LookAtFiles(queue, selection.messages);
  queue::Arrange(arguments, &selection.messages);
  snapshot.LookAtFiles(queue, selection.messages);
  if (arguments.Has("--json")) {
    queue::PrintListJson(queue, selection.messages);
  } else {
    PrintTable(arguments, selection.messages, snapshot.taken_at());
  }
  Out().Flush();
  return queue::CodeOf(snapshot, selection);
}

}  // namespace cli
