// Reads a MIME message into its pool of parts: the machine.
#include "mime/tree_parser.h"

#include <algorithm>
#include <utility>

#include "frame/report.h"
#include "mime/embedded.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

constexpr std::string_view kEmptyLine = "\r\n";
constexpr LineStarts kDelimiters('-');
constexpr LineStarts kDelimitersAndMarkers('-', 'b', 'B', '(');
constexpr LineStarts kDelimitersAndUuencodeEnd('-', 'e', 'E', 'E');
constexpr LineStarts kDelimitersAndData('-', ':', ':', ':');

const char* OrUnknown(const char* text) { return text == nullptr ? "<unknown>" : text; }

std::int32_t ToPosition(std::int64_t position) {
  return static_cast<std::int32_t>(std::min(position, kMaxMessageSize));
}

bool IsEnvelopeLine(std::string_view piece) {
  return piece.starts_with("#F") || piece.starts_with("#R");
}

}  // namespace

TreeParser::TreeParser(LineReader* reader, const char* file_name, bool descend)
    : reader_(reader),
      cursor_(reader),
      file_name_(file_name),
      descend_(descend),
      pool_(NewPool()) {}

std::int32_t TreeParser::Position() const { return ToPosition(cursor_.position()); }
std::int32_t TreeParser::FileSize() const { return ToPosition(reader_->size()); }

TreeParser::Step TreeParser::Fail(Result why) {
  failure_ = why;
  return Step::kFailed;
}

TreeParser::Result TreeParser::Parse() {
  StartPart();
  for (;;) {
    Step step = Step::kGoOn;
    switch (state_) {
      case State::kHeader:
        step = ReadHeader();
        break;
      case State::kUuencode:
        step = ReadUuencode();
        break;
      case State::kBinHex:
        step = ReadBinHex();
        break;
      case State::kBinHexData:
        step = ReadBinHexData();
        break;
      case State::kPreamble:
      case State::kBody:
      case State::kEpilogue:
        step = ReadBody();
        break;
    }
    bool again = false;
    if (step == Step::kEndOfFile) step = EndOfFile(&again);
    if (step == Step::kFailed) return failure_;
    if (step == Step::kEndOfFile && !again) break;
  }
  Finish();
  return Result::kDone;
}

TreeParser::Step TreeParser::EndOfFile(bool* again) {
  switch (state_) {
    case State::kPreamble:
      return Fail(Result::kNotMime);
    case State::kHeader:
      current_->bodyStart = FileSize();
      return Step::kEndOfFile;
    case State::kUuencode:
    case State::kBinHex:
    case State::kBinHexData:
      *again = true;
      return RollBack() ? Step::kGoOn : Fail(Result::kReadError);
    case State::kBody:
    case State::kEpilogue:
      break;
  }
  return Step::kEndOfFile;
}

void TreeParser::Finish() {
  for (std::int32_t i = 0; i < pool_->count; ++i) {
    MimeBodyPart* part = pool_->parts[i];
    if (part->contentEnd == 0) part->contentEnd = FileSize();
  }
  // From the end, so that a message inside a message ends where its innermost content ends.
  for (std::int32_t i = pool_->count; i-- > 0;) {
    MimeBodyPart* part = pool_->parts[i];
    const std::int32_t children = ChildCount(*part);
    if (children > 0 && IsPlainEncapsulated(*part))
      part->contentEnd = part->children[children - 1]->contentEnd;
  }
}

// ---- header blocks ----

TreeParser::Step TreeParser::ReadHeader() {
  for (;;) {
    std::string_view piece;
    const LineCursor::Status status = cursor_.Peek(&piece);
    if (status == LineCursor::Status::kError) {
      return header_.End(FieldEnd::kReadError) ? Fail(Result::kReadError) : Fail(Result::kBadField);
    }
    if (status == LineCursor::Status::kEnd) {
      return header_.End(FieldEnd::kEndOfFile) ? Step::kEndOfFile : Fail(Result::kBadField);
    }
    if (!cursor_.at_line_start()) {
      header_.RestOfLine(piece);
      cursor_.Consume(piece.size());
      continue;
    }
    bool ended = false;
    const Step step = HeaderLine(piece, &ended);
    if (ended || step != Step::kGoOn) return step;
  }
}

