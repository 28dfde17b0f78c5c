#include "rfc822/address_list.h"

#include <algorithm>

#include "platform/os/ascii.h"

namespace qob {
namespace {

bool IsTrimmed(char c) { return c == ',' || ascii::IsSpace(static_cast<unsigned char>(c)); }

bool HasOddQuotes(std::string_view text) {
  return std::count(text.begin(), text.end(), '"') % 2 != 0;
}

// The double quotes are odd in number; the byte behind a backslash is not looked at. `backslash` is
// the first one.
bool HasOddQuotes(std::string_view text, std::size_t backslash) {
  bool odd = HasOddQuotes(text.substr(0, backslash));
  while (text.size() - backslash > 2) {
    text.remove_prefix(backslash + 2);
    backslash = std::min(text.find('\\'), text.size());
    odd ^= HasOddQuotes(text.substr(0, backslash));
  }
  return odd;
}

// A backslash that is itself escaped does not pair with the quote behind it. `backslash` is the
// first one.
void BlankEscapedQuotes(std::span<char> text, std::size_t backslash) {
  for (std::size_t at = backslash; at + 1 < text.size(); ++at) {
    if (text[at] != '\\') continue;
    if (text[at + 1] == '"') text[at] = text[at + 1] = ' ';
    ++at;
  }
}

// The text to parse, made ready; empty when there is none.
std::string_view Prepare(std::span<char> text) {
  const std::string_view bytes(text.data(), text.size());
  const std::string_view list = bytes.substr(0, bytes.find('\0'));
  const std::size_t backslash = list.find('\\');
  if (backslash == std::string_view::npos) return HasOddQuotes(list) ? std::string_view() : list;
  if (HasOddQuotes(list, backslash)) return {};
  BlankEscapedQuotes(text.first(list.size()), backslash);
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
