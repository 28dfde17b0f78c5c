#include "rfc822/address_grammar.h"

namespace qob {

bool AddressGrammar::Parse(std::size_t position) {
  for (JoinedText* text : {&address_, &phrase_, &local_part_, &domain_}) text->Clear();
  lexer_.Begin(position);
  Advance();
  const bool good = Address();
  stop_ = good ? lexer_.position() : NextComma();
  return good;
}

bool AddressGrammar::Address() {
  if (At(AddressToken::kLiteral)) {
    LoneLiteral();
  } else {
    group_ = false;
    if (!Mailbox(true)) return false;
    if (!group_) {
      address_ = spec_;
    } else if (!Group()) {
      return false;
    }
  }
  return At(AddressToken::kEnd) || At(AddressToken::kComma);
}

// An element that is neither mailbox nor group: "[10.0.0.1]".
void AddressGrammar::LoneLiteral() {
  address_.Assign(lexer_.token());
  local_part_ = address_;
  Advance();
}

// The colon behind the group's phrase is the token at hand.
bool AddressGrammar::Group() {
  address_ = phrase_;
  address_.Append(':', {});
  char glue = ' ';
  do {
    Advance();
    domain_.Clear();
    if (!Mailbox(false)) return false;
    if (glue == ',') address_.Append(",");
    glue = ',';
    address_.Append(" ");
    address_.Append(spec_.view());
  } while (At(AddressToken::kComma));
  if (!At(AddressToken::kSemicolon)) return false;
  address_.Append(";");
  Advance();
  return true;
}

bool AddressGrammar::Mailbox(bool may_begin_group) {
  if (At(AddressToken::kLess)) return AngleAddress();
  if (!AtWord()) return false;
  const std::string_view first = lexer_.token();
  Advance();
  if (AtWord() || At(AddressToken::kLess) || (may_begin_group && At(AddressToken::kColon))) {
    return PhraseMailbox(first, may_begin_group);
  }
  return AddressSpec(first);
}

bool AddressGrammar::PhraseMailbox(std::string_view first, bool may_begin_group) {
  phrase_.Assign(first);
  for (; AtWord(); Advance()) phrase_.Append(' ', lexer_.token());
  if (At(AddressToken::kLess)) return AngleAddress();
  group_ = may_begin_group && At(AddressToken::kColon);
  return group_;
}

// The left angle is the token at hand. Without a route the brackets are dropped; with one they are
// part of the address.
bool AddressGrammar::AngleAddress() {
  Advance();
  const bool routed = At(AddressToken::kAt);
  if (routed && !Route()) return false;
  if (!AtWord()) return false;
  const std::string_view first = lexer_.token();
  Advance();
  if (!AddressSpec(first) || !At(AddressToken::kGreater)) return false;
  Advance();
  if (routed) {
    route_.Append(':', spec_.view());
    route_.Append(">");
    spec_ = route_;
  }
  return true;
}

// From the first at-sign to behind the colon that ends the route; the text begins with the left
// angle.
bool AddressGrammar::Route() {
  route_.Assign("<");
  for (;;) {
    Advance();
    if (!Domain()) return false;
    route_.Append('@', domain_.view());
    const bool colon = At(AddressToken::kColon);
    if (!colon && !At(AddressToken::kComma)) return false;
    Advance();
    if (!At(AddressToken::kAt)) return colon;
    route_.Append(colon ? ":" : ",");
  }
}

bool AddressGrammar::AddressSpec(std::string_view first) {
  LocalPart(first);
  const bool has_domain = At(AddressToken::kAt);
  spec_ = local_part_;
  if (!has_domain) return true;
  Advance();
  if (!Domain()) return false;
  spec_.Append('@', domain_.view());
  return true;
}

void AddressGrammar::LocalPart(std::string_view first) {
  local_part_.Assign(first);
  while (At(AddressToken::kDot)) {
    Advance();
    if (AtWord()) {
      local_part_.Append('.', lexer_.token());
      Advance();
    } else {
      local_part_.Append('.', {});
    }
  }
}

bool AddressGrammar::Domain() {
  const auto at_sub_domain = [&] { return At(AddressToken::kAtom) || At(AddressToken::kLiteral); };
  if (!at_sub_domain()) return false;
  domain_.Assign(lexer_.token());
  Advance();
  while (At(AddressToken::kDot)) {
    Advance();
    if (!at_sub_domain()) return false;
    domain_.Append('.', lexer_.token());
    Advance();
  }
  return true;
}

// Where the list goes on after a bad address: at the first comma from the offending token on that
// is not part of a quoted string, a comment or a literal. Behind a bracket that is never closed
// every comma counts.
std::size_t AddressGrammar::NextComma() {
  if (!At(AddressToken::kError)) lexer_.Seek(lexer_.start());
  while (!At(AddressToken::kError)) {
    Advance();
    if (At(AddressToken::kEnd) || At(AddressToken::kComma)) return lexer_.start();
  }
  const std::string_view text = lexer_.text();
  const std::size_t comma = text.find(',', lexer_.position());
  return comma == std::string_view::npos ? text.size() : comma;
}

}  // namespace qob
