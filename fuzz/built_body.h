// The bodies that the builders write, read again by plain decoders of their own.
#pragma once
#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>

#include <qob3xapi/util.h>

#include "charset/japanese_model.h"

namespace fuzz {

inline std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  return lower;
}

// The bytes of base64 text in lines of 72 characters; none when it has another form.
inline std::optional<std::string> FromBase64(std::string_view text) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int held = 0;
  std::size_t column = 0;
  if (!text.ends_with("\r\n")) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') {
      const bool last = i + 2 >= text.size() || text.substr(i + 2) == "\r\n";
      if ((column != 72 && !last) || text[++i] != '\n') return std::nullopt;
      column = 0;
      continue;
    }
    ++column;
    if (text[i] == '=') continue;
    const std::size_t value = kAlphabet.find(text[i]);
    if (value == std::string_view::npos || column > 72) return std::nullopt;
    bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes += static_cast<char>(bits >> held & 0xFF);
  }
  return bytes;
}

// The bytes of quoted-printable text in lines of at most 76 characters.
inline std::optional<std::string> FromQuoted(std::string_view text) {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string bytes;
  std::size_t column = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    column = text[i] == '\n' ? 0 : column + (text[i] == '\r' ? 0 : 1);
    if (column > 76) return std::nullopt;
    if (text[i] != '=') {
      bytes += text[i];
      continue;
    }
    if (text.substr(i + 1, 2) == "\r\n") {
      i += 2;
      column = 0;
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const std::size_t high = kDigits.find(text[i + 1]);
    const std::size_t low = kDigits.find(text[i + 2]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    bytes += static_cast<char>(high << 4 | low);
    i += 2;
    column += 2;
  }
  return bytes;
}

// The bytes of a uuencoded block.
inline std::optional<std::string> FromUu(std::string_view text) {
  const auto line = [&]() -> std::optional<std::string_view> {
    const std::size_t end = text.find("\r\n");
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view found = text.substr(0, end);
    text.remove_prefix(end + 2);
    return found;
  };
  const auto six = [](char c) { return (static_cast<unsigned>(c) - 32) & 63; };
  std::string bytes;
  const auto begin = line();
  if (!begin || !begin->starts_with("begin 666 ") || !begin->ends_with(" ")) return std::nullopt;
  for (;;) {
    const auto row = line();
    if (!row || row->empty()) return std::nullopt;
    const std::size_t count = six((*row)[0]);
    if (row->size() != 1 + (count + 2) / 3 * 4) return std::nullopt;
    if (count == 0) break;
    for (std::size_t i = 0; i < count; ++i) {
      const char* const group = row->data() + 1 + i / 3 * 4;
      const unsigned bits =
          six(group[0]) << 18 | six(group[1]) << 12 | six(group[2]) << 6 | six(group[3]);
      bytes += static_cast<char>(bits >> (16 - 8 * (i % 3)) & 0xFF);
    }
  }
  return text == "end\r\n\r\n" ? std::optional(bytes) : std::nullopt;
}

// A message without the envelope lines at its beginning.
inline std::string_view WithoutEnvelope(std::string_view body) {
  while (body.size() >= 2 && body[0] == '#' &&
         std::string_view("FRDfrd").find(body[1]) != body.npos) {
    const std::size_t end = body.find('\n');
    body = end == std::string_view::npos ? std::string_view() : body.substr(end + 1);
  }
  return body;
}

// How a body must have been written.
class BodyForm {
 public:
  BodyForm(const char* type, const char* subtype, const char* encoding, const ms* params, int flags)
      : type_(Lower(type == nullptr ? "application" : type)),
        subtype_(Lower(subtype == nullptr ? "x-unknown" : subtype)) {
    encoding_ = encoding != nullptr ? Lower(encoding)
                : type_ == "text"   ? "quoted-printable"
                                    : "base64";
    if ((flags & 1) != 0 && (encoding_ == "base64" || encoding_ == "quoted-printable")) {
      encoding_ = "x-uue";
    }
    for (; params != nullptr; params = params->next) {
      const std::string parameter = Lower(params->text);
      if (!parameter.starts_with("charset=")) continue;
      japanese_ = parameter == "charset=iso-2022-jp" || parameter == "charset=\"iso-2022-jp\"";
      break;
    }
  }
  bool known() const {
    return encoding_ == "base64" || encoding_ == "quoted-printable" || encoding_ == "x-uue" ||
           encoding_ == "x-uuencode" || encoding_ == "7bit";
  }
  // `marks`: the site replaces what is no Shift-JIS by "?".
  bool Holds(std::string_view text, std::string_view body, bool marks) const {
    if (encoding_ == "base64") return FromBase64(text) == body;
    if (encoding_ == "quoted-printable") return FromQuoted(text) == body;
    if (encoding_ != "7bit") return FromUu(text) == body;
    if (japanese_) {
      const auto mark = marks ? std::optional<std::string_view>("?") : std::nullopt;
      return text == qob::testing::ModelEncode(body, mark);
    }
    return text == (type_ == "message" && subtype_ == "rfc822" ? WithoutEnvelope(body) : body);
  }

 private:
  std::string type_;
  std::string subtype_;
  std::string encoding_;
  bool japanese_ = false;
};

}  // namespace fuzz
