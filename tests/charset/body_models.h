// The body decoders told one byte after the other, as plainly as can be: what the fast ones are
// compared with.
#pragma once
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

namespace qob::testing {

struct ModelResult {
  int result = 1;  // 1, 0 (cut escape) or -1 (invalid)
  std::string bytes;
  bool operator==(const ModelResult&) const = default;
};

inline ModelResult ModelBase64(std::string_view in) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  ModelResult model;
  int place = 0;
  int last = 0;
  for (char c : in) {
    if (c == '=' || c == '-' || c == '\0') return model;
    if (std::strchr(" \t\r\n\v\f", c) != nullptr) continue;
    const char* at = std::strchr(kAlphabet, c);
    if (at == nullptr) {
      model.result = -1;
      return model;
    }
    const int value = static_cast<int>(at - kAlphabet);
    if (place == 1) model.bytes += static_cast<char>(last * 4 + value / 16);
    if (place == 2) model.bytes += static_cast<char>(last % 16 * 16 + value / 4);
    if (place == 3) model.bytes += static_cast<char>(last % 4 * 64 + value);
    last = value;
    place = (place + 1) % 4;
  }
  return model;
}

inline int ModelNibble(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return 0;
}

inline ModelResult ModelQuotedPrintable(std::string_view in) {
  ModelResult model;
  bool line_end_pending = false;
  for (std::size_t i = 0; i < in.size(); ++i) {
    if (line_end_pending) model.bytes += "\r\n";
    line_end_pending = false;
    if (in[i] == '\r') continue;
    if (in[i] == '\n') {
      line_end_pending = true;
    } else if (in[i] != '=') {
      model.bytes += in[i];
    } else {
      if (in.size() - i < 3) {
        model.result = 0;
        return model;
      }
      if (in[i + 1] != '\r') {
        model.bytes += static_cast<char>(ModelNibble(in[i + 1]) * 16 + ModelNibble(in[i + 2]));
      }
      i += 2;
    }
  }
  return model;
}

}  // namespace qob::testing
