// White space, comments and tokens of structured header values.
#include "mime/comment.h"

#include <array>

#include "platform/os/ascii.h"

namespace qob {
namespace {

bool IsSpaceAt(std::string_view text, std::size_t at) {
  return ascii::IsSpace(static_cast<unsigned char>(text[at]));
}

// *at stands on the opening parenthesis.
bool SkipOneComment(std::string_view text, std::size_t* at) {
  std::size_t depth = 0;
  for (std::size_t i = *at; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '(') {
      ++depth;
    } else if (text[i] == ')' && --depth == 0) {
      *at = i + 1;
      return true;
    }
  }
  *at = text.size();
  return false;
}

constexpr std::array<bool, 256> MakeNotToken() {
  std::array<bool, 256> table{};
  for (unsigned c = 0; c < 256; ++c) table[c] = ascii::IsControl(static_cast<unsigned char>(c));
  for (const char c : std::string_view("()<>@,;\\:\"/[]?="))
    table[static_cast<unsigned char>(c)] = true;
  return table;
}
constexpr std::array<bool, 256> kNotToken = MakeNotToken();

}  // namespace

bool SkipComments(std::string_view text, std::size_t* at) {
  while (*at < text.size()) {
    if (IsSpaceAt(text, *at)) {
      ++*at;
    } else if (text[*at] != '(') {
      return true;
    } else if (!SkipOneComment(text, at)) {
      return false;
    }
  }
  return true;
}

std::size_t FindOutsideComments(std::string_view text, std::size_t from, std::string_view wanted) {
  std::size_t at = from;
  while (at < text.size()) {
    if (wanted.find(text[at]) != std::string_view::npos) return at;
    if (text[at] != '(') {
      ++at;
    } else if (!SkipOneComment(text, &at)) {
      return std::string_view::npos;
    }
  }
  return text.size();
}

std::string_view TrimComments(std::string_view text) {
  std::size_t begin = 0;
  if (!SkipComments(text, &begin)) return ascii::Trim(text);
  std::size_t end = begin;
  for (std::size_t at = begin; at < text.size();) {
    std::size_t next = at;
    if (!SkipComments(text, &next)) return ascii::Trim(text.substr(begin));
    if (next == at) end = ++next;
    at = next;
  }
  return text.substr(begin, end - begin);
}

bool IsMimeToken(std::string_view text) {
  for (const char c : text) {
    if (kNotToken[static_cast<unsigned char>(c)]) return false;
  }
  return !text.empty();
}

}  // namespace qob