TreeParser::Step TreeParser::HeaderLine(std::string_view piece, bool* ended) {
  DelimiterStack::Match match;
  if (IsDelimiterLine(piece, &match)) {
    *ended = true;
    return header_.End(FieldEnd::kNextLine) ? Delimiter(match) : Fail(Result::kBadField);
  }
  bool readable = true;
  if (piece == kEmptyLine) {
    *ended = true;
    readable = header_.End(FieldEnd::kNextLine);
  } else if (IsEnvelopeLine(piece)) {
    readable = header_.SkippedLine();
  } else {
    readable = header_.Line(piece);
  }
  if (!readable) return Fail(Result::kBadField);
  cursor_.Consume(piece.size());
  return *ended ? EndOfHeader() : Step::kGoOn;
}

TreeParser::Step TreeParser::EndOfHeader() {
  current_->bodyStart = Position();
  const bool multipart = TextIs(current_->contentType, "multipart");
  const bool encapsulated = !multipart && descend_ && IsPlainEncapsulated(*current_);
  if ((multipart || encapsulated) && stack_.full()) {
    Report(kDetail, "ParseMimeMessage: nesting limit reached.");
  } else if (multipart) {
    return StartPreamble();
  } else if (encapsulated) {
    SetText(&current_->delimiter, stack_.current_delimiter());
    stack_.OpenEncapsulated(current_);
    StartPart();
    return Step::kGoOn;
  }
  StartBody();
  return Step::kGoOn;
}

TreeParser::Step TreeParser::StartPreamble() {
  std::string_view value;
  if (!FindParameter(current_->contentTypeParams, "boundary", &value))
    return Fail(Result::kNoBoundary);
  const std::string_view boundary = UnquoteParameter(ascii::Trim(value));
  if (boundary.empty()) return Fail(Result::kBadBoundary);
  std::string delimiter("--");
  delimiter.append(boundary);
  SetText(&current_->delimiter, delimiter);
  stack_.SetPending(current_);
  state_ = State::kPreamble;
  return Step::kGoOn;
}

void TreeParser::StartPart() {
  current_ = AddPart(pool_.get(), file_name_, Position());
  header_.Start(current_);
  state_ = State::kHeader;
}

// ---- bodies ----

void TreeParser::StartBody() {
  state_ = State::kBody;
  uuencode_possible_ = binhex_possible_ = MayHoldBlocks(*current_);
}

TreeParser::Step TreeParser::ReadBody() {
  const bool blocks = state_ == State::kBody && (uuencode_possible_ || binhex_possible_);
  if (!blocks && !stack_.waits_for_lines()) return Step::kEndOfFile;
  std::string_view piece;
  Step step = Step::kGoOn;
  if (!OwnLine(cursor_.FindLine(blocks ? kDelimitersAndMarkers : kDelimiters), &piece, &step))
    return step;
  if (state_ == State::kBody) {
    if (uuencode_possible_ && ascii::StartsWithFold(piece, kUuencodeMarker))
      return StartBlock(State::kUuencode);
    if (binhex_possible_ && ascii::StartsWithFold(piece, kBinHexMarker))
      return StartBlock(State::kBinHex);
  }
  cursor_.Consume(piece.size());
  return Step::kGoOn;
}

// After a search: the line that was found, when it is no delimiter line. Otherwise false, and
// *step tells how to go on.
bool TreeParser::OwnLine(LineCursor::Status found, std::string_view* piece, Step* step) {
  if (found == LineCursor::Status::kEnd) {
    *step = Step::kEndOfFile;
    return false;
  }
  if (found == LineCursor::Status::kError || cursor_.Peek(piece) == LineCursor::Status::kError) {
    *step = Fail(Result::kReadError);
    return false;
  }
  DelimiterStack::Match match;
  if (!IsDelimiterLine(*piece, &match)) return true;
  *step = Delimiter(match);
  return false;
}

// ---- embedded blocks ----

TreeParser::Step TreeParser::StartBlock(State state) {
  block_start_ = Position();
  if (!cursor_.SkipLine()) return Fail(Result::kReadError);
  behind_marker_ = cursor_.position();
  state_ = state;
  return Step::kGoOn;
}

