// Reading a filter: operators wait on a stack of their own until what they bind has been read, so
// that nothing recurses and the work is linear.
#include "filter.h"

#include <optional>

#include "../failure.h"
#include "filter_values.h"
#include "platform/spool/names.h"

namespace cli::queue {
namespace {

constexpr std::size_t kShownBytes = 40;

enum class Kind { kText, kId, kCount, kSize, kDuration, kMoment, kSwitch };

struct FieldRow {
  std::string_view name;
  Field field;
  Kind kind;
};

constexpr FieldRow kFields[] = {
    {"sender", Field::kSender, Kind::kText},
    {"recipient", Field::kRecipient, Kind::kText},
    {"domain", Field::kDomain, Kind::kText},
    {"status", Field::kStatus, Kind::kText},
    {"state", Field::kState, Kind::kText},
    {"directory", Field::kDirectory, Kind::kText},
    {"envelope-id", Field::kEnvelopeId, Kind::kText},
    {"id", Field::kId, Kind::kId},
    {"size", Field::kSize, Kind::kSize},
    {"tries", Field::kTries, Kind::kCount},
    {"recipients", Field::kRecipients, Kind::kCount},
    {"pending", Field::kPending, Kind::kCount},
    {"part", Field::kPart, Kind::kCount},
    {"age", Field::kAge, Kind::kDuration},
    {"created", Field::kCreated, Kind::kMoment},
    {"changed", Field::kChanged, Kind::kMoment},
    {"retry", Field::kRetry, Kind::kMoment},
    {"held", Field::kHeld, Kind::kSwitch},
    {"locked", Field::kLocked, Kind::kSwitch},
    {"delay-noticed", Field::kDelayNoticed, Kind::kSwitch},
};

struct ComparisonRow {
  std::string_view sign;
  Comparison comparison;
};

// Longer signs first.
constexpr ComparisonRow kComparisons[] = {
    {"!=", Comparison::kNotEqual},    {"!~", Comparison::kNotLike},
    {"<=", Comparison::kLessOrEqual}, {">=", Comparison::kGreaterOrEqual},
    {"=", Comparison::kEqual},        {"~", Comparison::kLike},
    {"<", Comparison::kLess},         {">", Comparison::kGreater},
};

const char* ExampleOf(Kind kind) {
  switch (kind) {
    case Kind::kId:
      return "an id of eight hexadecimal digits";
    case Kind::kCount:
      return "a number, as 12";
    case Kind::kSize:
      return "a size, as 4096, 10k, 2M or 1G, or the word unknown";
    case Kind::kDuration:
      return "a duration, as 90s, 5m, 1h30m, 2d or 1w";
    case Kind::kMoment:
      return "a time, as now, now-2h, 2026-11-21 or 2026-11-21T10:30:00Z";
    default:
      return "yes or no";
  }
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return lowered;
}

bool IsOrder(Comparison comparison) { return comparison >= Comparison::kLess; }
bool IsLikeness(Comparison comparison) {
  return comparison == Comparison::kLike || comparison == Comparison::kNotLike;
}

}  // namespace

class FilterParser {
 public:
  FilterParser(std::string_view text, std::int64_t now, std::vector<Filter::Step>* steps)
      : text_(text), now_(now), steps_(*steps) {}

  void Read();

 private:
  // What waits for its right side, by how strongly it binds.
  enum class Waiting { kParenthesis, kOr, kAnd, kNot };

  void SkipBlanks();
  bool AtEnd() const { return at_ == text_.size(); }
  bool TakeSign(char sign);
  std::string_view PeekWord() const;
  std::optional<ComparisonRow> PeekComparison() const;

  bool ReadOperand();  // false: a "not" or "(" was read, and the operand is still to come
  bool ReadOperator();
  void ReadCondition();
  Comparison ReadComparison(const FieldRow& row);
  std::string ReadValue(const FieldRow& row);
  std::string ReadQuoted(char quote);
  void SetValue(const FieldRow& row, const std::string& value, std::size_t at,
                Condition* condition) const;
  std::optional<std::int64_t> NumberOf(Kind kind, const std::string& value) const;

