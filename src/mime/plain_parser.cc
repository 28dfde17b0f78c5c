// Reads a message that is not MIME.
#include "mime/plain_parser.h"

#include <algorithm>
#include <string_view>

#include "mime/embedded.h"
#include "platform/os/ascii.h"
#include "util/uudecode.h"

namespace qob {
namespace {

constexpr LineStarts kMarkers('b', 'B', '(', '(');
constexpr LineStarts kUuencodeEnd('e', 'E', 'E', 'E');
constexpr std::int64_t kLastPosition = 0x7FFFFFFF;

std::size_t CountColons(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
}

}  // namespace

// At the end of the file its size counts, not the place where reading stopped.
std::int32_t PlainParser::Position() const {
  const std::int64_t position = reader_->at_end() ? reader_->size() : cursor_.position();
  return static_cast<std::int32_t>(std::min(position, kLastPosition));
}

bool PlainParser::Parse() {
  bool header_ended = false;
  if (!ReadHeader(&header_ended)) return false;
  if (header_ended && !ReadBody()) return false;
  current_->contentEnd = Position();
  if (!header_ended) current_->bodyStart = current_->contentEnd;
  return true;
}

bool PlainParser::ReadHeader(bool* ended) {
  for (;;) {
    std::string_view piece;
    const LineCursor::Status status = cursor_.Peek(&piece);
    if (status != LineCursor::Status::kFound) return status == LineCursor::Status::kEnd;
    const bool empty_line = cursor_.at_line_start() && piece.starts_with("\r\n");
    cursor_.Consume(piece.size());
    if (!empty_line) continue;
    current_->bodyStart = Position();
    *ended = true;
    return true;
  }
}

bool PlainParser::ReadBody() {
  for (;;) {
    LineCursor::Status status = cursor_.FindLine(kMarkers);
    std::string_view piece;
    if (status == LineCursor::Status::kFound) status = cursor_.Peek(&piece);
    if (status != LineCursor::Status::kFound) return status == LineCursor::Status::kEnd;
    const std::int32_t start = Position();
    std::string_view name;
    const bool binhex = ascii::StartsWithFold(piece, kBinHexMarker);
    if (!binhex && !ParseBeginLine(piece, &name)) {
      cursor_.Consume(piece.size());
      continue;
    }
    current_->contentEnd = start;
    MimeBodyPart* block = AddBlock(start);
    if (binhex) {
      DescribeBinHexBlock(block);
    } else {
      DescribeUuencodeBlock(block);
    }
    if (!cursor_.SkipLine() || !(binhex ? SkipBinHex() : SkipUuencode())) return false;
    block->contentEnd = Position();
    AddText();
  }
}

// To behind the line that begins with "end", or to the end of the file.
bool PlainParser::SkipUuencode() {
  for (;;) {
    LineCursor::Status status = cursor_.FindLine(kUuencodeEnd);
    std::string_view piece;
    if (status == LineCursor::Status::kFound) status = cursor_.Peek(&piece);
    if (status != LineCursor::Status::kFound) return status == LineCursor::Status::kEnd;
    if (ascii::StartsWithFold(piece, "end")) return cursor_.SkipLine();
    cursor_.Consume(piece.size());
  }
}

// To behind the first line at which the data were seen to start and to end, or to the end of the
// file.
bool PlainParser::SkipBinHex() {
  bool started = false;
  bool ended = false;
  while (!started || !ended) {
    if (!reader_->Fill(1)) return false;
    if (reader_->window().empty()) return true;
    if (!MarkColons(&started, &ended)) return false;
  }
  return true;
}

// One line. A colon that begins it starts the data; any other colon ends them, also one that stands
// before the data; and so does, once they started, a line that begins with a colon, for the closing
// colon may stand alone on its line.
bool PlainParser::MarkColons(bool* started, bool* ended) {
  bool line_ended = false;
  bool first_piece = true;
  while (!line_ended) {
    std::string_view piece;
    const LineCursor::Status status = cursor_.Peek(&piece);
    if (status == LineCursor::Status::kError) return false;
    if (status == LineCursor::Status::kEnd) return true;
    std::size_t colons = CountColons(piece);
    if (first_piece && piece[0] == ':' && !*started) {
      *started = true;
      --colons;
    }
    if (colons > 0) *ended = true;
    first_piece = false;
    line_ended = piece.back() == '\n';
    cursor_.Consume(piece.size());
  }
  return true;
}

MimeBodyPart* PlainParser::AddBlock(std::int32_t start) {
  MimeBodyPart* block = AddPart(pool_, file_name_, start);
  block->bodyStart = start;
  return block;
}

void PlainParser::AddText() {
  current_ = AddPart(pool_, file_name_, Position());
  current_->bodyStart = current_->contentStart;
}

}  // namespace qob
