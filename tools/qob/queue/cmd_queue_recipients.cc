// qob queue recipients: one line for each recipient.
#include "../commands.h"
#include "../flat_table.h"
#include "../json_writer.h"
#include "../output.h"
#include "result_code.h"
#include "selection.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.queue-recipients/1";
constexpr std::size_t kBlockBytes = 256 * 1024;

// Calls with every message and recipient that the options leave.
template <class Visit>
void ForEachRecipient(const Arguments& arguments, const queue::Selection& selection, Visit visit) {
  const bool pending_only = arguments.Has("--pending");
  for (const queue::Message* const message : selection.messages) {
    for (const queue::Recipient& recipient : message->recipients) {
      if (!pending_only || recipient.pending()) visit(*message, recipient);
    }
  }
}

void PrintJson(const Arguments& arguments, const queue::OpenQueue& queue,
               const queue::Selection& selection) {
  JsonWriter line;
  ForEachRecipient(arguments, selection,
                   [&](const queue::Message& message, const queue::Recipient& recipient) {
                     line.BeginLine(kSchema);
                     line.Text("queue", queue.places()[message.home].path);
                     line.Text("id", queue::IdText(message.id));
                     line.Text("address", recipient.address);
                     line.Text("state", recipient.state);
                     line.Switch("pending", recipient.pending());
                     line.Text("second_text", recipient.second_text);
                     line.Text("third_text", recipient.third_text);
                     line.Number("notify_flags", recipient.notify_flags);
                     line.EndLine();
                     if (line.text().size() < kBlockBytes) return;
                     Out().Write(line.text());
                     line.Clear();
                   });
  Out().Write(line.text());
}

void PrintTable(const Arguments& arguments, const queue::Selection& selection) {
  FlatTable table({{"id"}, {"recipient"}, {"state"}});
  ForEachRecipient(
      arguments, selection, [&](const queue::Message& message, const queue::Recipient& recipient) {
        table.Cell(queue::IdText(message.id));
        table.Cell(recipient.address);
        table.Cell(recipient.pending() ? std::string_view("pending") : recipient.state.view());
      });
  table.Print(Paint("never"), 0);
}

}  // namespace

ExitCode RunQueueRecipients(const Arguments& arguments) {
  const queue::Operands operands = queue::ReadOperands(arguments.operands);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  queue::Snapshot snapshot(queue);
  const queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  if (arguments.Has("--json")) {
    PrintJson(arguments, queue, selection);
  } else {
    PrintTable(arguments, selection);
  }
  Out().Flush();
  return queue::CodeOf(snapshot, selection);
}

}  // namespace cli
