// Whether a message fits a filter.
#include "filter.h"

#include <algorithm>
#include <array>

namespace cli::queue {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool SameLetter(char of_text, char of_value) { return Lower(of_text) == of_value; }

bool Equals(std::string_view text, std::string_view value) {
  return std::equal(text.begin(), text.end(), value.begin(), value.end(), SameLetter);
}

bool Contains(std::string_view text, std::string_view value) {
  return std::search(text.begin(), text.end(), value.begin(), value.end(), SameLetter) !=
             text.end() ||
         value.empty();
}

bool IsPattern(std::string_view value) { return value.find_first_of("*?") != value.npos; }

// "*" stands for any bytes, "?" for one. Only the last "*" met is ever tried again, one byte
// further on, so that the work is at most the product of the lengths.
bool FitsPattern(std::string_view text, std::string_view pattern) {
  std::size_t t = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      retry = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || SameLetter(text[t], pattern[p]))) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++retry;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

bool IsNegated(Comparison comparison) {
  return comparison == Comparison::kNotEqual || comparison == Comparison::kNotLike;
}

bool FitsText(const Condition& condition, std::string_view text) {
  if (condition.comparison == Comparison::kEqual || condition.comparison == Comparison::kNotEqual)
    return Equals(text, condition.text);
  return IsPattern(condition.text) ? FitsPattern(text, condition.text)
                                   : Contains(text, condition.text);
}

// Any of the recipients, whole or by domain.
bool FitsRecipient(const Condition& condition, const Message& message) {
  const bool whole = condition.field == Field::kRecipient;
  return std::any_of(message.recipients.begin(), message.recipients.end(),
                     [&](const Recipient& recipient) {
                       const std::string_view address = recipient.address;
                       return FitsText(condition, whole ? address : DomainOf(address));
                     });
}

bool FitsTextField(const Condition& condition, const Message& message) {
  switch (condition.field) {
    case Field::kSender:
      return FitsText(condition, message.sender);
    case Field::kStatus:
      return FitsText(condition, message.status);
    case Field::kState:
      return FitsText(condition, message.state);
    case Field::kDirectory:
      return FitsText(condition, message.directory);
    case Field::kEnvelopeId:
      return FitsText(condition, message.envelope_id);
    default:
      return FitsRecipient(condition, message);
  }
}

struct Number {
  bool known = true;
  std::int64_t value = 0;
};

Number NumberOf(Field field, const Message& message, std::int64_t now) {
  switch (field) {
    case Field::kSize:
      return {message.size != kUnknown, message.size};
    case Field::kTries:
      return {true, message.tries};
    case Field::kRecipients:
      return {true, static_cast<std::int64_t>(message.recipients.size())};
    case Field::kPending:
      return {true, static_cast<std::int64_t>(message.pending)};
    case Field::kPart:
      return {true, message.part_number};
    case Field::kAge:
      return {message.created != 0, now - message.created};
    case Field::kCreated:
      return {message.created != 0, message.created};
    case Field::kChanged:
      return {message.changed != 0, message.changed};
    case Field::kRetry:
      return {true, message.retry_at};
    case Field::kHeld:
      return {true, message.held ? 1 : 0};
    case Field::kLocked:
      return {message.files_known, message.locked ? 1 : 0};
    case Field::kDelayNoticed:
      return {true, message.delay_noticed ? 1 : 0};
    default:
      return {true, message.id};
  }
}

bool FitsNumber(const Condition& condition, const Number& number) {
  if (IsNegated(condition.comparison) || condition.comparison == Comparison::kEqual) {
    return number.known == condition.known && (!number.known || number.value == condition.number);
  }
  if (!number.known || !condition.known) return false;
  switch (condition.comparison) {
    case Comparison::kLess:
      return number.value < condition.number;
    case Comparison::kLessOrEqual:
      return number.value <= condition.number;
    case Comparison::kGreater:
      return number.value > condition.number;
    default:
      return number.value >= condition.number;
  }
}

}  // namespace

bool FitsCondition(const Condition& condition, const Message& message, std::int64_t now) {
  const bool fits = condition.field <= Field::kEnvelopeId
                        ? FitsTextField(condition, message)
                        : FitsNumber(condition, NumberOf(condition.field, message, now));
  return fits != IsNegated(condition.comparison);
}

bool Filter::Fits(const Message& message) const {
  // One value waits for each operator that does, and one is at hand.
  std::array<bool, kDeepestFilter + 2> values{};
  std::size_t count = 0;
  for (const Step& step : steps_) {
    switch (step.verb) {
      case Verb::kCondition:
        values[count++] = FitsCondition(step.condition, message, now_);
        break;
      case Verb::kNot:
        values[count - 1] = !values[count - 1];
        break;
      case Verb::kAnd:
        --count;
        values[count - 1] = values[count - 1] && values[count];
        break;
      case Verb::kOr:
        --count;
        values[count - 1] = values[count - 1] || values[count];
        break;
    }
  }
  return steps_.empty() || values[0];
}

bool Filter::needs_files() const {
  return std::any_of(steps_.begin(), steps_.end(), [](const Step& step) {
    return step.verb == Verb::kCondition &&
           (step.condition.field == Field::kSize || step.condition.field == Field::kLocked);
  });
}

}  // namespace cli::queue
