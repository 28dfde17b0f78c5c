#include "input.h"

#include <algorithm>

#include "../failure.h"
#include "../input_file.h"

namespace cli::mail {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;
constexpr std::size_t kFirstBlockBytes = 16 * 1024;  // most messages are short

}  // namespace

Input Input::OfFile(const std::string& name) {
  Input input;
  input.name_ = name == "-" ? "standard input" : name;
  input.file_ = name == "-" ? sys::File::StandardInput() : sys::File::OpenToRead(name);
  if (!input.file_) {
    const Failure failure = Unreadable(input.file_.error());
    throw Failure(failure.code(), input.name_ + ": " + failure.what());
  }
  input.stamp_ = sys::StampOf(input.file_);
  if (name != "-" && (input.stamp_.kind == sys::Kind::kFolder))
    throw Failure(ExitCode::kNoInput, name + ": a directory: give a file, or - for standard input");
  return input;
}

Input Input::OfText(std::string text) {
  Input input;
  input.name_ = "--text";
  input.text_ = std::move(text);
  input.from_text_ = true;
  return input;
}

void Input::RequireUnchanged() const {
  if (!IsRegular() || sys::StampOf(file_) == stamp_) return;
  throw Failure(ExitCode::kTemporary,
                name_ + ": was written to while it was read: try again when that is done");
}

std::string_view Input::ReadBlock() {
  if (from_text_) {
    block_ = std::move(text_);
    text_.clear();
    return block_;
  }
  block_.resize(block_.empty() ? kFirstBlockBytes : kBlockBytes);
  const std::ptrdiff_t got = file_.Read(block_.data(), block_.size());
  if (got < 0)
    throw Failure(ExitCode::kIo, name_ + ": reading failed: " + sys::ErrorText(file_.error()) +
                                     ": check where the input comes from");
  return std::string_view(block_).substr(0, static_cast<std::size_t>(got));
}

std::string_view Input::Next() {
  if (ended_) return {};
  const std::string_view block = ReadBlock();
  if (!ends_at_dot_) {
    ended_ = block.empty();
    return block;
  }
  const std::string_view judged = UpToDot(block);
  // A block may be nothing but the beginning of a line with a dot: the next one tells.
  return judged.empty() && !ended_ ? Next() : judged;
}

// A line that begins with a dot is held back until it is known whether it is nothing else.
std::string_view Input::UpToDot(std::string_view block) {
  judged_.clear();
  ended_ = block.empty();
  if (ended_ && held_ != "." && held_ != ".\r") judged_ = held_;
  for (std::size_t at = 0; at < block.size();) {
    const char c = block[at];
    const bool may_be_lone =
        (held_.empty() && at_line_start_ && c == '.') || (held_ == "." && c == '\r');
    if (may_be_lone) {
      held_ += c;
      at_line_start_ = false;
      ++at;
      continue;
    }
    if (!held_.empty() && c == '\n') {
      ended_ = true;
      break;
    }
    judged_ += held_;
    held_.clear();
    const std::size_t end = std::min(block.find('\n', at), block.size() - 1) + 1;
    judged_ += block.substr(at, end - at);
    at_line_start_ = block[end - 1] == '\n';
    at = end;
  }
  return judged_;
}

}  // namespace cli::mail
