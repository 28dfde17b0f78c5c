// What may stand in a header, an address or an envelope: nothing that ends a line, so that no value
// can become a field of its own.
#ifndef TOOLS_QOB_MAIL_VALUES_H
#define TOOLS_QOB_MAIL_VALUES_H

#include <string>
#include <string_view>

namespace cli::mail {

// The functions throw Failure; `what` is the option or field that the line names.

// No CR, LF or NUL.
void RequireOneLine(const std::string& what, std::string_view text);
// That, and UTF-8.
void RequireText(const std::string& what, std::string_view text);
// A token of RFC 2045: subtypes, names of parameters and of character sets.
void RequireToken(const std::string& what, std::string_view text);
// Printable ASCII without blanks, at most so many characters: envelope ids and original recipients.
void RequireGraphic(const std::string& what, std::string_view text, std::size_t longest);

bool IsPrintableAscii(std::string_view text);
// A name of a header field: printable ASCII without colon.
bool IsFieldName(std::string_view text);
bool IsToken(std::string_view text);
std::string_view Trimmed(std::string_view text);

}  // namespace cli::mail

#endif
