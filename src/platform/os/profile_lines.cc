#include "platform/os/profile_lines.h"

#include "platform/os/ascii.h"

namespace qob::os {
namespace {

std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::string_view TakeProfileLine(std::string_view* rest, std::string_view* end) {
  const std::size_t at = rest->find_first_of("\r\n");
  if (at == std::string_view::npos) {
    const std::string_view line = *rest;
    *end = {};
    *rest = {};
    return line;
  }
  const bool two = (*rest)[at] == '\r' && at + 1 < rest->size() && (*rest)[at + 1] == '\n';
  const std::string_view line = rest->substr(0, at);
  *end = rest->substr(at, two ? 2 : 1);
  rest->remove_prefix(at + end->size());
  return line;
}

ProfileLine ClassifyProfileLine(std::string_view line) {
  using Kind = ProfileLine::Kind;
  line = ascii::TrimLeft(line);
  if (line.empty()) return {Kind::kBlank, {}, {}};
  if (line.front() == ';') return {Kind::kComment, {}, {}};
  if (line.front() == '[') {
    if (const std::size_t close = line.find(']'); close != std::string_view::npos) {
      return {Kind::kSection, ascii::Trim(line.substr(1, close - 1)), {}};
    }
  }
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return {Kind::kOther, ascii::Trim(line), {}};
  return {Kind::kEntry, ascii::Trim(line.substr(0, equals)), line.substr(equals + 1)};
}

std::string_view ProfileValue(std::string_view written) {
  std::string_view value = TrimBlanks(written);
  if (value.size() >= 2 && value.front() == value.back() &&
      (value.front() == '\'' || value.front() == '"')) {
    value = value.substr(1, value.size() - 2);
  }
  return value;
}

std::size_t ProfileMark(std::string_view text) { return text.starts_with("\xEF\xBB\xBF") ? 3 : 0; }

}  // namespace qob::os
