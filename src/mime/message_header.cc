#include "mime/message_header.h"

namespace qob {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kDivider = ", ";
constexpr std::string_view kFold = "\r\n   ";
constexpr std::size_t kFoldColumn = 80;
// Where the first address stands, behind "To: ", and where one stands after a fold. Cc and Bcc
// count as To does.
constexpr std::size_t kFirstColumn = 4;
constexpr std::size_t kFoldedColumn = 3;

// A list without an address still ends its line, which then ends the header early.
void WriteAddresses(std::string_view name, const ms* list, const BuildSettings& settings,
                    FileWriter& out) {
  if (list == nullptr) return;
  std::size_t column = 0;
  for (const ms* node = list; node != nullptr; node = node->next) {
    if (TextOf(node).empty()) continue;
    out.Write(column == 0 ? name : kDivider);
    column = column == 0 ? kFirstColumn : column + kDivider.size();
    const std::string address = HeaderAddress(TextOf(node), Addressee::kRecipient, settings);
    column += address.size() + kDivider.size();
    if (column >= kFoldColumn) {
      out.Write(kFold);
      column = kFoldedColumn;
    }
    out.Write(address);
  }
  out.Write(kLineEnd);
}

void WriteExtraLines(const ms* lines, FileWriter& out) {
  for (; lines != nullptr; lines = lines->next) {
    const std::string_view line = TextOf(lines);
    if (line.empty()) continue;
    out.Write(line);
    if (!line.ends_with(kLineEnd)) out.Write(kLineEnd);
  }
}

}  // namespace

void WriteMessageHeader(const HeaderFields& fields, const BuildSettings& settings,
                        FileWriter& out) {
  if (IsGiven(fields.from)) {
    out.Write("From: ");
    out.Write(HeaderAddress(fields.from, Addressee::kSender, settings));
    out.Write(kLineEnd);
  }
  WriteAddresses("To: ", fields.to, settings, out);
  WriteAddresses("Cc: ", fields.cc, settings, out);
  WriteAddresses("Bcc: ", fields.bcc, settings, out);
  if (IsGiven(fields.subject)) {
    out.Write("Subject: ");
    out.Write(EncodedHeader(fields.subject, settings.encoding));
    out.Write(kLineEnd);
  }
  WriteExtraLines(fields.extra, out);
}

void WriteParameters(const ms* parameters, const EncodingSettings& settings, FileWriter& out) {
  for (; parameters != nullptr; parameters = parameters->next) {
    const std::string_view parameter = TextOf(parameters);
    if (parameter.empty()) continue;
    out.Write("; ");
    out.Write(HeaderParameter(parameter, settings).value_or(std::string(parameter)));
  }
}

}  // namespace qob
