// qob queue stats: what waits, counted, for people, programs and monitoring systems.
#include <algorithm>
#include <vector>

#include "../commands.h"
#include "../flat_table.h"
#include "../json_writer.h"
#include "../output.h"
#include "../utf8.h"
#include "files_ahead.h"
#include "number_option.h"
#include "result_code.h"
#include "selection.h"
#include "tally.h"
#include "tally_json.h"
#include "times.h"

namespace cli {
namespace {

using queue::Counts;
using queue::DomainTally;
using queue::Tally;
using MaybeNumber = std::optional<std::int64_t>;
using DomainRow = std::pair<const std::string, DomainTally>;

constexpr const char* kSchema = "qob.queue-stats/1";

std::int64_t Signed(std::size_t count) { return static_cast<std::int64_t>(count); }

MaybeNumber DomainAge(const DomainTally& domain, std::int64_t now) {
  Tally tally;
  tally.oldest = domain.oldest;
  return tally.OldestAge(now);
}

// The domains with the most pending recipients first.
std::vector<const DomainRow*> TopDomains(const Counts& counts, std::size_t limit) {
  std::vector<const DomainRow*> rows;
  for (const DomainRow& row : counts.domains) rows.push_back(&row);
  std::stable_sort(rows.begin(), rows.end(), [](const DomainRow* a, const DomainRow* b) {
    return a->second.pending > b->second.pending;
  });
  if (rows.size() > limit) rows.resize(limit);
  return rows;
}

// What a report is made of.
struct Report {
  Counts counts;
  std::vector<const DomainRow*> domains;
  std::int64_t now = 0;
  std::size_t orphans = 0;   // recipients without a message
  std::size_t left_out = 0;  // records that cannot be used
};

// ---- JSON ----

void PrintJson(const Report& report) {
  JsonWriter line;
  line.BeginLine(kSchema);
  queue::PutTally(report.counts.all, report.now, &line);
  line.Number("orphan_recipients", Signed(report.orphans));
  line.Number("damaged_records", Signed(report.left_out));
  line.BeginList("directories");
  for (const auto& [directory, tally] : report.counts.directories) {
    line.Begin();
    line.Text("directory", directory);
    queue::PutTally(tally, report.now, &line);
    line.End();
  }
  line.EndList();
  line.BeginList("domains");
  for (const DomainRow* const row : report.domains) {
    line.Begin();
    line.Text("domain", row->first);
    line.Number("messages", Signed(row->second.messages));
    line.Number("pending", Signed(row->second.pending));
    queue::PutNumber("oldest_age", DomainAge(row->second, report.now), &line);
    line.End();
  }
  line.EndList();
  line.EndLine();
  Out().Write(line.text());
}

// ---- the text format of monitoring systems ----

std::string LabelValue(std::string_view text) {
  std::string value;
  for (const char c : Visible(text)) {
    if (c == '\\' || c == '"') value += '\\';
    value += c;
  }
  return value;
}

// One measure with its value for every label; labels without a value are left out.
class Measure {
 public:
  Measure(const char* name, const char* help, const char* label)
      : name_(std::string("qob_queue_") + name), label_(label) {
    Out().Line("# HELP " + name_ + " " + help);
    Out().Line("# TYPE " + name_ + " gauge");
  }

  void Value(std::string_view label, MaybeNumber number) const {
    if (number.has_value()) {
      Out().Line(name_ + "{" + label_ + "=\"" + LabelValue(label) + "\"} " +
                 std::to_string(*number));
    }
  }
  void Value(std::size_t number) const { Out().Line(name_ + " " + std::to_string(number)); }

