// Logical header fields from physical lines.
#include "mime/header_block.h"

#include <utility>

namespace qob {
namespace {

void CutLineEnd(std::string* line) {
  if (line->empty() || line->back() != '\n') return;
  line->pop_back();
  if (!line->empty() && line->back() == '\r') line->pop_back();
}

}  // namespace

void HeaderBlock::Start(MimeBodyPart* part) {
  part_ = part;
  collecting_ = false;
}

bool HeaderBlock::Line(std::string_view piece) {
  if (piece[0] == ' ' || piece[0] == '\t') {
    if (!collecting_) return true;
    CutLineEnd(&field_);
    field_.append(piece);
    return true;
  }
  if (!Finish(FieldEnd::kNextLine)) return false;
  collecting_ = ContentFields::IsWanted(piece);
  if (collecting_) field_.assign(piece);
  return true;
}

void HeaderBlock::RestOfLine(std::string_view piece) {
  if (collecting_) field_.append(piece);
}

bool HeaderBlock::SkippedLine() { return Finish(FieldEnd::kNextLine); }

bool HeaderBlock::End(FieldEnd end) { return Finish(end); }

bool HeaderBlock::Finish(FieldEnd end) {
  if (!std::exchange(collecting_, false)) return true;
  CutLineEnd(&field_);
  return fields_.Read(field_, end, part_);
}

}  // namespace qob
