// A reader's place in a message file.
#include "mime/line_cursor.h"

#include <algorithm>

namespace qob {

LineCursor::Status LineCursor::Peek(std::string_view* piece) {
  if (!reader_->Fill(kPieceLimit)) return Status::kError;
  const std::string_view ahead = reader_->window().substr(0, kPieceLimit);
  if (ahead.empty()) return Status::kEnd;
  const std::size_t feed = ahead.find('\n');
  *piece = feed == std::string_view::npos ? ahead : ahead.substr(0, feed + 1);
  return Status::kFound;
}

void LineCursor::Consume(std::size_t count) {
  if (count == 0) return;
  at_line_start_ = reader_->window()[count - 1] == '\n';
  reader_->Consume(count);
}

bool LineCursor::SkipLine() {
  for (;;) {
    if (!reader_->Fill(1)) return false;
    const std::string_view window = reader_->window();
    if (window.empty()) return true;
    const std::size_t feed = window.find('\n');
    Consume(feed == std::string_view::npos ? window.size() : feed + 1);
    if (feed != std::string_view::npos) return true;
  }
}

LineCursor::Status LineCursor::FindLine(const LineStarts& starts) {
  for (;;) {
    if (!reader_->Fill(1)) return Status::kError;
    const std::string_view window = reader_->window();
    if (window.empty()) return Status::kEnd;
    if (at_line_start_ && starts.Has(window[0])) return Status::kFound;
    const std::size_t found = FindLineStart(window, starts);
    Consume(found == kNotFound ? window.size() : found);
    if (found != kNotFound) return Status::kFound;
  }
}

LineCursor::Status LineCursor::FindColonOrHyphen(bool* colon) {
  for (;;) {
    if (!reader_->Fill(1)) return Status::kError;
    const std::string_view window = reader_->window();
    if (window.empty()) return Status::kEnd;
    const bool at_hyphen = at_line_start_ && window[0] == '-';
    const std::size_t found = at_hyphen ? 0 : FindColonOrHyphenLine(window);
    const bool hit = found != kNotFound;
    if (hit) *colon = window[found] == ':';
    Consume(hit ? found : window.size());
    if (hit) return Status::kFound;
  }
}

bool LineCursor::Seek(std::int64_t position) {
  if (!reader_->Seek(position)) return false;
  at_line_start_ = true;
  return true;
}

}  // namespace qob
