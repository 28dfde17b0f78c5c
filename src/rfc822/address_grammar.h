// The grammar of one address (RFC 822 section 6.1, with the source routes and groups of that time).
//
//   address     = mailbox / group ";" / domain-literal      ; then a comma or the end of the text
//   group       = phrase ":" mailbox *("," mailbox)
//   mailbox     = addr-spec / [phrase] "<" [route ":"] addr-spec ">"
//   route       = "@" domain *(("," / ":") "@" domain)
//   addr-spec   = local-part ["@" domain]
//   local-part  = word *("." [word])
//   domain      = sub-domain *("." sub-domain)
//   phrase      = 1*word
//
// It needs one token of look-ahead and no stack: nothing in it is recursive.
#pragma once
#include <cstddef>
#include <string_view>

#include "rfc822/address_lexer.h"
#include "rfc822/joined_text.h"

namespace qob {

class AddressGrammar {
 public:
  explicit AddressGrammar(std::string_view text) : lexer_(text) {}

  // Parses the address at `position`. False when it is none; either way stop() tells where the list
  // goes on: behind the comma that ended the address, at the comma before which a bad one is given
  // up, or at the end of the text.
  bool Parse(std::size_t position);
  std::size_t stop() const { return stop_; }

  // Of the address that was parsed last; good until the next Parse.
  std::string_view address() const { return address_.view(); }
  std::string_view phrase() const { return phrase_.view(); }
  std::string_view local_part() const { return local_part_.view(); }
  std::string_view domain() const { return domain_.view(); }
  std::string_view comment() const { return lexer_.comment(); }
  std::size_t comments() const { return lexer_.comments(); }

 private:
  void Advance() { kind_ = lexer_.Next(); }
  bool At(AddressToken kind) const { return kind_ == kind; }
  bool AtWord() const { return At(AddressToken::kAtom) || At(AddressToken::kQuoted); }

  bool Address();
  void LoneLiteral();
  bool Group();
  bool Mailbox(bool may_begin_group);
  bool PhraseMailbox(std::string_view first, bool may_begin_group);
  bool AngleAddress();
  bool Route();
  bool AddressSpec(std::string_view first);
  void LocalPart(std::string_view first);
  bool Domain();
  std::size_t NextComma();

  AddressLexer lexer_;
  AddressToken kind_ = AddressToken::kEnd;
  bool group_ = false;  // a phrase and its colon have been read
  std::size_t stop_ = 0;
  JoinedText address_;  // the result
  JoinedText spec_;     // the value of the mailbox at hand
  JoinedText phrase_;
  JoinedText local_part_;
  JoinedText domain_;
  JoinedText route_;
};

}  // namespace qob
