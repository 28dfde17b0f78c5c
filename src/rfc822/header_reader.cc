// A field is a line and the continuation lines behind it, which begin with white space. It is
// collected with every fold brought to CR LF TAB and filed when the next field, the blank line or
// the end of the file is met.
//
// getline gives a line of more than 1024 bytes in pieces. Only the first of them is looked at as a
// line; otherwise the middle of a long line would be taken for a field of its own.
#include "rfc822/header_reader.h"

#include <cstring>
#include <string>
#include <string_view>

#include <qob3xapi/lineio.h>

#include "frame/report.h"
#include "platform/os/ascii.h"
#include "rfc822/header_field.h"

namespace qob {
namespace {

constexpr std::size_t kPieceLimit = 1024;
constexpr std::size_t kFirstCapacity = 1024;
// A field is kept in a buffer that grows by 1024 bytes and may not reach 65,536.
constexpr std::size_t kLastCapacity = 64512;
constexpr std::size_t kFoldRoom = 4;

struct Piece {
  std::string_view text;  // up to the first NUL, without the line feed
  bool ends_line = true;
};

class HeaderReader {
 public:
  HeaderReader(std::int32_t file, addr822* record, HeaderLines* lines, KeywordTable keywords)
      : file_(file), lines_(lines), filer_(record, keywords) {}

  bool Read();

 private:
  enum class Step { kGoOn, kHeaderEnds, kTooLong };

  Piece Measure(const char* line);
  Step Take(Piece piece);
  Step BeginField(std::string_view line);
  Step EndHeader();
  bool Fits(std::string_view text) const {
    return field_.size() + text.size() + kFoldRoom <= kLastCapacity;
  }
  Step AddLine(std::string_view text);
  Step AddToLine(Piece piece);
  void CutLine();
  HeaderCode FileField();

  std::int32_t file_;
  HeaderLines* lines_;
  HeaderFiler filer_;
  std::string field_;           // what has been collected of the field at hand
  std::size_t line_begin_ = 0;  // where the text of the line at hand begins in it
  bool inside_line_ = false;    // the next piece continues the line at hand
  std::int64_t position_ = -1;  // in the file, -1 when not known
};

bool HeaderReader::Read() {
  field_.reserve(kFirstCapacity);
  position_ = getfpos(file_);
  for (;;) {
    char* line = nullptr;
    const std::int32_t got = QOB_getline(file_, &line);
    if (got < 0) {
      ReportAs("ParseHdr", kFailure, "getline failed.");
      return false;
    }
    if (got == 0) {
      if (inside_line_) CutLine();
      break;
    }
    ++lines_->count;
    const Step step = Take(Measure(line));
    if (step == Step::kHeaderEnds) return true;
    if (step == Step::kTooLong) {
      ReportAs("ParseHdr", kFailure, "too many headers to parse.");
      break;
    }
  }
  FileField();
  return true;
}

// A NUL hides what stands behind it, also the line feed; then the file position tells how long the
// piece is.
Piece HeaderReader::Measure(const char* line) {
  Piece piece{line};
  std::size_t size = piece.text.size();
  if (piece.text.ends_with('\n')) {
    piece.text.remove_suffix(1);
  } else {
    const std::int64_t now = getfpos(file_);
    if (position_ >= 0 && now > position_ && now - position_ <= std::int64_t{kPieceLimit}) {
      size = static_cast<std::size_t>(now - position_);
    }
    piece.ends_line = size < kPieceLimit || line[size - 1] == '\n';
  }
  if (position_ >= 0) position_ += static_cast<std::int64_t>(size);
  return piece;
}

// A line is cut at its last carriage return, wherever that stands; callers see "a\rb\n" as "a".
HeaderReader::Step HeaderReader::Take(Piece piece) {
  if (inside_line_) return AddToLine(piece);
  inside_line_ = !piece.ends_line;
  const std::string_view line =
      piece.ends_line ? piece.text.substr(0, piece.text.rfind('\r')) : piece.text;
  if (line.empty()) return EndHeader();
  if (ascii::IsSpace(static_cast<unsigned char>(line[0]))) return AddLine(ascii::TrimLeft(line));
  return BeginField(line);
}

HeaderReader::Step HeaderReader::BeginField(std::string_view line) {
  if (FileField() == HeaderCode::kStatus) lines_->status_line = lines_->count;
  field_.assign(line);
  line_begin_ = 0;
  return Step::kGoOn;
}

HeaderReader::Step HeaderReader::EndHeader() {
  if (FileField() == HeaderCode::kStatus) lines_->status_line = lines_->count - 1;
  return Step::kHeaderEnds;
}

HeaderReader::Step HeaderReader::AddLine(std::string_view text) {
  if (!Fits(text)) return Step::kTooLong;
  field_ += "\r\n\t";
  line_begin_ = field_.size();
  field_ += text;
  return Step::kGoOn;
}

HeaderReader::Step HeaderReader::AddToLine(Piece piece) {
  if (!Fits(piece.text)) return Step::kTooLong;
  inside_line_ = !piece.ends_line;
  field_ += piece.text;
  if (!inside_line_) CutLine();
  return Step::kGoOn;
}

void HeaderReader::CutLine() {
  const std::size_t last_return = field_.rfind('\r');
  if (last_return != std::string::npos && last_return >= line_begin_) field_.resize(last_return);
}

HeaderCode HeaderReader::FileField() {
  if (field_.empty()) return HeaderCode::kNone;
  const HeaderCode code = filer_.File(field_);
  field_.clear();
  return code;
}

}  // namespace

bool ReadHeader(std::int32_t file, addr822* record, HeaderLines* lines, KeywordTable keywords) {
  return HeaderReader(file, record, lines, keywords).Read();
}

}  // namespace qob
