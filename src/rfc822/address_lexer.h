// The words of address lists (RFC 822 section 3.3), as this system reads them.
//
// Two things differ from the RFC and callers rely on them. A dot is part of an atom until an
// at-sign, a comma or a right angle has been met in the address, so that "john.smith" is one word
// and "B. Two" may stand in a phrase. And ")", "]" and a stray backslash are ordinary characters of
// an atom.
//
// An unclosed comment or domain literal is found by reading to the end of the text. To keep a text
// full of them linear, the first such failure makes the lexer remember which brackets have no
// partner.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qob {

enum class AddressToken : std::uint8_t {
  kEnd,
  kComma,
  kColon,
  kSemicolon,
  kLess,
  kGreater,
  kAt,
  kDot,
  kAtom,
  kQuoted,   // delimiters included
  kLiteral,  // delimiters included, cut to kLiteralLimit
  kError,    // a "(" or "[" that is never closed
};

class AddressLexer {
 public:
  static constexpr std::size_t kCommentLimit = 255;
  static constexpr std::size_t kLiteralLimit = 511;

  explicit AddressLexer(std::string_view text) : text_(text) {}

  // The next address begins at `position`: dots belong to atoms again, no comment has been met.
  void Begin(std::size_t position);
  AddressToken Next();

  // Where the last token begins and what it says.
  std::size_t start() const { return start_; }
  std::string_view token() const { return token_; }
  // Where the next token is looked for.
  std::size_t position() const { return position_; }
  void Seek(std::size_t position) { position_ = position; }

  // The inner text of the last comment since Begin, cut to kCommentLimit; how many comments there
  // were.
  std::string_view comment() const { return comment_; }
  std::size_t comments() const { return comments_; }

  std::string_view text() const { return text_; }

 private:
  AddressToken Special(AddressToken kind, bool ends_atom_dots);
  AddressToken Atom();
  AddressToken Quoted();
  AddressToken Literal();
  bool SkipComment();
  std::size_t CommentEnd(std::size_t inner) const;
  void FindOpenComments();

  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t start_ = 0;
  std::string_view token_;
  std::string_view comment_;
  std::size_t comments_ = 0;
  bool dot_in_atom_ = true;
  bool no_more_closing_brackets_ = false;
  std::vector<bool> open_comments_;  // by position of "("; empty until one was found
};

}  // namespace qob
