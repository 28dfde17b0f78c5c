#include "status_reader.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace cli::notify {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool Same(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// RFC 3464 sections 2.2 and 2.3. What is repeated or belongs to a recipient begins a new one.
constexpr std::array kOfMessage = {"Original-Envelope-Id", "Reporting-MTA", "DSN-Gateway",
                                   "Received-From-MTA", "Arrival-Date"};
constexpr std::array kOfRecipient = {"Original-Recipient", "Final-Recipient", "Action", "Status"};

template <typename Names>
bool IsOneOf(const Names& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(), [&](const char* one) { return Same(one, name); });
}

HeaderField FieldOfLine(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return {"", std::string(Trimmed(line))};
  const std::string_view name = Trimmed(line.substr(0, colon));
  const bool printable =
      std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 127; });
  if (name.empty() || !printable) return {"", std::string(Trimmed(line))};
  return {std::string(name), std::string(Trimmed(line.substr(colon + 1)))};
}

class Reader {
 public:
  void TakeLine(std::string_view line) {
    if (Trimmed(line).empty()) {
      closed_ = begun_;
      last_ = nullptr;
    } else if (IsBlank(line.front()) && last_ != nullptr) {
      if (!last_->value.empty()) last_->value += ' ';
      last_->value += Trimmed(line);
    } else {
      Add(FieldOfLine(line));
    }
  }
  // A group in which nothing names a recipient tells more of the message.
  StatusText Take() {
    StatusText whole;
    whole.message = std::move(status_.message);
    for (Fields& group : status_.recipients) {
      const bool named = std::any_of(group.begin(), group.end(), [](const HeaderField& field) {
        return IsOneOf(kOfRecipient, field.name);
      });
      if (named) {
        whole.recipients.push_back(std::move(group));
      } else {
        std::move(group.begin(), group.end(), std::back_inserter(whole.message));
      }
    }
    return whole;
  }

 private:
  void Add(HeaderField field) {
    last_ = nullptr;
    if (count_++ >= kMostFields) return;
    Fields* const group = GroupOf(field.name);
    begun_ = true;
    if (group == nullptr) return;
    group->push_back(std::move(field));
    last_ = &group->back();
  }
  // Where a field of that name belongs; null when there are too many recipients.
  Fields* GroupOf(std::string_view name) {
    if (IsOneOf(kOfMessage, name)) {
      in_recipient_ = closed_ = false;
      return &status_.message;
    }
    const bool open = in_recipient_ && !closed_;
    if (IsOneOf(kOfRecipient, name)) {
      const bool again = open && FieldOf(status_.recipients.back(), name) != nullptr;
      return open && !again ? &status_.recipients.back() : NewRecipient();
    }
    if (open) return &status_.recipients.back();
    return closed_ ? NewRecipient() : &status_.message;
  }
  Fields* NewRecipient() {
    closed_ = false;
    in_recipient_ = status_.recipients.size() < kMostRecipients;
    return in_recipient_ ? &status_.recipients.emplace_back() : nullptr;
  }

  StatusText status_;
  std::size_t count_ = 0;
  HeaderField* last_ = nullptr;  // to be continued
  bool begun_ = false;           // a field was met
  bool closed_ = false;          // an empty line stands behind the last field
  bool in_recipient_ = false;    // the last field was a recipient's
};

}  // namespace

TypedText SplitType(std::string_view value) {
  const std::size_t semicolon = value.find(';');
  if (semicolon == std::string_view::npos) return {"", std::string(Trimmed(value))};
  return {std::string(Trimmed(value.substr(0, semicolon))),
          std::string(Trimmed(value.substr(semicolon + 1)))};
}

const std::string* FieldOf(const Fields& fields, std::string_view name) {
  for (const HeaderField& field : fields) {
    if (Same(field.name, name)) return &field.value;
  }
  return nullptr;
}

StatusText ReadStatusText(std::string_view text) {
  Reader reader;
  while (!text.empty()) {
    const std::size_t feed = text.find('\n');
    const std::size_t length = feed == std::string_view::npos ? text.size() : feed + 1;
    reader.TakeLine(text.substr(0, length));
    text.remove_prefix(length);
  }
  return reader.Take();
}

std::optional<bool> IsFailure(const Fields& recipient) {
  const std::string* const action = FieldOf(recipient, "Action");
  if (action == nullptr || action->empty()) return std::nullopt;
  return Same(*action, "failed");
}

}  // namespace cli::notify