 private:
  std::string name_;
  const char* label_;
};

struct DirectoryMeasure {
  const char* name;
  const char* help;
  MaybeNumber (*value)(const Tally&, std::int64_t now);
};

constexpr DirectoryMeasure kDirectoryMeasures[] = {
    {"messages", "Messages in the queue.",
     [](const Tally& tally, std::int64_t) -> MaybeNumber { return Signed(tally.messages); }},
    {"held_messages", "Messages that are held.",
     [](const Tally& tally, std::int64_t) -> MaybeNumber { return Signed(tally.held); }},
    {"locked_messages", "Messages that a program has locked.",
     [](const Tally& tally, std::int64_t) { return tally.LockedIfKnown(); }},
    {"recipients", "Recipients of all messages.",
     [](const Tally& tally, std::int64_t) -> MaybeNumber { return Signed(tally.recipients); }},
    {"pending_recipients", "Recipients that are still pending.",
     [](const Tally& tally, std::int64_t) -> MaybeNumber { return Signed(tally.pending); }},
    {"bytes", "Bytes of the message files.",
     [](const Tally& tally, std::int64_t) { return tally.BytesIfKnown(); }},
    {"oldest_message_age_seconds", "Age of the oldest message.",
     [](const Tally& tally, std::int64_t now) { return tally.OldestAge(now); }},
};

void PrintPrometheus(const Report& report) {
  for (const DirectoryMeasure& row : kDirectoryMeasures) {
    const Measure measure(row.name, row.help, "directory");
    for (const auto& [directory, tally] : report.counts.directories)
      measure.Value(directory, row.value(tally, report.now));
  }
  Measure("orphan_recipients", "Recipients without a message.", "").Value(report.orphans);
  Measure("damaged_records", "Records that cannot be used.", "").Value(report.left_out);
  const Measure pending("domain_pending_recipients", "Pending recipients of a domain.", "domain");
  for (const DomainRow* const row : report.domains)
    pending.Value(row->first, Signed(row->second.pending));
  const Measure age("domain_oldest_message_age_seconds",
                    "Age of the oldest message with a pending recipient of the domain.", "domain");
  for (const DomainRow* const row : report.domains)
    age.Value(row->first, DomainAge(row->second, report.now));
}

// ---- for people ----

std::string Shown(MaybeNumber number) { return number.has_value() ? std::to_string(*number) : "-"; }

std::string ShownAge(MaybeNumber age) { return age.has_value() ? queue::DurationText(*age) : "-"; }

void AddRow(std::string_view name, const Tally& tally, std::int64_t now, FlatTable* table) {
  table->Cell(name);
  table->Cell(std::to_string(tally.messages));
  table->Cell(std::to_string(tally.held));
  table->Cell(Shown(tally.LockedIfKnown()));
  table->Cell(std::to_string(tally.recipients));
  table->Cell(std::to_string(tally.pending));
  table->Cell(Shown(tally.BytesIfKnown()));
  table->Cell(ShownAge(tally.OldestAge(now)));
}

void PrintTables(const Report& report) {
  FlatTable directories({{"directory"},
                         {"messages", true},
                         {"held", true},
                         {"locked", true},
                         {"recipients", true},
                         {"pending", true},
                         {"bytes", true},
                         {"oldest", true}});
  AddRow("TOTAL", report.counts.all, report.now, &directories);
  for (const auto& [directory, tally] : report.counts.directories)
    AddRow(directory.empty() ? "-" : directory, tally, report.now, &directories);
  directories.Print(Paint("never"), 0);
  if (report.orphans > 0)
    Out().Line(std::to_string(report.orphans) + " recipients without a message");
  if (report.domains.empty()) return;
  Out().Line("");
  FlatTable domains({{"domain"}, {"messages", true}, {"pending", true}, {"oldest", true}});
  for (const DomainRow* const row : report.domains) {
    domains.Cell(row->first.empty() ? "-" : row->first);
    domains.Cell(std::to_string(row->second.messages));
    domains.Cell(std::to_string(row->second.pending));
    domains.Cell(ShownAge(DomainAge(row->second, report.now)));
  }
  domains.Print(Paint("never"), 0);
}

}  // namespace

ExitCode RunQueueStats(const Arguments& arguments) {
  const queue::Operands operands = queue::ReadOperands(arguments.operands);
  const std::size_t limit = queue::NumberOption(arguments, "--limit", SIZE_MAX, 0, SIZE_MAX);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  std::future<queue::FilesOfPlaces> ahead = queue::LookAhead(queue);
  queue::Snapshot snapshot(queue);
  snapshot.TakeFiles(ahead.get());
  const queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  Report report;
  report.counts = queue::CountMessages(queue, selection.messages);
  report.domains = TopDomains(report.counts, limit);
  report.now = snapshot.taken_at();
  report.left_out = snapshot.left_out();
  for (const queue::Message& orphan : snapshot.orphans())
    report.orphans += orphan.recipients.size();
  if (arguments.Has("--json")) {
    PrintJson(report);
  } else if (arguments.Has("--prometheus")) {
    PrintPrometheus(report);
  } else {
    PrintTables(report);
  }
  Out().Flush();
  return queue::CodeOf(snapshot, selection);
}

}  // namespace cli
