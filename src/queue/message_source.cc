#include "queue/message_source.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>

#include "dates/date.h"
#include "frame/report.h"
#include "platform/os/ascii.h"
#include "platform/os/process.h"
#include "queue/local_date.h"
#include "rfc822/parser_locks.h"

namespace qob {
namespace {

constexpr std::string_view kDate = "Date:";
constexpr std::string_view kResentDate = "Resent-date:";
// As much of a field as the header reader keeps.
constexpr std::size_t kValueLimit = 64512;

bool EndsLine(std::string_view piece) { return piece.ends_with('\n'); }

// As the header reader sees a line: up to a NUL, cut at its last carriage return.
bool IsEmptyLine(std::string_view line) {
  const bool whole = EndsLine(line);
  line = line.substr(0, line.find('\0'));
  if (EndsLine(line)) line.remove_suffix(1);
  return line.empty() || (whole && line.rfind('\r') == 0);
}

std::string_view WithoutLineEnd(std::string_view line) {
  if (line.ends_with("\r\n")) return line.substr(0, line.size() - 2);
  return line.substr(0, line.size() - (EndsLine(line) ? 1 : 0));
}

class MessageCopy {
 public:
  MessageCopy(LineReader* message, FileWriter* copy) : message_(*message), copy_(*copy) {}

  bool Run() { return CopyHeader() && CopyRest(); }

 private:
  bool CopyHeader();
  bool CopyRest();
  bool RewriteDate(std::string_view name, std::string_view first_piece);
  bool ReadValue(std::string_view name, std::string_view first_piece);

  LineReader& message_;
  FileWriter& copy_;
  std::string value_;  // of the date field at hand, unfolded
};

// Up to and with the empty line.
bool MessageCopy::CopyHeader() {
  LineReader::Piece piece;
  LineReader::Status status = LineReader::Status::kEnd;
  while ((status = message_.Next(&piece)) == LineReader::Status::kPiece) {
    std::string_view name;
    if (piece.at_line_start) {
      if (ascii::StartsWithFold(piece.text, kDate)) name = kDate;
      if (ascii::StartsWithFold(piece.text, kResentDate)) name = kResentDate;
    }
    const bool ends = piece.at_line_start && piece.text == "\r\n";
    if (!(name.empty() ? copy_.Write(piece.text) : RewriteDate(name, piece.text))) return false;
    if (ends) return true;
  }
  return status == LineReader::Status::kEnd;
}

bool MessageCopy::CopyRest() {
  while (message_.Fill(1)) {
    const std::string_view block = message_.window();
    if (block.empty()) return true;
    if (!copy_.Write(block)) return false;
    message_.Consume(block.size());
  }
  return false;
}

bool MessageCopy::RewriteDate(std::string_view name, std::string_view first_piece) {
  if (!ReadValue(name, first_piece)) return false;
  UtcDate date{};
  bool known = ParseRfcDate(value_, &date);
  if (!known) {
    Report(kDetail, "Received invalid date.  Adopting the current time instead.");
    known = CurrentDate(&date);
  }
  char text[kDateTextSize];
  std::string line(name);
  line += ' ';
  // A clock outside the years that date records hold still gives the right time.
  line += known && FormatRfcDate(&date, text) ? text : LocalDateText(os::Now());
  line += "\r\n";
  return copy_.Write(line);
}

// The field's first line is at hand, its other lines are read. False on a read error.
bool MessageCopy::ReadValue(std::string_view name, std::string_view first_piece) {
  value_.clear();
  LineReader::Piece piece;
  piece.text = first_piece.substr(name.size());
  for (;;) {
    const std::string_view text = WithoutLineEnd(piece.text);
    value_.append(text.substr(0, kValueLimit - std::min(value_.size(), kValueLimit)));
    if (EndsLine(piece.text)) {
      if (!message_.Fill(1)) return false;
      const std::string_view next = message_.window();
      if (!next.starts_with(' ') && !next.starts_with('\t')) return true;
    }
    const LineReader::Status status = message_.Next(&piece);
    if (status != LineReader::Status::kPiece) return status == LineReader::Status::kEnd;
  }
}

}  // namespace

bool LookForFields(LineReader* message, FieldsPresent* present) {
  const std::scoped_lock hold(HeaderParserLock());
  LineReader::Piece piece;
  LineReader::Status status = LineReader::Status::kEnd;
  while ((status = message->Next(&piece)) == LineReader::Status::kPiece) {
    if (!piece.at_line_start) continue;
    if (IsEmptyLine(piece.text)) break;
    present->mime_version |= ascii::StartsWithFold(piece.text, "Mime-version:");
    present->date |= ascii::StartsWithFold(piece.text, kDate);
    present->message_id |= ascii::StartsWithFold(piece.text, "Message-ID:");
  }
  return status != LineReader::Status::kError && message->Seek(0);
}

bool CopyMessage(LineReader* message, FileWriter* copy) { return MessageCopy(message, copy).Run(); }

}  // namespace qob
