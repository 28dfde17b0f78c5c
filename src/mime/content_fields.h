// The MIME header-field reader: one logical header field at a time into a body-part record.
//
// A field that cannot be read is reported and leaves the record as it was; only a content type
// without a subtype makes the whole message unreadable. Where a field is repeated, the first one
// that gave the record something counts.
#pragma once
#include <string_view>

#include <qob3xapi/mimeparse.h>

#include "mime/parameter_list.h"

namespace qob {

class ContentFields {
 public:
  // Reads [Options] StrictMimeParsing.
  ContentFields();

  // The line begins one of the six fields that are read here.
  static bool IsWanted(std::string_view line);

  // `field` is unfolded: name, colon, value, without the final line end. False when the message
  // cannot be read for it. Throws std::bad_alloc.
  bool Read(std::string_view field, FieldEnd end, MimeBodyPart* part);

 private:
  struct Field {
    std::string_view name;   // as written, without the colon
    std::string_view value;  // without white space before it
    FieldEnd end;
  };
  enum class TypeResult { kFound, kDefaulted, kNoSubtype };

  bool ReadType(const Field& field, MimeBodyPart* part);
  TypeResult ReadTypeAndSubtype(const Field& field, std::string_view text, MimeBodyPart* part);
  void ReadDisposition(const Field& field, MimeBodyPart* part);
  void ReadParameters(const Field& field, std::string_view text, ms** chain);

  ParameterRules rules_;
};

}  // namespace qob
