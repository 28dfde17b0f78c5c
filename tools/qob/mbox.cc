#include "mbox.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace cli {
namespace {

constexpr std::string_view kFrom = "From ";
// More of a line than this is never looked at.
constexpr std::size_t kKeptOfLine = 200;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes a file in blocks and keeps what is needed of its lines: how each begins, where, and how
// long it is.
class Splitter {
 public:
  void Take(std::string_view block);
  std::vector<ByteRange> Finish(std::int64_t size_bytes);

 private:
  void EndLine();

  std::vector<ByteRange> messages_;
  std::string line_;  // the first bytes of the current line
  std::int64_t line_start_ = 0;
  std::int64_t line_bytes_ = 0;
  std::int64_t empty_start_ = -1;  // where the line before began, when it was empty
};

void Splitter::Take(std::string_view block) {
  while (!block.empty()) {
    const void* const found = std::memchr(block.data(), '\n', block.size());
    const std::size_t length =
        found == nullptr
            ? block.size()
            : static_cast<std::size_t>(static_cast<const char*>(found) - block.data()) + 1;
    if (line_.size() < kKeptOfLine)
      line_ += block.substr(0, std::min(length, kKeptOfLine - line_.size()));
    line_bytes_ += static_cast<std::int64_t>(length);
    if (found != nullptr) EndLine();
    block.remove_prefix(length);
  }
}

void Splitter::EndLine() {
  if (messages_.empty()) {
    messages_.push_back({line_start_, 0});
  } else if (empty_start_ >= 0 && IsFromLine(line_)) {
    messages_.back().end = empty_start_;
    messages_.push_back({line_start_, 0});
  }
  const bool empty = line_ == "\n" || line_ == "\r\n";
  empty_start_ = empty ? line_start_ : -1;
  line_start_ += line_bytes_;
  line_bytes_ = 0;
  line_.clear();
}

std::vector<ByteRange> Splitter::Finish(std::int64_t size_bytes) {
  const bool cut_empty = messages_.size() > 1 && empty_start_ >= 0 && line_bytes_ == 0;
  if (messages_.empty()) messages_.push_back({});
  messages_.back().end = cut_empty ? empty_start_ : size_bytes;
  return messages_;
}

}  // namespace

bool IsFromLine(std::string_view line) {
  if (!line.starts_with(kFrom)) return false;
  for (std::size_t i = kFrom.size(); i + 5 <= line.size(); ++i) {
    const bool time = IsDigit(line[i]) && IsDigit(line[i + 1]) && line[i + 2] == ':' &&
                      IsDigit(line[i + 3]) && IsDigit(line[i + 4]);
    if (time) return true;
  }
  return false;
}

std::optional<std::vector<ByteRange>> MessagesOf(sys::File* file, std::int64_t size_bytes) {
  std::array<char, 256 * 1024> block;
  Splitter splitter;
  std::int64_t seen = 0;
  for (;;) {
    const std::ptrdiff_t got = file->Read(block.data(), block.size());
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    const std::string_view bytes(block.data(), static_cast<std::size_t>(got));
    if (seen == 0 && !bytes.starts_with(kFrom)) return std::vector<ByteRange>{{0, size_bytes}};
    splitter.Take(bytes);
    seen += got;
  }
  return splitter.Finish(seen);
}

}  // namespace cli
