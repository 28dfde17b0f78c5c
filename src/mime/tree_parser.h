// Reads a MIME message into its pool of parts.
//
// The parser is a machine over the lines of the file. It keeps one record open (the current part),
// a stack of open containers, and one of these states:
//
//   kHeader      the header block of the current part
//   kPreamble    behind the header of a multipart, before its first delimiter line; the multipart
//                itself is current
//   kBody        the body of a leaf
//   kEpilogue    behind a closing delimiter line; the multipart that ended is current
//   kUuencode    inside a uuencoded block of a text body
//   kBinHex      behind a BinHex marker, before a line that begins with a colon
//   kBinHexData  in BinHex data, before its closing colon
//
// Every line start is tested in this order: delimiter, end of header, envelope line ("#F", "#R"),
// header field; end of block; start of a block. A part becomes a child of its container when the
// delimiter line that closes it is met; parts that are still open at the end of the file become
// nobody's children. A block of a text body becomes a part only when its end is found: until then
// nothing was created, and where its end is missing the lines are read again as plain text.
//
// The work is linear in the file and the memory O(header + parts): body bytes are searched for line
// starts that can matter and not looked at otherwise; when no line can matter any more they are not
// even read.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <qob3xapi/mimeparse.h>

#include "lineio/line_reader.h"
#include "mime/delimiter_stack.h"
#include "mime/header_block.h"
#include "mime/line_cursor.h"
#include "mime/part_pool.h"

namespace qob {

// Positions of the public face are signed 32-bit numbers; a larger file cannot be described.
inline constexpr std::int64_t kMaxMessageSize = 0x7FFFFFFF;

class TreeParser {
 public:
  enum class Result { kDone, kReadError, kBadField, kNoBoundary, kBadBoundary, kNotMime };

  // descend: encapsulated messages are opened as containers. The reader is open and at the start of
  // the file.
  TreeParser(LineReader* reader, const char* file_name, bool descend);

  // Throws std::bad_alloc.
  Result Parse();
  PoolPtr TakePool() { return std::move(pool_); }

 private:
  enum class State { kHeader, kPreamble, kBody, kEpilogue, kUuencode, kBinHex, kBinHexData };
  // What one step of the machine came to.
  enum class Step { kGoOn, kEndOfFile, kFailed };

  Step Fail(Result why);
  Step ReadHeader();
  Step HeaderLine(std::string_view piece, bool* ended);
  Step EndOfHeader();
  Step StartPreamble();
  Step ReadBody();
  bool OwnLine(LineCursor::Status found, std::string_view* piece, Step* step);
  Step ReadUuencode();
  Step ReadBinHex();
  Step ReadBinHexData();
  Step EndOfFile(bool* again);

  bool IsDelimiterLine(std::string_view piece, DelimiterStack::Match* match);
  Step Delimiter(DelimiterStack::Match match);
  void CloseInto(std::size_t frame);
  void StartPart();
  void Adopt(MimeBodyPart* container, MimeBodyPart* child);
  void StartBody();
  Step StartBlock(State state);
  void ConfirmBlock();
  bool RollBack();
  void Finish();

  std::int32_t Position() const;
  std::int32_t FileSize() const;

  LineReader* reader_;
  LineCursor cursor_;
  const char* file_name_;
  bool descend_;
  PoolPtr pool_;
  DelimiterStack stack_;
  HeaderBlock header_;
  MimeBodyPart* current_ = nullptr;
  State state_ = State::kHeader;
  Result failure_ = Result::kDone;
  // Of the body at hand: blocks of either kind may still begin.
  bool uuencode_possible_ = false;
  bool binhex_possible_ = false;
  std::int32_t block_start_ = 0;    // the marker line
  std::int64_t behind_marker_ = 0;  // the line after it
  bool told_child_limit_ = false;
};

}  // namespace qob
