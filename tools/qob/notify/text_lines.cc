#include "text_lines.h"

#include "../mail/input.h"

namespace cli::notify {
namespace {

constexpr std::size_t kLongestLine = 65534;
constexpr std::size_t kLargestText = 16u << 20;

std::string WholeText(const Arguments& arguments) {
  mail::Input input = arguments.Has("--text") ? mail::Input::OfText(arguments.Value("--text"))
                                              : mail::Input::OfFile(arguments.Value("--body"));
  std::string text;
  for (std::string_view block = input.Next(); !block.empty(); block = input.Next()) {
    text += block;
    if (text.size() > kLargestText)
      throw Failure(ExitCode::kData, "the text is larger than 16 MB: attach it as a file");
  }
  return text;
}

}  // namespace

std::optional<std::vector<std::string>> TextOf(const Arguments& arguments) {
  if (arguments.Has("--text") && arguments.Has("--body"))
    throw Failure(ExitCode::kUsage, "--text, --body: give one of them");
  if (!arguments.Has("--text") && !arguments.Has("--body")) return std::nullopt;
  const std::string text = WholeText(arguments);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t feed = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, feed - at));
    if (lines.back().ends_with('\r')) lines.back().pop_back();
    if (lines.back().find('\0') != std::string::npos)
      throw Failure(ExitCode::kData, "the text holds a NUL: attach it as a file");
    at = feed + 1;
  }
  return lines;
}

Chain ChainOf(const std::string& what, const std::vector<std::string>& lines) {
  // Built from its end, so that no line walks over the others.
  Chain chain;
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line->size() > kLongestLine)
      throw Failure(ExitCode::kData, what + ": a line is longer than 65534 bytes: break it");
    ms* node = nullptr;
    if (appendString(&node, line->c_str()) != 1) throw std::bad_alloc();
    node->next = chain.release();
    chain.reset(node);
  }
  return chain;
}

}  // namespace cli::notify
