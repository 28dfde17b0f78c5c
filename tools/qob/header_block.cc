#include "header_block.h"

#include <algorithm>

namespace cli {
namespace {

std::string_view WithoutLineEnd(std::string_view line) {
  if (line.ends_with('\n')) line.remove_suffix(1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

HeaderField FieldOf(std::string_view line) {
  const std::size_t end = line.find_first_of(": \t");
  if (end == std::string_view::npos || line[end] != ':') return {"", std::string(line)};
  std::string_view value = line.substr(end + 1);
  value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
  return {std::string(line.substr(0, end)), std::string(value)};
}

}  // namespace

std::vector<HeaderField> FieldsOf(std::string_view block) {
  std::vector<HeaderField> fields;
  while (!block.empty()) {
    const std::size_t feed = block.find('\n');
    const std::size_t length = feed == std::string_view::npos ? block.size() : feed + 1;
    const std::string_view line = WithoutLineEnd(block.substr(0, length));
    block.remove_prefix(length);
    if (line.empty()) break;
    if (line.starts_with("#F") || line.starts_with("#R")) continue;
    const bool continued = line.front() == ' ' || line.front() == '\t';
    if (continued && !fields.empty()) {
      fields.back().value += line;
    } else {
      fields.push_back(FieldOf(line));
    }
  }
  return fields;
}

}  // namespace cli
