// qob channel list and show: what waits on the channels of a queue.
#include <set>
#include <span>

#include "../commands.h"
#include "../flat_table.h"
#include "../json_writer.h"
#include "../output.h"
#include "../system.h"
#include "../system_terminal.h"
#include "channels.h"
#include "list.h"
#include "message_json.h"
#include "order.h"
#include "result_code.h"
#include "selection.h"
#include "tally_json.h"
#include "times.h"

namespace cli {
namespace {

using queue::Waiting;

constexpr const char* kListSchema = "qob.channel-list/1";
constexpr const char* kShowSchema = "qob.channel-show/1";
constexpr std::size_t kBlockBytes = 64 * 1024;
constexpr int kStandardOutput = 1;

queue::Tally TallyOf(const Waiting& waiting) {
  queue::Tally tally;
  for (const queue::Message* const message : waiting.messages) tally.Add(*message);
  return tally;
}

void PrintListJson(const queue::OpenQueue& queue, const std::vector<Waiting>& all,
                   std::int64_t now) {
  JsonWriter line;
  for (const Waiting& waiting : all) {
    line.BeginLine(kListSchema);
    line.Text("queue", queue.places()[waiting.channel->home].path);
    line.Text("channel", waiting.channel->name);
    queue::PutTally(TallyOf(waiting), now, &line);
    line.Number("stray_marks", static_cast<std::int64_t>(waiting.strays));
    line.EndLine();
  }
  Out().Write(line.text());
}

std::string Shown(std::optional<std::int64_t> number) {
  return number.has_value() ? std::to_string(*number) : "-";
}

void PrintList(const queue::OpenQueue& queue, const std::vector<Waiting>& all, std::int64_t now) {
  std::vector<FlatTable::Column> columns = {{"channel"},      {"messages", true}, {"held", true},
                                            {"locked", true}, {"pending", true},  {"bytes", true},
                                            {"oldest", true}};
  const bool places = queue.places().size() > 1;
  if (places) columns.push_back({"queue"});
  FlatTable table(columns);
  for (const Waiting& waiting : all) {
    const queue::Tally tally = TallyOf(waiting);
    const std::optional<std::int64_t> oldest = tally.OldestAge(now);
    table.Cell(waiting.channel->name);
    table.Cell(std::to_string(tally.messages));
    table.Cell(std::to_string(tally.held));
    table.Cell(Shown(tally.LockedIfKnown()));
    table.Cell(std::to_string(tally.pending));
    table.Cell(Shown(tally.BytesIfKnown()));
    table.Cell(oldest.has_value() ? queue::DurationText(*oldest) : "-");
    if (places) table.Cell(queue.places()[waiting.channel->home].path);
  }
  table.Print(Paint("never"), 0);
}

void PrintShowJson(const queue::OpenQueue& queue, const std::string& channel,
                   std::span<queue::Message* const> messages) {
  JsonWriter line;
  for (const queue::Message* const message : messages) {
    line.BeginLine(kShowSchema);
    line.Text("channel", channel);
    queue::PutMessage(queue, *message, &line);
    queue::PutRecipientStates(*message, &line);
    line.EndLine();
    if (line.text().size() < kBlockBytes) continue;
    Out().Write(line.text());
    line.Clear();
  }
  Out().Write(line.text());
}

void PrintShow(const Arguments& arguments, std::span<queue::Message* const> messages,
               std::int64_t now) {
  queue::ListStyle style;
  style.terminal = sys::IsTerminal(kStandardOutput);
  style.recipients = arguments.Has("--recipients");
  const std::size_t width = style.terminal ? sys::TerminalSize(kStandardOutput).columns : 0;
  queue::ListTable(messages, now, style).Print(Paint(arguments.Value("--color", "auto")), width);
  if (style.terminal) Out().Line(queue::ListSummary(messages));
}

// Of the messages of a channel those that the operands behind its name choose.
queue::Selection Choose(const Arguments& arguments, const queue::OpenQueue& queue,
                        queue::Snapshot* snapshot, const std::vector<Waiting>& all) {
  const std::vector<std::string> words(arguments.operands.begin() + 1, arguments.operands.end());
  const queue::Operands operands = queue::ReadOperands(words);
  queue::Selection chosen = queue::Choose(queue, snapshot, operands);
  std::set<const queue::Message*> wanted(chosen.messages.begin(), chosen.messages.end());
  chosen.messages.clear();
  for (const Waiting& waiting : all) {
    for (queue::Message* const message : waiting.messages) {
      if (wanted.erase(message) != 0) chosen.messages.push_back(message);
    }
  }
  if (operands.has_ids) {
    for (const queue::Message* const message : wanted) chosen.missing.push_back(message->id);
  }
  return chosen;
}

ExitCode CodeOf(const queue::Snapshot& snapshot, const queue::Selection& selection,
                const std::vector<Waiting>& all) {
  queue::TellStrays(all);
  return queue::CodeOf(snapshot, selection);
}

}  // namespace

ExitCode RunChannelList(const Arguments& arguments) {
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  const std::vector<queue::Channel> channels = queue::ReadChannels(queue);
  queue::Snapshot snapshot(queue);
  const std::vector<Waiting> all = queue::MatchChannels(queue, channels, &snapshot);
  for (const Waiting& waiting : all) snapshot.LookAtFiles(queue, waiting.messages);
  if (arguments.Has("--json")) {
    PrintListJson(queue, all, snapshot.taken_at());
  } else {
    PrintList(queue, all, snapshot.taken_at());
  }
  Out().Flush();
  return CodeOf(snapshot, {}, all);
}

ExitCode RunChannelShow(const Arguments& arguments) {
  const std::string& name = arguments.operands.front();
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  const std::vector<queue::Channel> channels = queue::ReadChannels(queue, name);
  queue::Snapshot snapshot(queue);
  const std::vector<Waiting> all = queue::MatchChannels(queue, channels, &snapshot);
  queue::Selection selection = Choose(arguments, queue, &snapshot, all);
  snapshot.LookAtFiles(queue, selection.messages);
  queue::Arrange(arguments, &selection.messages);
  if (arguments.Has("--json")) {
    PrintShowJson(queue, name, selection.messages);
  } else {
    PrintShow(arguments, selection.messages, snapshot.taken_at());
  }
  Out().Flush();
  return CodeOf(snapshot, selection, all);
}

}  // namespace cli
