#include "queue/transport_header.h"

#include <initializer_list>

namespace qob {
namespace {

void Append(std::string* lines, std::initializer_list<std::string_view> texts) {
  for (std::string_view text : texts) lines->append(text);
}

}  // namespace

std::string TransportLines(const TransportHeader& header) {
  std::string lines;
  lines.reserve(512);
  Append(&lines, {"Received: From ", header.gateway, " by ", header.gateway, "\r\n"});
  Append(&lines, {"  (QOB Tarrow 5.1) id ", header.entry_name, "; ", header.now, "\r\n"});
  if (header.mime_version) Append(&lines, {"Mime-version: 1.0\r\n"});
  if (!header.date.empty()) Append(&lines, {"Date: ", header.date, "\r\n"});
  if (header.message_id) {
    Append(&lines, {"Message-ID: <", header.entry_name, ".", header.installation, "@",
                    header.message_id_domain, ">\r\n"});
  }
  if (header.receipt) Append(&lines, {header.receipt_name, ": ", header.sender, "\r\n"});
  return lines;
}

}  // namespace qob
