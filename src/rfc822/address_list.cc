#include "rfc822/address_list.h"

#include <algorithm>

#include "platform/os/ascii.h"

namespace qob {
namespace {

bool IsTrimmed(char c) { return c == ',' || ascii::IsSpace(static_cast<unsigned char>(c)); }

// The double quotes of the text are odd in number; the byte behind a backslash is not looked at.
bool QuotesAreOdd(std::string_view text) {
  bool odd = false;
  for (std::size_t at = text.find_first_of("\"\\"); at < text.size();
       at = text.find_first_of("\"\\", at)) {
    if (text[at] == '"') {
      odd = !odd;
      ++at;
    } else {
      at += 2;
    }
  }
  return odd;
}

// A backslash that is itself escaped does not pair with the quote behind it.
void BlankEscapedQuotes(std::span<char> text) {
  for (std::size_t at = 0; at + 1 < text.size(); ++at) {
    if (text[at] != '\\') continue;
    if (text[at + 1] == '"') text[at] = text[at + 1] = ' ';
    ++at;
  }
}

// The text to parse, made ready; empty when there is none.
std::string_view Prepare(std::span<char> text) {
  const std::string_view bytes(text.data(), text.size());
  const std::string_view list = bytes.substr(0, bytes.find('\0'));
  if (list.find('\\') != std::string_view::npos) {
    if (QuotesAreOdd(list)) return {};
    BlankEscapedQuotes(text.first(list.size()));
  } else if (std::count(list.begin(), list.end(), '"') % 2 != 0) {
    return {};
  }
  return list;
}

}  // namespace

std::string_view TrimAddressText(std::string_view text) {
  while (!text.empty() && IsTrimmed(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsTrimmed(text.back())) text.remove_suffix(1);
  return text;
}

AddressList::AddressList(std::span<char> text) : text_(Prepare(text)), grammar_(text_) {}

bool AddressList::Next(ParsedAddress* address) {
  while (position_ < text_.size()) {
    if (text_[position_] == ',') ++position_;
    const std::size_t start = position_;
    const bool good = grammar_.Parse(start);
    position_ = grammar_.stop();
    if (!good) continue;
    address->address = grammar_.address();
    address->raw_text = TrimAddressText(text_.substr(start, position_ - start));
    address->phrase = grammar_.phrase();
    address->comment = grammar_.comment();
    address->local_part = grammar_.local_part();
    address->domain = grammar_.domain();
    address->comments = grammar_.comments();
    return true;
  }
  return false;
}

}  // namespace qob
