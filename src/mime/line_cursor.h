// A reader's place in a message file, for parsers that skip most lines: the line at hand by view,
// line starts that matter by search, everything else unread.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "lineio/line_reader.h"
#include "mime/line_search.h"

namespace qob {

class LineCursor {
 public:
  enum class Status { kFound, kEnd, kError };

  explicit LineCursor(LineReader* reader) : reader_(reader) {}

  // The byte before the cursor is a line feed, or the cursor stands at the start of the file or
  // where Seek put it.
  bool at_line_start() const { return at_line_start_; }
  std::int64_t position() const { return reader_->position(); }

  // What stands at the cursor: up to and with the next line feed, at most kPieceLimit bytes. Good
  // until the cursor moves.
  Status Peek(std::string_view* piece);
  // The piece that Peek gave last is the last of the file.
  bool IsLastPiece(std::string_view piece) const {
    return reader_->window().size() == piece.size();
  }
  // Moves on; at most what Peek gave.
  void Consume(std::size_t count);
  // Moves behind the next line feed, or to the end of the file. False on a read error.
  bool SkipLine();
  // Moves to the next line that begins with one of the bytes; a line at the cursor counts if this
  // is a line start.
  Status FindLine(const LineStarts& starts);
  // Moves to the next colon, or to a line that begins with a hyphen; *colon tells which.
  Status FindColonOrHyphen(bool* colon);
  bool Seek(std::int64_t position);

 private:
  LineReader* reader_;
  bool at_line_start_ = true;
};

}  // namespace qob
