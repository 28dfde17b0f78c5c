#include "utf8.h"

#include <array>
#include <cstdio>

namespace cli {
namespace {

std::uint8_t Byte(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

// The number of bytes and the least code of a lead byte; length 0 for a byte that starts no
// character.
struct Lead {
  std::size_t length;
  std::uint32_t least;
  std::uint32_t bits;
};

Lead LeadOf(std::uint8_t byte) {
  if (byte < 0x80) return {1, 0, byte};
  if (byte >= 0xC2 && byte < 0xE0) return {2, 0x80, byte & 0x1Fu};
  if (byte >= 0xE0 && byte < 0xF0) return {3, 0x800, byte & 0x0Fu};
  if (byte >= 0xF0 && byte < 0xF5) return {4, 0x10000, byte & 0x07u};
  return {0, 0, 0};
}

bool IsBreak(char c) { return c == '\r' || c == '\n'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string Escape(const char* format, unsigned value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

}  // namespace

Utf8Step NextCharacter(std::string_view text) {
  const Lead lead = LeadOf(Byte(text, 0));
  if (lead.length == 0 || lead.length > text.size()) return {};
  std::uint32_t code = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    if ((Byte(text, i) & 0xC0) != 0x80) return {};
    code = code << 6 | (Byte(text, i) & 0x3Fu);
  }
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  if (code < lead.least || code > 0x10FFFF || surrogate) return {};
  return {lead.length, code, true};
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Utf8Step step = NextCharacter(text);
    if (!step.valid) return false;
    text.remove_prefix(step.length);
  }
  return true;
}

std::string Repaired(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Utf8Step step = NextCharacter(text);
    if (step.valid) {
      result += text.substr(0, step.length);
    } else {
      result += "\xEF\xBF\xBD";
    }
    text.remove_prefix(step.length);
  }
  return result;
}

bool IsUnsafeCharacter(std::uint32_t code) {
  if (code < 0x20 || (code >= 0x7F && code < 0xA0)) return true;
  if (code >= 0x200B && code <= 0x200F) return true;
  if (code >= 0x2028 && code <= 0x202E) return true;
  if (code >= 0x2060 && code <= 0x206F) return true;
  if (code == 0xFEFF || code == 0x061C || code == 0x00AD) return true;
  if (code >= 0xFFF9 && code <= 0xFFFB) return true;
  if (code >= 0xE0000 && code <= 0xE0FFF) return true;
  return (code & 0xFFFE) == 0xFFFE;
}

std::string Visible(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    if (IsBreak(text.front())) {
      while (!text.empty() && (IsBreak(text.front()) || IsBlank(text.front())))
        text.remove_prefix(1);
      if (!text.empty() && !result.empty()) result += ' ';
      continue;
    }
    const Utf8Step step = NextCharacter(text);
    if (!step.valid) {
      result += Escape("\\x%02x", Byte(text, 0));
    } else if (step.code == '\t') {
      result += ' ';
    } else if (IsUnsafeCharacter(step.code)) {
      result += Escape(step.code < 0x80 ? "\\x%02x" : "\\u%04x", step.code);
    } else {
      result += text.substr(0, step.length);
    }
    text.remove_prefix(step.length);
  }
  return result;
}

std::string Base64(std::string_view bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t have = bytes.size() - at;
    const std::uint32_t group =
        static_cast<std::uint32_t>(Byte(bytes, at)) << 16 |
        (have > 1 ? static_cast<std::uint32_t>(Byte(bytes, at + 1)) << 8 : 0u) |
        (have > 2 ? Byte(bytes, at + 2) : 0u);
    result += kAlphabet[group >> 18];
    result += kAlphabet[group >> 12 & 63];
    result += have > 1 ? kAlphabet[group >> 6 & 63] : '=';
    result += have > 2 ? kAlphabet[group & 63] : '=';
  }
  return result;
}

}  // namespace cli
