// The header fields that both builders write before the content: addresses, subject, lines of the
// caller's own.
#pragma once
#include <qob3xapi/util.h>

#include "lineio/file_writer.h"
#include "mime/header_values.h"

namespace qob {

// Everything may be null; nothing is kept.
struct HeaderFields {
  const char* from = nullptr;
  const ms* to = nullptr;
  const char* subject = nullptr;
  const ms* cc = nullptr;
  const ms* bcc = nullptr;
  const ms* extra = nullptr;  // complete lines
};

void WriteMessageHeader(const HeaderFields& fields, const BuildSettings& settings, FileWriter& out);
// "; attribute="value"" for each of a list.
void WriteParameters(const ms* parameters, const EncodingSettings& settings, FileWriter& out);

// The text of a node; empty for a node without one.
inline std::string_view TextOf(const ms* node) {
  return node->text == nullptr ? std::string_view() : std::string_view(node->text);
}
inline bool IsGiven(const char* text) { return text != nullptr && text[0] != '\0'; }

}  // namespace qob
