// qob queue reasons: what was noted for the bounce of a message.
#include "../commands.h"
#include "../json_writer.h"
#include "../output.h"
#include "../utf8.h"
#include "reasons.h"
#include "result_code.h"
#include "selection.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.queue-reasons/1";

void PrintJson(const queue::OpenQueue& queue, const queue::Message& message,
               const queue::Reasons& reasons) {
  JsonWriter line;
  line.BeginLine(kSchema);
  line.Text("queue", queue.places()[message.home].path);
  line.Text("id", queue::IdText(message.id));
  if (reasons.known) {
    line.BeginList("reasons");
    for (const std::string& reason : reasons.lines) line.TextItem(reason);
    line.EndList();
  } else {
    line.Null("reasons");
  }
  line.EndLine();
  Out().Write(line.text());
}

}  // namespace

ExitCode RunQueueReasons(const Arguments& arguments) {
  queue::Operands operands;
  operands.has_ids = true;
  operands.ids = queue::ReadIds(arguments.operands);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  queue::Snapshot snapshot(queue, operands.ids);
  const queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  bool all_known = true;
  for (const queue::Message* const message : selection.messages) {
    const std::string base = queue.PathOf(*message);
    const queue::Reasons reasons = queue::ReadReasons(base);
    all_known = all_known && reasons.known;
    if (!reasons.known)
      Message(base + ".rea: cannot be read: run as the owner of the queue, or of its group");
    if (arguments.Has("--json")) {
      PrintJson(queue, *message, reasons);
      continue;
    }
    const std::string label =
        selection.messages.size() > 1 ? queue::IdText(message->id) + ": " : std::string();
    for (const std::string& line : reasons.lines) Out().Line(label + Visible(line));
  }
  Out().Flush();
  const ExitCode code = queue::CodeOf(snapshot, selection);
  return code == ExitCode::kOk && !all_known ? ExitCode::kNoPermission : code;
}

}  // namespace cli
