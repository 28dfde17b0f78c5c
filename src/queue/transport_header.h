// The lines that submission writes in front of a message.
#pragma once
#include <string>
#include <string_view>

namespace qob {

// Texts go into the lines as they stand.
struct TransportHeader {
  std::string_view gateway;     // this host, "host.domain"
  std::string_view entry_name;  // the message's name in the queue
  std::string_view now;         // date text

  bool mime_version = false;  // the line is wanted
  std::string_view date;      // empty: no Date line
  bool message_id = false;    // the line is wanted
  std::string_view installation;
  std::string_view message_id_domain;

  bool receipt = false;  // the line is wanted
  std::string_view receipt_name;
  std::string_view sender;
};

std::string TransportLines(const TransportHeader& header);

}  // namespace qob
