#include "mailbox.h"

#include <algorithm>
#include <utility>

#include "../failure.h"
#include "values.h"

namespace cli::mail {
namespace {

// The records of the queue hold 511 bytes with the host that a bare name gets.
constexpr std::size_t kLongestAddress = 320;
constexpr std::size_t kLongestLocalPart = 128;

bool IsLetterOrDigit(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

bool IsAtom(char c) {
  return IsLetterOrDigit(c) ||
         std::string_view("!#$%&'*+-/=?^_`{|}~.").find(c) != std::string_view::npos;
}

// Brackets inside a quoted local part are taken for those around an address by too many readers.
bool IsQuotedLocalPart(std::string_view text) {
  if (text.size() < 3 || text.front() != '"' || text.back() != '"') return false;
  text = text.substr(1, text.size() - 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escaped = text[i] == '\\';
    if (escaped && ++i == text.size()) return false;
    if (text[i] == '<' || text[i] == '>' || (text[i] == '"' && !escaped)) return false;
  }
  return IsPrintableAscii(text);
}

bool IsLocalPart(std::string_view text) {
  if (text.empty() || text.size() > kLongestLocalPart) return false;
  return std::all_of(text.begin(), text.end(), IsAtom) || IsQuotedLocalPart(text);
}

bool IsDomain(std::string_view text) {
  if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
    text = text.substr(1, text.size() - 2);
    return std::all_of(text.begin(), text.end(), [](char c) {
      return IsLetterOrDigit(c) || c == '.' || c == ':' || c == '-';
    });
  }
  if (text.empty() || text.front() == '.' || text.back() == '.' || text.front() == '-')
    return false;
  return text.find("..") == std::string_view::npos &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return IsLetterOrDigit(c) || c == '.' || c == '-' || c == '_'; });
}

// Walks a text of addresses: where is a sign that is not inside quotes, comments or brackets?
class Walk {
 public:
  // Takes the next character; true when it stands outside of all.
  bool Outside(char c) {
    if (escaped_) {
      escaped_ = false;
      return false;
    }
    if (c == '\\' && (quoted_ || comment_ > 0)) {
      escaped_ = true;
      return false;
    }
    if (quoted_) {
      quoted_ = c != '"';
      return false;
    }
    if (c == '(') ++comment_;
    if (comment_ > 0) {
      if (c == ')') --comment_;
      return false;
    }
    quoted_ = c == '"';
    return !quoted_;
  }
  bool InComment() const { return comment_ > 0; }
  bool Ended() const { return !quoted_ && comment_ == 0 && !escaped_; }

 private:
  bool quoted_ = false;
  bool escaped_ = false;
  int comment_ = 0;
};

Failure NotAnAddress(const std::string& what, std::string_view text, const std::string& why) {
  return Failure(ExitCode::kData, what + ": \"" + std::string(text) + "\" is no address: " + why);
}

// A name without its quotes and their escapes.
std::string Unquoted(std::string_view text) {
  std::string name;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') continue;
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    name += text[i];
  }
  return name;
}

// A text with its comments taken out, and the inner text of the last one.
struct Parted {
  std::string text;
  std::string comment;
  bool ended = false;
};

Parted WithoutComments(std::string_view text) {
  Parted parted;
  Walk walk;
  bool inside = false;
  for (const char c : text) {
    walk.Outside(c);
    const bool was_inside = std::exchange(inside, walk.InComment());
    if (!inside && !was_inside) parted.text += c;
    if (inside && !was_inside) parted.comment.clear();
    if (inside && was_inside) parted.comment += c;
  }
  parted.ended = walk.Ended();
  return parted;
}

// The signs around an address, outside of quotes.
struct Brackets {
  std::size_t open = std::string_view::npos;
  std::size_t close = std::string_view::npos;
};

Brackets FindBrackets(std::string_view text) {
  Brackets brackets;
  Walk walk;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!walk.Outside(text[i])) continue;
    if (text[i] == '<' && brackets.open == std::string_view::npos) brackets.open = i;
    if (text[i] == '>') brackets.close = i;
  }
  return brackets;
}

Mailbox Parse(const std::string& what, std::string_view text) {
  const Parted parted = WithoutComments(text);
  if (!parted.ended) throw NotAnAddress(what, text, "a quote or a bracket is not closed");
  const std::string_view rest = Trimmed(parted.text);
  const Brackets brackets = FindBrackets(rest);
  Mailbox mailbox;
  if (brackets.open == std::string_view::npos) {
    mailbox.address = rest;
    mailbox.name = Unquoted(Trimmed(parted.comment));
  } else if (brackets.close == rest.size() - 1) {
    mailbox.name = Unquoted(Trimmed(rest.substr(0, brackets.open)));
    mailbox.address = Trimmed(rest.substr(brackets.open + 1, brackets.close - brackets.open - 1));
  } else {
    throw NotAnAddress(what, text, "give one like Ann Example <ann@example.org>");
  }
  RequireAddress(what, mailbox.address);
  return mailbox;
}

// Calls visit for each item of a list; a group's name and its end are left out.
template <typename Visit>
void ForEachItem(std::string_view text, Visit visit) {
  Walk walk;
  std::size_t start = 0;
  bool in_brackets = false;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const bool outside = i == text.size() || walk.Outside(text[i]);
    const char c = i < text.size() && outside ? text[i] : '\0';
    if (c == '<' || c == '[') in_brackets = true;
    if (c == '>' || c == ']') in_brackets = false;
    if (c == ':' && !in_brackets) start = i + 1;
    if (i < text.size() && c != ',' && c != ';') continue;
    const std::string_view item = Trimmed(text.substr(start, i - start));
    if (!item.empty()) visit(item);
    start = i + 1;
  }
}

}  // namespace

void RequireAddress(const std::string& what, std::string_view address) {
  const std::size_t at = address.rfind('@');
  const std::string_view local = address.substr(0, at);
  if (address.starts_with('-'))
    throw NotAnAddress(what, address, "it begins with a dash, which programs take for an option");
  if (std::any_of(address.begin(), address.end(), [](char c) { return (c & 0x80) != 0; }))
    throw NotAnAddress(what, address, "only ASCII can stand in it; write the domain as xn--...");
  if (address.size() > kLongestAddress) throw NotAnAddress(what, address, "it is too long");
  if (!IsLocalPart(local) || (at != std::string_view::npos && !IsDomain(address.substr(at + 1))))
    throw NotAnAddress(what, address, "give one like ann@example.org");
}

std::vector<Mailbox> ParseMailboxes(const std::string& what, std::string_view text) {
  RequireText(what, text);
  std::vector<Mailbox> mailboxes;
  ForEachItem(text, [&](std::string_view item) { mailboxes.push_back(Parse(what, item)); });
  return mailboxes;
}

std::vector<std::string> AddressesOfField(const std::string& what, std::string_view value) {
  std::vector<std::string> addresses;
  ForEachItem(value,
              [&](std::string_view item) { addresses.push_back(Parse(what, item).address); });
  return addresses;
}

std::string HeaderForm(const Mailbox& mailbox, const WordCharset& charset) {
  if (mailbox.name.empty()) return mailbox.address;
  return HeaderPhrase(mailbox.name, charset) + " <" + mailbox.address + ">";
}

}  // namespace cli::mail
