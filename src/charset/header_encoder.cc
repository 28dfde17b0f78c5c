// Takes header values apart (comments, or the parts of one address) and encodes each part for
// itself.
#include "charset/header_encoder.h"

#include <array>
#include <new>

#include "charset/word_encoder.h"
#include "platform/os/ascii.h"
#include "rfc822/address_list.h"

namespace qob {
namespace {

void StripTrailingBlanks(TextBuffer* text, std::size_t keep) {
  while (text->size() > keep && text->back() == ' ') text->pop_back();
}

// Alternates between text and comments; a comment ends at the first ")".
std::string EncodeWithComments(std::string_view text, const EncodingSettings& settings) {
  const WordStyle style(settings.charset, settings.base64);
  TextBuffer result;
  WordEncoder encoder(style, &result);
  for (;;) {
    const std::size_t open = text.find('(');
    const std::size_t close = open == text.npos ? text.npos : text.find(')', open);
    if (close == text.npos) break;
    const std::size_t start = result.size();
    encoder.Append(text.substr(0, open));
    StripTrailingBlanks(&result, start);
    result.Append(settings.tight_comments ? "(" : " (");
    encoder.Append(text.substr(open + 1, close - open - 1));
    result.Append(')');
    text.remove_prefix(close + 1);
  }
  encoder.Append(text);
  StripTrailingBlanks(&result, 1);
  return std::string(result.view());
}

// False for several words without any of the characters that make an address of more than one: free
// text like most subjects, which need not be parsed.
bool MayBeAddress(std::string_view text) {
  constexpr auto kSpecial = [] {
    std::array<bool, 256> table{};
    for (char c : std::string_view("@<>:;,\"([")) table[static_cast<unsigned char>(c)] = true;
    return table;
  }();
  bool word_begun = false;
  bool word_ended = false;
  bool several_words = false;
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (kSpecial[byte]) return true;
    const bool space = ascii::IsSpace(byte);
    several_words |= word_ended && !space;
    word_ended |= word_begun && space;
    word_begun |= !space;
  }
  return !several_words;
}

// One address, and nothing but it. A comment that was cut to its limit is not all of the text
// either.
bool IsOneAddress(AddressList* list, ParsedAddress* address) {
  return list->Next(address) && list->IsWhole(*address) && address->comments <= 1 &&
         address->comment.size() < AddressLexer::kCommentLimit;
}

// The encoded part; the part as it is when memory runs out meanwhile.
std::string EncodePart(std::string_view part, const EncodingSettings& settings) {
  try {
    return EncodeHeaderText(part, settings);
  } catch (const std::bad_alloc&) {
    return std::string(part);
  }
}

std::string EncodePhrase(std::string_view phrase, const EncodingSettings& settings) {
  const bool quoted = phrase.size() >= 2 && phrase.front() == '"' && phrase.back() == '"';
  if (!quoted) return EncodePart(phrase, settings);
  // The words stand inside the quotes on purpose; the phrase stays one quoted string.
  return '"' + EncodePart(phrase.substr(1, phrase.size() - 2), settings) + '"';
}

// A group or a source route stands alone: a phrase before it would not be read as an address again.
bool StandsAlone(std::string_view address) {
  return address.starts_with('<') || address.ends_with(';');
}

std::string EncodeAddress(const ParsedAddress& address, const EncodingSettings& settings) {
  std::string result;
  if (!address.phrase.empty() && !StandsAlone(address.address))
    result = EncodePhrase(address.phrase, settings);
  if (!address.address.empty()) {
    const std::string encoded = EncodePart(address.address, settings);
    result = result.empty() ? encoded : result + " <" + encoded + ">";
  }
  if (!address.comment.empty()) {
    const std::string encoded = EncodePart(address.comment, settings);
    result = result.empty() ? encoded : result + " (" + encoded + ")";
  }
  return result;
}

}  // namespace

EncodingSettings SettingsForCharset(std::string_view charset) {
  EncodingSettings settings;
  settings.base64 = true;
  settings.tight_comments = true;
  settings.charset = charset;
  return settings;
}

std::string EncodeHeaderText(std::string_view text, const EncodingSettings& settings) {
  if (!settings.enabled || (!settings.tight_comments && !HasEightBit(text)))
    return std::string(text);
  return EncodeWithComments(text, settings);
}

std::string EncodeHeaderValue(std::string_view value, const EncodingSettings& settings) {
  if (!HasEightBit(value)) return std::string(value);
  if (!MayBeAddress(value)) return EncodeHeaderText(value, settings);
  std::string copy(value);  // reading a list writes blanks over escaped quotes
  AddressList list(copy);
  ParsedAddress address;
  if (IsOneAddress(&list, &address)) return EncodeAddress(address, settings);
  return EncodeHeaderText(value, settings);
}

}  // namespace qob
