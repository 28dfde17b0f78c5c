// The filter language that all commands of the queue share.
//
//   filter     = term { "or" term }
//   term       = factor { "and" factor }
//   factor     = "not" factor | "(" filter ")" | condition
//   condition  = field operator value | switch [ ( "=" | "!=" ) ( "yes" | "no" ) ]
//   operator   = "=" | "!=" | "~" | "!~" | "<" | "<=" | ">" | ">="
//   value      = word | '"' characters '"' | "'" characters "'"
//
// Case of ASCII letters does not count. "~" asks whether the text contains the value or, where the
// value has "*" or "?", whether all of the text fits it. A field with several values (recipient,
// domain) fits when one of them does; "!=" and "!~" are always the opposite of "=" and "~". An
// order (<, <=, >, >=) of a value that is not known is false.
#ifndef TOOLS_QOB_QUEUE_FILTER_H
#define TOOLS_QOB_QUEUE_FILTER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "message.h"

namespace cli::queue {

enum class Field : std::uint8_t {
  // texts
  kSender,
  kRecipient,
  kDomain,
  kStatus,
  kState,
  kDirectory,
  kEnvelopeId,
  // numbers
  kId,
  kSize,
  kTries,
  kRecipients,
  kPending,
  kPart,
  // durations
  kAge,
  // times
  kCreated,
  kChanged,
  kRetry,
  // switches
  kHeld,
  kLocked,
  kDelayNoticed,
};

enum class Comparison : std::uint8_t {
  kEqual,
  kNotEqual,
  kLike,
  kNotLike,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
};

struct Condition {
  Field field = Field::kId;
  Comparison comparison = Comparison::kEqual;
  bool known = true;        // false: the value is "unknown"
  std::int64_t number = 0;  // of all but texts; a switch: 1 = yes
  std::string text;         // of texts, ASCII letters lower-case
};

class Filter {
 public:
  enum class Verb : std::uint8_t { kCondition, kAnd, kOr, kNot };
  struct Step {
    Verb verb = Verb::kCondition;
    Condition condition;
  };

  Filter() = default;  // fits everything
  // now: seconds since 1970, which ages and relative times are counted from. Throws Failure(kUsage)
  // that points at the place.
  Filter(std::string_view text, std::int64_t now);

  bool Fits(const Message& message) const;
  // It asks for sizes or locks: look at the files before Fits.
  bool needs_files() const;

 private:
  std::vector<Step> steps_;  // in reverse Polish notation; none = fits everything
  std::int64_t now_ = 0;
};

bool FitsCondition(const Condition& condition, const Message& message, std::int64_t now);

// Longer or deeper filters are refused.
inline constexpr std::size_t kLongestFilter = 65536;
inline constexpr std::size_t kDeepestFilter = 100;

}  // namespace cli::queue

#endif
