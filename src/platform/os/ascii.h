// ASCII letters, digits and white space for mail bytes: never the process locale, never a
// sign-extended char.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob::ascii {

constexpr bool IsUpper(unsigned char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool IsLower(unsigned char c) { return c >= 'a' && c <= 'z'; }
constexpr bool IsAlpha(unsigned char c) { return IsUpper(c) || IsLower(c); }
constexpr bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }
// Blank, TAB, LF, VT, FF, CR: what isspace() says in the C locale.
constexpr bool IsSpace(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool IsControl(unsigned char c) { return c < 32 || c == 127; }
constexpr unsigned char Lower(unsigned char c) {
  return IsUpper(c) ? static_cast<unsigned char>(c + 32) : c;
}
constexpr unsigned char Upper(unsigned char c) {
  return IsLower(c) ? static_cast<unsigned char>(c - 32) : c;
}

constexpr bool EqualFold(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(static_cast<unsigned char>(a[i])) != Lower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

constexpr bool StartsWithFold(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualFold(text.substr(0, prefix.size()), prefix);
}

constexpr std::string_view TrimLeft(std::string_view text) {
  while (!text.empty() && IsSpace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  return text;
}

constexpr std::string_view Trim(std::string_view text) {
  text = TrimLeft(text);
  while (!text.empty() && IsSpace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

}  // namespace qob::ascii
