#include "rfc822/address_lexer.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qob {
namespace {

// What a byte is beside being part of an atom.
enum : std::uint8_t { kSpace = 1, kDot = 2, kSpecial = 4 };

constexpr std::array<std::uint8_t, 256> kKinds = [] {
  std::array<std::uint8_t, 256> kinds{};
  for (char c : std::string_view(" \t\n\v\f\r")) kinds[static_cast<unsigned char>(c)] = kSpace;
  for (char c : std::string_view(":,;<>@\"[(")) kinds[static_cast<unsigned char>(c)] = kSpecial;
  kinds[static_cast<unsigned char>('.')] = kDot;
  return kinds;
}();

std::uint8_t KindOf(char c) { return kKinds[static_cast<unsigned char>(c)]; }

// The end of the quoted string whose inside begins at `inner`: behind the closing quote, or the end
// of the text.
std::size_t QuotedEnd(std::string_view text, std::size_t inner) {
  std::size_t at = inner;
  while (at < text.size()) {
    const char c = text[at++];
    if (c == '"') return at;
    if (c == '\\' && at < text.size()) ++at;
  }
  return at;
}

}  // namespace

void AddressLexer::Begin(std::size_t position) {
  position_ = position;
  dot_in_atom_ = true;
  comment_ = {};
  comments_ = 0;
}

AddressToken AddressLexer::Next() {
  for (;;) {
    while (position_ < text_.size() && KindOf(text_[position_]) == kSpace) ++position_;
    start_ = position_;
    if (position_ == text_.size()) return AddressToken::kEnd;
    if (text_[position_] != '(') break;
    if (!SkipComment()) return AddressToken::kError;
  }
  switch (text_[position_]) {
    case ':':
      return Special(AddressToken::kColon, false);
    case ',':
      return Special(AddressToken::kComma, true);
    case ';':
      return Special(AddressToken::kSemicolon, false);
    case '<':
      return Special(AddressToken::kLess, false);
    case '>':
      return Special(AddressToken::kGreater, true);
    case '@':
      return Special(AddressToken::kAt, true);
    case '"':
      return Quoted();
    case '[':
      return Literal();
    case '.':
      return dot_in_atom_ ? Atom() : Special(AddressToken::kDot, false);
    default:
      return Atom();
  }
}

AddressToken AddressLexer::Special(AddressToken kind, bool ends_atom_dots) {
  token_ = text_.substr(start_, 1);
  position_ = start_ + 1;
  if (ends_atom_dots) dot_in_atom_ = false;
  return kind;
}

AddressToken AddressLexer::Atom() {
  const int ends = dot_in_atom_ ? kSpace | kSpecial : kSpace | kSpecial | kDot;
  const std::string_view text = text_;
  std::size_t at = start_ + 1;
  while (at < text.size() && (KindOf(text[at]) & ends) == 0) ++at;
  token_ = text.substr(start_, at - start_);
  position_ = at;
  return AddressToken::kAtom;
}

AddressToken AddressLexer::Quoted() {
  position_ = QuotedEnd(text_, start_ + 1);
  token_ = text_.substr(start_, position_ - start_);
  return AddressToken::kQuoted;
}

AddressToken AddressLexer::Literal() {
  const std::size_t close =
      no_more_closing_brackets_ ? std::string_view::npos : text_.find(']', start_ + 1);
  if (close == std::string_view::npos) {
    no_more_closing_brackets_ = true;
    position_ = start_ + 1;
    return AddressToken::kError;
  }
  position_ = close + 1;
  token_ = text_.substr(start_, std::min(position_ - start_, kLiteralLimit));
  return AddressToken::kLiteral;
}

// False, and the position behind the "(", when the comment at start_ is not closed.
bool AddressLexer::SkipComment() {
  const std::size_t inner = start_ + 1;
  position_ = inner;
  if (!open_comments_.empty() && open_comments_[start_]) return false;
  const std::size_t end = CommentEnd(inner);
  if (end == std::string_view::npos) {
    FindOpenComments();
    return false;
  }
  position_ = end;
  comment_ = text_.substr(inner, std::min(end - 1 - inner, kCommentLimit));
  ++comments_;
  return true;
}

// Behind the parenthesis that closes the comment whose inside begins at `inner`, or npos. Nested
// parentheses count, except in quoted strings and behind a backslash.
std::size_t AddressLexer::CommentEnd(std::size_t inner) const {
  std::size_t depth = 1;
  bool quoted = false;
  for (std::size_t at = inner; at < text_.size(); ++at) {
    const char c = text_[at];
    if (c == '\\') {
      ++at;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (!quoted && c == '(') {
      ++depth;
    } else if (!quoted && c == ')' && --depth == 0) {
      return at + 1;
    }
  }
  return std::string_view::npos;
}

// Marks every "(" from which CommentEnd would find no end, in one pass.
//
// Whether a parenthesis counts depends on the place where the comment begins only through the
// number of quotes between them, odd or even. So there are two ways to read the text, and each "("
// begins a comment in the one in which it stands outside of quotes; each way has its own stack of
// what is still open. A "(" behind a backslash is no nested parenthesis to the comment around it,
// but would begin a comment if the lexer came to it; it waits on the stack without being a partner
// of anything.
void AddressLexer::FindOpenComments() {
  struct Waiting {
    std::size_t position;
    bool counts;
  };
  std::array<std::vector<Waiting>, 2> waiting;
  open_comments_.assign(text_.size(), false);
  std::size_t reading = 0;
  bool escaped = false;
  for (std::size_t at = 0; at < text_.size(); ++at) {
    const char c = text_[at];
    const bool counts = !escaped;
    escaped = counts && c == '\\';
    std::vector<Waiting>& stack = waiting[reading];
    if (c == '(') {
      stack.push_back({at, counts});
      open_comments_[at] = true;
    } else if (c == ')' && counts) {
      bool partner = false;
      while (!stack.empty() && !partner) {
        open_comments_[stack.back().position] = false;
        partner = stack.back().counts;
        stack.pop_back();
      }
    } else if (c == '"' && counts) {
      reading = 1 - reading;
    }
  }
}

}  // namespace qob
