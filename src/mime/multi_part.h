// Ready body parts to one multipart message.
#pragma once
#include <string>
#include <string_view>

#include <qob3xapi/util.h>

#include "mime/message_header.h"
#include "util/temp_file.h"

namespace qob {

struct MultiPart {
  HeaderFields header;
  const char* const* part_files = nullptr;  // ended by null; null = no parts
  const char* subtype = nullptr;            // null = mixed
  const ms* parameters = nullptr;
  std::int32_t flags = 0;  // any bit: no content header, no delimiters; the parts one after another
};

// The new file, empty when something failed (then none is left). Throws std::bad_alloc.
TempFile BuildMultiPart(const MultiPart& message);

}  // namespace qob
