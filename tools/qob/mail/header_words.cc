#include "header_words.h"

#include <algorithm>
#include <vector>

#include "../utf8.h"
#include "values.h"

namespace cli::mail {
namespace {

constexpr std::string_view kFold = "\r\n ";
// With the name of any usual field before it a word of this length keeps within 76 columns.
constexpr std::size_t kLongestWord = 60;
// RFC 5322 allows 998 characters on a line; the name of the field stands before the text.
constexpr std::size_t kLongestLine = 900;
constexpr std::size_t kCharactersAtOnce = 45;
constexpr std::size_t kLongestSegment = 60;
constexpr char kHex[] = "0123456789ABCDEF";

bool IsLetterOrDigit(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

// What a Q word may hold anywhere, phrases included.
bool IsPlainInWord(char c) {
  return IsLetterOrDigit(c) || c == '!' || c == '*' || c == '+' || c == '-';
}

void AppendHex(char sign, char c, std::string* to) {
  const unsigned char byte = static_cast<unsigned char>(c);
  *to += sign;
  *to += kHex[byte >> 4];
  *to += kHex[byte & 15];
}

std::string QText(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    if (c == ' ') {
      text += '_';
    } else if (IsPlainInWord(c)) {
      text += c;
    } else {
      AppendHex('=', c, &text);
    }
  }
  return text;
}

std::string Word(std::string_view bytes, const WordCharset& charset) {
  const std::string q = QText(bytes);
  const std::string b = Base64(bytes);
  const bool use_q = q.size() <= b.size();
  return "=?" + charset.name + (use_q ? "?Q?" + q : "?B?" + b) + "?=";
}

std::string Bytes(std::string_view utf8, const WordCharset& charset) {
  if (!charset.convert) return std::string(utf8);
  return charset.convert(utf8).value_or(std::string());
}

// Where the first so many characters end, each behind the one before.
std::vector<std::size_t> CharacterEnds(std::string_view utf8) {
  std::vector<std::size_t> ends;
  for (std::size_t at = 0; at < utf8.size() && ends.size() < kCharactersAtOnce;) {
    at += NextCharacter(utf8.substr(at)).length;
    ends.push_back(at);
  }
  return ends;
}

// The longest beginning of the text whose word is not too long, at least one character.
std::string NextWord(std::string_view* utf8, const WordCharset& charset) {
  const std::vector<std::size_t> ends = CharacterEnds(*utf8);
  std::string word;
  std::size_t taken = ends.size();
  for (;; --taken) {
    word = Word(Bytes(utf8->substr(0, ends[taken - 1]), charset), charset);
    if (taken == 1 || word.size() <= kLongestWord) break;
  }
  utf8->remove_prefix(ends[taken - 1]);
  return word;
}

// Lines of printable ASCII, divided at blanks; false when one of them stays too long.
bool FoldAtBlanks(std::string_view text, std::string* folded) {
  while (text.size() > kLongestLine) {
    const std::size_t blank = text.rfind(' ', kLongestLine);
    if (blank == std::string_view::npos || text.find_first_not_of(' ') >= blank) return false;
    *folded += text.substr(0, blank);
    *folded += "\r\n";
    text.remove_prefix(blank);
  }
  *folded += text;
  // A line of blanks alone would end the header for some readers.
  return text.find_first_not_of(' ') != std::string_view::npos || folded->size() == text.size();
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

bool IsPlainPhrase(std::string_view text) {
  return !text.empty() && text.front() != ' ' && text.back() != ' ' &&
         text.find("  ") == std::string_view::npos &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return IsLetterOrDigit(c) || c == ' ' || c == '-' || c == '_' || c == '\'';
         });
}

bool IsPlainInExtended(char c) {
  return IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_' || c == '!' || c == '+';
}

// The text in the extended form, in segments that cut no character.
std::vector<std::string> ExtendedSegments(std::string_view utf8) {
  std::vector<std::string> segments(1);
  while (!utf8.empty()) {
    const std::size_t length = NextCharacter(utf8).length;
    std::string encoded;
    for (const char c : utf8.substr(0, length)) {
      if (IsPlainInExtended(c)) {
        encoded += c;
      } else {
        AppendHex('%', c, &encoded);
      }
    }
    if (segments.back().size() + encoded.size() > kLongestSegment) segments.emplace_back();
    segments.back() += encoded;
    utf8.remove_prefix(length);
  }
  return segments;
}

}  // namespace

std::string EncodedWords(std::string_view utf8, const WordCharset& wanted) {
  static const WordCharset kUtf8;
  const bool fits = !wanted.convert || wanted.convert(utf8).has_value();
  const WordCharset& charset = fits ? wanted : kUtf8;
  std::string result;
  while (!utf8.empty()) {
    if (!result.empty()) result += kFold;
    result += NextWord(&utf8, charset);
  }
  return result;
}

std::string HeaderText(std::string_view utf8, const WordCharset& charset) {
  const bool plain = IsPrintableAscii(utf8) && utf8.find("=?") == std::string_view::npos;
  std::string folded;
  if (plain && FoldAtBlanks(utf8, &folded)) return folded;
  return EncodedWords(utf8, charset);
}

std::string HeaderPhrase(std::string_view utf8, const WordCharset& charset) {
  if (!IsPrintableAscii(utf8) || utf8.find("=?") != std::string_view::npos ||
      utf8.size() > kLongestLine / 2)
    return EncodedWords(utf8, charset);
  return IsPlainPhrase(utf8) ? std::string(utf8) : Quoted(utf8);
}

std::string HeaderParameter(std::string_view name, std::string_view utf8) {
  const std::string start = ";" + std::string(kFold) + std::string(name);
  // Apostrophes outside of quotes are taken for those of the extended form by some readers.
  const bool bare = IsToken(utf8) && utf8.find('\'') == std::string_view::npos;
  if (IsPrintableAscii(utf8) && utf8.size() <= kLongestLine / 2)
    return start + "=" + (bare ? std::string(utf8) : Quoted(utf8));
  const std::vector<std::string> segments = ExtendedSegments(utf8);
  if (segments.size() == 1) return start + "*=UTF-8''" + segments.front();
  std::string result;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    result += start + "*" + std::to_string(i) + "*=" + (i == 0 ? "UTF-8''" : "") + segments[i];
  }
  return result;
}

std::string WordParameter(std::string_view name, std::string_view utf8,
                          const WordCharset& charset) {
  if (IsPrintableAscii(utf8)) return HeaderParameter(name, utf8);
  return ";" + std::string(kFold) + std::string(name) + "=\"" + EncodedWords(utf8, charset) + "\"";
}

}  // namespace cli::mail
