#include "encoded_text.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <qob3xapi/rfc1522.h>

#include "system.h"

namespace cli {
namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using HeapText = std::unique_ptr<char, FreeText>;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// An encoded word at the start of a text: "=?charset?X?data?=".
struct Word {
  std::string_view charset;  // without a language
  std::string_view data;
  bool is_q = false;
  std::size_t length = 0;  // 0: no word
};

bool IsTokenEnd(char c) { return c == '?' || c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The text up to the next "?"; empty when white space or the end comes first.
std::string_view Field(std::string_view text) {
  std::size_t end = 0;
  while (end < text.size() && !IsTokenEnd(text[end])) ++end;
  return end < text.size() && text[end] == '?' ? text.substr(0, end) : std::string_view();
}

// The bytes of one word, decoded by the library.
std::string BytesOf(const Word& word) {
  std::string text = word.is_q ? "=?x?Q?" : "=?x?B?";
  for (const char c : word.data) {
    if (word.is_q && c == '_') {
      text += "=20";
    } else {
      text += c;
    }
  }
  const HeapText decoded(rfc1522decoding_wmc((text + "?=").c_str()));
  return decoded == nullptr ? std::string() : std::string(decoded.get());
}

bool SameCharset(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (Lower(left[i]) != Lower(right[i])) return false;
  }
  return true;
}

class Decoder {
 public:
  explicit Decoder(std::string_view text) : text_(text), last_close_(text.rfind("?=")) {}
  std::string Decode();

 private:
  Word WordAt(std::size_t at) const;
  std::size_t AfterBlanks(std::size_t at) const {
    return std::min(text_.find_first_not_of(" \t\r\n", at), text_.size());
  }
  std::size_t DecodeRun(std::size_t start);

  std::string_view text_;
  std::size_t last_close_;  // beyond it no word can end: that keeps a text of half words linear
  std::string result_;
};

Word Decoder::WordAt(std::size_t at) const {
  Word word;
  if (last_close_ == std::string_view::npos || at >= last_close_) return word;
  const std::string_view text = text_.substr(at);
  if (!text.starts_with("=?")) return word;
  const std::string_view charset = Field(text.substr(2));
  std::string_view rest = text.substr(2 + charset.size());
  if (charset.empty() || rest.size() < 3 || rest[2] != '?') return word;
  const char encoding = Lower(rest[1]);
  if (encoding != 'q' && encoding != 'b') return word;
  rest.remove_prefix(3);
  const std::size_t end = rest.find("?=");
  if (end == std::string_view::npos) return word;
  word.charset = charset.substr(0, charset.find('*'));
  word.data = rest.substr(0, end);
  word.is_q = encoding == 'q';
  word.length = text.size() - rest.size() + end + 2;
  return word;
}

// Decodes the neighbouring words of one character set that begin at start; the position behind
// them.
std::size_t Decoder::DecodeRun(std::size_t start) {
  Word word = WordAt(start);
  const std::string_view charset = word.charset;
  std::string bytes;
  std::size_t end = start;
  std::size_t next = start;
  while (word.length != 0 && SameCharset(charset, word.charset)) {
    bytes += BytesOf(word);
    end = next + word.length;
    next = AfterBlanks(end);
    word = WordAt(next);
  }
  const auto decoded = sys::ToUtf8(bytes, std::string(charset));
  result_ += decoded.has_value() ? *decoded : std::string(text_.substr(start, end - start));
  return word.length != 0 ? next : end;  // blanks before one more word are dropped
}

std::string Decoder::Decode() {
  std::size_t at = 0;
  while (at < text_.size()) {
    const std::size_t start = std::min(text_.find("=?", at), text_.size());
    result_ += text_.substr(at, start - at);
    at = start;
    if (at == text_.size()) break;
    if (WordAt(at).length != 0) {
      at = DecodeRun(at);
    } else {
      result_ += "=?";
      at += 2;
    }
  }
  return result_;
}

}  // namespace

std::string TextInUtf8(std::string_view bytes, std::string_view charset) {
  return sys::ToUtf8(bytes, std::string(charset)).value_or(std::string(bytes));
}

std::string DecodedText(std::string_view text) { return Decoder(text).Decode(); }

}  // namespace cli
