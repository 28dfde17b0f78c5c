// Lists of addresses: the value of a To:, Cc: or From: field, or any recipient list.
//
// A list is split at the commas that end an address. What is no address costs only itself: the list
// goes on at the next comma. A list whose quotes do not pair is no list at all, because nobody
// could tell which commas it is made of.
#pragma once
#include <cstddef>
#include <span>
#include <string_view>

#include "rfc822/address_grammar.h"

namespace qob {

// Views good until the next call on the list. They may point into the list's text.
struct ParsedAddress {
  std::string_view
      address;  // normalised: without phrase, comments and (unless it has a route) brackets
  std::string_view raw_text;    // its own text, trimmed by TrimAddressText
  std::string_view phrase;      // words joined by one blank, quotes kept
  std::string_view comment;     // inner text of the last comment, at most 255 bytes
  std::string_view local_part;  // or the bare word
  std::string_view domain;
  std::size_t comments = 0;  // top-level comments met in it
};

// Without the white space and commas at both ends.
std::string_view TrimAddressText(std::string_view text);

class AddressList {
 public:
  // Takes text up to its first NUL. If the quotes pair, each backslash-quote pair of it becomes two
  // blanks, in place. The text must stay as it is while the list is read.
  explicit AddressList(std::span<char> text);

  // There is nothing to parse: the text is empty or its quotes do not pair.
  bool IsNone() const { return text_.empty(); }
  // False: no further address. Throws std::bad_alloc.
  bool Next(ParsedAddress* address);

  // The address is all that the text holds, commas and white space at the ends apart.
  bool IsWhole(const ParsedAddress& address) const {
    return address.raw_text.size() == TrimAddressText(text_).size();
  }

 private:
  std::string_view text_;  // empty when there is nothing to parse
  AddressGrammar grammar_;
  std::size_t position_ = 0;
};

}  // namespace qob
