#include "line_ends.h"

#include <cstring>

namespace cli {
namespace {

// The length of the text up to and with its first line feed; 0 when there is none.
std::size_t LineFeedEnd(std::string_view text) {
  const void* const found = std::memchr(text.data(), '\n', text.size());
  return found == nullptr
             ? 0
             : static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) + 1;
}

// Is the line feed that ends this piece bare? after_return tells about the byte before the piece.
bool IsBare(std::string_view piece, bool after_return) {
  return piece.size() < 2 ? !after_return : piece[piece.size() - 2] != '\r';
}

}  // namespace

void LineEndWriter::Take(std::string_view block, std::string* result) {
  while (!block.empty()) {
    const std::size_t end = LineFeedEnd(block);
    if (end == 0) {
      after_return_ = block.back() == '\r';
      result->append(block);
      return;
    }
    result->append(block.substr(0, end - 1));
    result->append(IsBare(block.substr(0, end), after_return_) ? "\r\n" : "\n");
    after_return_ = false;
    block.remove_prefix(end);
  }
}

void LineEndMap::Take(std::string_view block) {
  while (!block.empty() && answers_.size() < wanted_.size()) {
    const std::size_t end = LineFeedEnd(block);
    const std::size_t length = end == 0 ? block.size() : end;
    const bool bare = end != 0 && IsBare(block.substr(0, end), after_return_);
    // A position up to the line feed's own place lies before the carriage return that is put in.
    AnswerUpTo(original_ + inserted_ + static_cast<std::int64_t>(length) - 1);
    original_ += static_cast<std::int64_t>(length);
    inserted_ += bare ? 1 : 0;
    after_return_ = end == 0 && block.back() == '\r';
    block.remove_prefix(length);
  }
}

void LineEndMap::AnswerUpTo(std::int64_t converted_end) {
  while (answers_.size() < wanted_.size() && wanted_[answers_.size()] <= converted_end) {
    answers_.push_back(wanted_[answers_.size()] - inserted_);
  }
}

std::vector<std::int64_t> LineEndMap::Finish() {
  while (answers_.size() < wanted_.size()) answers_.push_back(original_);
  return answers_;
}

}  // namespace cli
