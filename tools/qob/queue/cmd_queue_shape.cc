// qob queue shape: pending recipients by domain and age, which shows where old mail piles up.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <vector>

#include "../commands.h"
#include "../flat_table.h"
#include "../json_writer.h"
#include "../output.h"
#include "number_option.h"
#include "result_code.h"
#include "selection.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.queue-shape/1";
constexpr std::size_t kMostBuckets = 32;

struct Row {
  std::size_t total = 0;
  std::size_t unknown_age = 0;
  std::array<std::size_t, kMostBuckets> buckets{};
};

class Shape {
 public:
  Shape(const Arguments& arguments, std::int64_t now)
      : now_(now),
        by_sender_(arguments.Has("--sender")),
        buckets_(queue::NumberOption(arguments, "--buckets", 10, 1, kMostBuckets)),
        first_minutes_(queue::NumberOption(arguments, "--minutes", 5, 1, 1'000'000)) {}

  void Add(const queue::Message& message);
  // The domains with the most first.
  void Sort(std::size_t limit);
  void PrintTable() const;
  void PrintJson() const;

 private:
  void Count(const queue::Message& message, std::string_view domain);
  void AddTo(Row* row, const queue::Message& message) const;
  std::int64_t MinutesOf(std::size_t bucket) const {
    return static_cast<std::int64_t>(first_minutes_) << bucket;
  }
  void AddCells(std::string_view domain, const Row& row, FlatTable* table) const;
  void AppendJson(const std::string* domain, const Row& row, JsonWriter* line) const;

  std::int64_t now_;
  bool by_sender_;
  std::size_t buckets_;
  std::size_t first_minutes_;
  Row total_;
  std::map<std::string, Row, std::less<>> domains_;
  std::vector<const std::pair<const std::string, Row>*> sorted_;
};

void Shape::Add(const queue::Message& message) {
  if (by_sender_) return Count(message, queue::DomainOf(message.sender));
  for (const queue::Recipient& recipient : message.recipients) {
    if (recipient.pending()) Count(message, queue::DomainOf(recipient.address));
  }
}

void Shape::Count(const queue::Message& message, std::string_view domain) {
  std::string key(domain);
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  AddTo(&domains_[key], message);
  AddTo(&total_, message);
}

void Shape::AddTo(Row* row, const queue::Message& message) const {
  ++row->total;
  if (message.created == 0) {
    ++row->unknown_age;
    return;
  }
  const std::int64_t minutes = (now_ - message.created) / 60;
  std::size_t bucket = 0;
  while (bucket + 1 < buckets_ && minutes >= MinutesOf(bucket)) ++bucket;
  ++row->buckets[bucket];
}

void Shape::Sort(std::size_t limit) {
  for (const auto& domain : domains_) sorted_.push_back(&domain);
  std::stable_sort(sorted_.begin(), sorted_.end(),
                   [](const auto* a, const auto* b) { return a->second.total > b->second.total; });
  if (sorted_.size() > limit) sorted_.resize(limit);
}

void Shape::AddCells(std::string_view domain, const Row& row, FlatTable* table) const {
  table->Cell(domain);
  table->Cell(std::to_string(row.total));
  for (std::size_t i = 0; i < buckets_; ++i) table->Cell(std::to_string(row.buckets[i]));
  if (total_.unknown_age > 0) table->Cell(std::to_string(row.unknown_age));
}

void Shape::PrintTable() const {
  std::vector<std::string> heads;
  for (std::size_t i = 0; i + 1 < buckets_; ++i) heads.push_back(std::to_string(MinutesOf(i)));
  heads.push_back(buckets_ == 1 ? "0+" : heads.back() + "+");
  std::vector<FlatTable::Column> columns = {{by_sender_ ? "sender's domain" : "domain"},
                                            {"total", true}};
  for (const std::string& head : heads) columns.push_back({head, true});
  if (total_.unknown_age > 0) columns.push_back({"age unknown", true});
  FlatTable table(columns);
  AddCells("TOTAL", total_, &table);
  for (const auto* row : sorted_)
    AddCells(row->first.empty() ? std::string_view("-") : row->first, row->second, &table);
  table.Print(Paint("never"), 0);
}

void Shape::AppendJson(const std::string* domain, const Row& row, JsonWriter* line) const {
  line->BeginLine(kSchema);
  if (domain == nullptr) {
    line->Null("domain");
  } else {
    line->Text("domain", *domain);
  }
  line->Number("total", static_cast<std::int64_t>(row.total));
  line->Number("age_unknown", static_cast<std::int64_t>(row.unknown_age));
  line->BeginList("buckets");
  for (std::size_t i = 0; i < buckets_; ++i) {
    line->Begin();
    line->NumberIf("below_minutes", i + 1 < buckets_, MinutesOf(i));
    line->Number("count", static_cast<std::int64_t>(row.buckets[i]));
    line->End();
  }
  line->EndList();
  line->EndLine();
}

void Shape::PrintJson() const {
  JsonWriter line;
  AppendJson(nullptr, total_, &line);
  for (const auto* row : sorted_) AppendJson(&row->first, row->second, &line);
  Out().Write(line.text());
}

}  // namespace

ExitCode RunQueueShape(const Arguments& arguments) {
  const queue::Operands operands = queue::ReadOperands(arguments.operands);
  const std::size_t limit = queue::NumberOption(arguments, "--limit", SIZE_MAX, 0, SIZE_MAX);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  queue::Snapshot snapshot(queue);
  Shape shape(arguments, snapshot.taken_at());
  const queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  for (const queue::Message* const message : selection.messages) shape.Add(*message);
  shape.Sort(limit);
  if (arguments.Has("--json")) {
    shape.PrintJson();
  } else {
    shape.PrintTable();
  }
  Out().Flush();
  return queue::CodeOf(snapshot, selection);
}

}  // namespace cli
