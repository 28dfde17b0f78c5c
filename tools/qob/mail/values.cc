#include "values.h"

#include <algorithm>

#include "../failure.h"
#include "../utf8.h"

namespace cli::mail {
namespace {

constexpr std::string_view kLineSigns("\r\n\0", 3);
constexpr std::string_view kSpecials = "()<>@,;:\\\"/[]?=";

bool IsGraphic(char c) { return c > ' ' && c < '\x7F'; }

}  // namespace

void RequireOneLine(const std::string& what, std::string_view text) {
  if (text.find_first_of(kLineSigns) == std::string_view::npos) return;
  throw Failure(ExitCode::kData, what +
                                     ": holds a line end or a NUL, which could add fields to the "
                                     "message: give it on one line");
}

void RequireText(const std::string& what, std::string_view text) {
  RequireOneLine(what, text);
  if (!IsUtf8(text)) throw Failure(ExitCode::kData, what + ": not UTF-8: convert it first");
}

void RequireToken(const std::string& what, std::string_view text) {
  if (IsToken(text)) return;
  throw Failure(ExitCode::kUsage,
                what + " " + std::string(text) + ": use letters, digits and signs like - . _ only");
}

void RequireGraphic(const std::string& what, std::string_view text, std::size_t longest) {
  RequireOneLine(what, text);
  if (!text.empty() && std::all_of(text.begin(), text.end(), IsGraphic) && text.size() <= longest)
    return;
  throw Failure(ExitCode::kUsage, what + " " + std::string(text) + ": use 1 to " +
                                      std::to_string(longest) +
                                      " characters of ASCII without blanks");
}

bool IsPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
}

bool IsFieldName(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return IsGraphic(c) && c != ':'; });
}

bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return IsGraphic(c) && kSpecials.find(c) == std::string_view::npos;
  });
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace cli::mail
