// Puts the lines of a header block together to logical fields and hands the MIME ones to the field
// reader.
//
// A field goes on over lines that begin with a blank or a tab; unfolding removes the line ends and
// keeps the white space. Lines of other fields are not kept.
#pragma once
#include <string>
#include <string_view>

#include <qob3xapi/mimeparse.h>

#include "mime/content_fields.h"

namespace qob {

class HeaderBlock {
 public:
  // From here on the fields go into `part`.
  void Start(MimeBodyPart* part);
  // A piece of the header block that begins a line. False when the message cannot be read. Throws
  // std::bad_alloc.
  bool Line(std::string_view piece);
  // A further piece of that line.
  void RestOfLine(std::string_view piece);
  // A line that belongs to no field; ends the open one.
  bool SkippedLine();
  // The end of the block, or of what can be read of it.
  bool End(FieldEnd end);

 private:
  bool Finish(FieldEnd end);

  ContentFields fields_;
  MimeBodyPart* part_ = nullptr;
  std::string field_;
  bool collecting_ = false;
};

}  // namespace qob
