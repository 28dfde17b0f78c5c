// Reads a message that is not MIME: one text, with the uuencoded and BinHex blocks of its body cut
// out as parts of their own.
//
// Text, block, text, block, text: a block is always followed by a text part, if an empty one. This
// reader tells blocks from text in its own way: a begin line needs a mode of digits, and a block
// whose end is missing goes on to the end of the file.
#pragma once
#include <cstdint>

#include <qob3xapi/mimeparse.h>

#include "lineio/line_reader.h"
#include "mime/line_cursor.h"
#include "mime/part_pool.h"

namespace qob {

class PlainParser {
 public:
  // `pool` holds part 0; the reader is open and at the start of the file.
  PlainParser(LineReader* reader, const char* file_name, MimeMessagePool* pool)
      : reader_(reader),
        cursor_(reader),
        file_name_(file_name),
        pool_(pool),
        current_(pool->parts[0]) {}

  // False on a read error. Throws std::bad_alloc.
  bool Parse();

 private:
  bool ReadHeader(bool* ended);
  bool ReadBody();
  bool SkipUuencode();
  bool SkipBinHex();
  bool MarkColons(bool* started, bool* ended);
  MimeBodyPart* AddBlock(std::int32_t start);
  void AddText();
  std::int32_t Position() const;

  LineReader* reader_;
  LineCursor cursor_;
  const char* file_name_;
  MimeMessagePool* pool_;
  MimeBodyPart* current_;
};

}  // namespace qob
