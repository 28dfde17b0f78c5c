// One body file to a whole message of one part.
#pragma once
#include <string_view>

#include <qob3xapi/util.h>

#include "mime/message_header.h"
#include "util/temp_file.h"

namespace qob {

struct SinglePart {
  HeaderFields header;
  // Null means the default: application, x-unknown, quoted-printable for text and base64 else.
  const char* type = nullptr;
  const char* subtype = nullptr;
  const ms* parameters = nullptr;  // attribute=value
  const char* encoding = nullptr;
  const char* content_id = nullptr;
  const char* description = nullptr;
  const char* body_file = nullptr;
  // Any bit: no content header. Bit 0: uuencode instead of base64 and quoted-printable.
  std::int32_t flags = 0;
};

// The new file, empty when something failed (then none is left). Throws std::bad_alloc.
TempFile BuildSinglePart(const SinglePart& part);
// The header fields, and behind them the body file as it stands: with its own content header, the
// empty line and the encoded content.
TempFile BuildAroundPart(const SinglePart& part);

}  // namespace qob