TreeParser::Step TreeParser::ReadUuencode() {
  std::string_view piece;
  Step step = Step::kGoOn;
  if (!OwnLine(cursor_.FindLine(kDelimitersAndUuencodeEnd), &piece, &step)) return step;
  const bool ends = ascii::EqualFold(piece, "end\r\n") ||
                    (cursor_.IsLastPiece(piece) &&
                     (ascii::EqualFold(piece, "end") || ascii::EqualFold(piece, "end\n")));
  cursor_.Consume(piece.size());
  if (ends) ConfirmBlock();
  return Step::kGoOn;
}

TreeParser::Step TreeParser::ReadBinHex() {
  std::string_view piece;
  Step step = Step::kGoOn;
  if (!OwnLine(cursor_.FindLine(kDelimitersAndData), &piece, &step)) return step;
  if (piece[0] == ':') {
    cursor_.Consume(1);
    state_ = State::kBinHexData;
  } else {
    cursor_.Consume(piece.size());
  }
  return Step::kGoOn;
}

TreeParser::Step TreeParser::ReadBinHexData() {
  bool colon = false;
  const LineCursor::Status found = cursor_.FindColonOrHyphen(&colon);
  if (found == LineCursor::Status::kFound && colon) {
    if (!cursor_.SkipLine()) return Fail(Result::kReadError);
    ConfirmBlock();
    return Step::kGoOn;
  }
  std::string_view piece;
  Step step = Step::kGoOn;
  if (!OwnLine(found, &piece, &step)) return step;
  cursor_.Consume(1);  // a colon may stand further on in this line
  return Step::kGoOn;
}

void TreeParser::ConfirmBlock() {
  MimeBodyPart* block = AddPart(pool_.get(), file_name_, block_start_);
  block->bodyStart = block_start_;
  block->contentEnd = Position();
  if (state_ == State::kUuencode) {
    DescribeUuencodeBlock(block);
    Report(kDetail, "Found embedded UUEncode attachment in body %s/%s",
           OrUnknown(current_->contentType), OrUnknown(current_->contentSubtype));
  } else {
    DescribeBinHexBlock(block);
    Report(kDetail, "Found embedded Binhex attachment in body %s/%s",
           OrUnknown(current_->contentType), OrUnknown(current_->contentSubtype));
  }
  Adopt(current_, block);
  state_ = State::kBody;
}

// The block has no end: its lines are text, and no later marker of this kind can do better in this
// part.
bool TreeParser::RollBack() {
  (state_ == State::kUuencode ? uuencode_possible_ : binhex_possible_) = false;
  state_ = State::kBody;
  return cursor_.Seek(behind_marker_);
}

// ---- delimiter lines ----

bool TreeParser::IsDelimiterLine(std::string_view piece, DelimiterStack::Match* match) {
  if (piece.size() < 2 || piece[0] != '-' || piece[1] != '-' || !stack_.waits_for_lines())
    return false;
  *match = stack_.Find(piece);
  return static_cast<bool>(*match);
}

// The cursor stands on the delimiter line.
TreeParser::Step TreeParser::Delimiter(DelimiterStack::Match match) {
  if (state_ == State::kUuencode || state_ == State::kBinHex || state_ == State::kBinHexData) {
    return RollBack() ? Step::kGoOn : Fail(Result::kReadError);
  }
  const bool first = match.frame == stack_.depth();
  if (!first) {
    if (state_ == State::kHeader) current_->bodyStart = Position();
    CloseInto(match.frame);
  }
  if (!cursor_.SkipLine()) return Fail(Result::kReadError);
  if (first) stack_.OpenPending();
  if (!match.closing) {
    StartPart();
    return Step::kGoOn;
  }
  current_ = stack_.top();
  stack_.Pop();
  state_ = State::kEpilogue;
  return Step::kGoOn;
}

// Ends the current part and every container inside the frame's at the cursor.
void TreeParser::CloseInto(std::size_t frame) {
  stack_.DropPending();
  while (stack_.depth() > frame + 1) {
    MimeBodyPart* container = stack_.top();
    current_->contentEnd = Position();
    Adopt(container, current_);
    current_ = container;
    stack_.Pop();
  }
  current_->contentEnd = Position();
  Adopt(stack_.top(), current_);
}

void TreeParser::Adopt(MimeBodyPart* container, MimeBodyPart* child) {
  if (AddChild(container, child) == 0 || std::exchange(told_child_limit_, true)) return;
  Report(kDetail, "ParseMimeMessage: child limit reached.");
}

}  // namespace qob