  void Push(Waiting waiting);
  void Release(Waiting least);
  void CloseParenthesis();

  // Ends with the place, what was expected there and what stands there.
  [[noreturn]] void FailAt(std::size_t at, const std::string& what) const;

  std::string_view text_;
  std::int64_t now_;
  std::vector<Filter::Step>& steps_;
  std::vector<Waiting> waiting_;
  std::size_t at_ = 0;
};

void FilterParser::FailAt(std::size_t at, const std::string& what) const {
  std::string found = "the end";
  if (at < text_.size()) {
    const bool all = text_.size() - at <= kShownBytes;
    found = "\"" + std::string(text_.substr(at, kShownBytes)) + (all ? "\"" : "...\"");
  }
  throw Failure(ExitCode::kUsage, "filter, character " + std::to_string(at + 1) + ", at " + found +
                                      ": " + what + "; see 'qob queue list --help'");
}

void FilterParser::SkipBlanks() {
  while (!AtEnd() && IsBlank(text_[at_])) ++at_;
}

bool FilterParser::TakeSign(char sign) {
  SkipBlanks();
  if (AtEnd() || text_[at_] != sign) return false;
  ++at_;
  return true;
}

std::string_view FilterParser::PeekWord() const {
  std::size_t end = at_;
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  while (end < text_.size() && is_letter(text_[end])) ++end;
  return text_.substr(at_, end - at_);
}

std::optional<ComparisonRow> FilterParser::PeekComparison() const {
  for (const ComparisonRow& row : kComparisons) {
    if (text_.substr(at_).starts_with(row.sign)) return row;
  }
  return std::nullopt;
}

void FilterParser::Read() {
  if (text_.size() > kLongestFilter) {
    throw Failure(ExitCode::kUsage, "filter: it is longer than " + std::to_string(kLongestFilter) +
                                        " bytes: give ids on standard input instead");
  }
  SkipBlanks();
  if (AtEnd()) return;
  do {
    while (!ReadOperand()) {
    }
  } while (ReadOperator());
  Release(Waiting::kOr);
  if (!waiting_.empty()) FailAt(at_, "a \")\" is missing");
}

bool FilterParser::ReadOperand() {
  if (TakeSign('(')) {
    Push(Waiting::kParenthesis);
    return false;
  }
  const std::string word = Lowered(PeekWord());
  if (word == "not") {
    at_ += word.size();
    Push(Waiting::kNot);
    return false;
  }
  ReadCondition();
  Release(Waiting::kNot);
  return true;
}

// Closes parentheses until "and" or "or" promises a further operand.
bool FilterParser::ReadOperator() {
  while (TakeSign(')')) CloseParenthesis();
  if (AtEnd()) return false;
  const std::string word = Lowered(PeekWord());
  if (word != "and" && word != "or") FailAt(at_, "expected \"and\", \"or\" or the end");
  at_ += word.size();
  const Waiting verb = word == "and" ? Waiting::kAnd : Waiting::kOr;
  Release(verb);
  Push(verb);
  return true;
}

void FilterParser::Push(Waiting waiting) {
  if (waiting_.size() == kDeepestFilter) {
    FailAt(at_, "more than " + std::to_string(kDeepestFilter) +
                    " parentheses and \"not\"s lie in each other");
  }
  waiting_.push_back(waiting);
}

// What binds at least so strongly has its right side now.
void FilterParser::Release(Waiting least) {
  while (!waiting_.empty() && waiting_.back() >= least) {
    const Waiting verb = waiting_.back();
    steps_.push_back({verb == Waiting::kOr    ? Filter::Verb::kOr
                      : verb == Waiting::kAnd ? Filter::Verb::kAnd
                                              : Filter::Verb::kNot,
                      {}});
    waiting_.pop_back();
  }
}

void FilterParser::CloseParenthesis() {
  Release(Waiting::kOr);
  if (waiting_.empty()) FailAt(at_ - 1, "no \"(\" belongs to this");
  waiting_.pop_back();
  Release(Waiting::kNot);
}

void FilterParser::ReadCondition() {
  const std::size_t start = at_;
  const std::string word = Lowered(PeekWord());
  const FieldRow* row = nullptr;
  for (const FieldRow& candidate : kFields) {
    if (candidate.name == word) row = &candidate;
  }
  if (row == nullptr) {
    std::string names;
    for (const FieldRow& candidate : kFields)
      names += (names.empty() ? "" : " ") + std::string(candidate.name);
    FailAt(start, "expected a field: " + names);
  }
  at_ += word.size();
  Condition condition;
  condition.field = row->field;
  condition.number = 1;
  SkipBlanks();
  if (row->kind != Kind::kSwitch || PeekComparison().has_value()) {
    condition.comparison = ReadComparison(*row);
    SkipBlanks();
    const std::size_t value_at = at_;
    SetValue(*row, ReadValue(*row), value_at, &condition);
  }
  steps_.push_back({Filter::Verb::kCondition, std::move(condition)});
}

Comparison FilterParser::ReadComparison(const FieldRow& row) {
  const auto sign = PeekComparison();
  if (!sign.has_value()) {
    FailAt(at_, "expected a comparison: " +
                    std::string(row.kind == Kind::kText ? "= != ~ !~" : "= != < <= > >="));
  }
  const Comparison comparison = sign->comparison;
  if (row.kind == Kind::kText && IsOrder(comparison))
    FailAt(at_, std::string(row.name) + " is a text, which is compared with = != ~ !~");
  if (row.kind != Kind::kText && IsLikeness(comparison))
    FailAt(at_, std::string(row.name) + " is no text: compare it with = != < <= > >=");
  if (row.kind == Kind::kSwitch && IsOrder(comparison))
    FailAt(at_, std::string(row.name) + " is yes or no: compare it with = or !=");
  at_ += sign->sign.size();
  return comparison;
}

std::string FilterParser::ReadValue(const FieldRow& row) {
  if (TakeSign('"')) return ReadQuoted('"');
  if (TakeSign('\'')) return ReadQuoted('\'');
  const std::size_t start = at_;
  while (!AtEnd() && !IsBlank(text_[at_]) && text_[at_] != '(' && text_[at_] != ')') ++at_;
  if (at_ == start) {
    FailAt(at_, row.kind == Kind::kText ? "expected a value; \"\" is the empty text"
                                        : std::string("expected ") + ExampleOf(row.kind));
  }
  return std::string(text_.substr(start, at_ - start));
}

// A backslash takes the next character as it stands.
std::string FilterParser::ReadQuoted(char quote) {
  const std::size_t start = at_ - 1;
  std::string value;
  while (!AtEnd() && text_[at_] != quote) {
    if (text_[at_] == '\\' && at_ + 1 < text_.size()) ++at_;
    value += text_[at_++];
  }
  if (AtEnd()) FailAt(start, "the quote is not closed");
  ++at_;
  return value;
}

void FilterParser::SetValue(const FieldRow& row, const std::string& value, std::size_t at,
                            Condition* condition) const {
  if (row.kind == Kind::kText) {
    condition->text = Lowered(value);
    return;
  }
  if (row.kind == Kind::kSize && Lowered(value) == "unknown") {
    condition->known = false;
    return;
  }
  const auto number = NumberOf(row.kind, value);
  if (!number.has_value()) FailAt(at, std::string("expected ") + ExampleOf(row.kind));
  condition->number = *number;
}

std::optional<std::int64_t> FilterParser::NumberOf(Kind kind, const std::string& value) const {
  switch (kind) {
    case Kind::kId: {
      const auto id = qob::spool::ReadId(value);
      return id.has_value() ? std::optional<std::int64_t>(*id) : std::nullopt;
    }
    case Kind::kCount:
      return ReadCount(value);
    case Kind::kSize:
      return ReadSize(value);
    case Kind::kDuration:
      return ReadDuration(value);
    case Kind::kMoment:
      return ReadMoment(value, now_);
    default: {
      const std::string word = Lowered(value);
      if (word == "yes") return 1;
      return word == "no" ? std::optional<std::int64_t>(0) : std::nullopt;
    }
  }
}

Filter::Filter(std::string_view text, std::int64_t now) : now_(now) {
  FilterParser(text, now, &steps_).Read();
}

}  // namespace cli::queue
