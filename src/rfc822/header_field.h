// Files one header field into the record.
#pragma once
#include <string>
#include <string_view>

#include <qob3xapi/header822.h>

#include "rfc822/keyword_table.h"

namespace qob {

// One per header block: it remembers where the record's lists end, so that a header of many fields
// is filed in linear time. Nobody else may change the record's lists meanwhile.
class HeaderFiler {
 public:
  // `record` must outlive the filer.
  explicit HeaderFiler(addr822* record, KeywordTable keywords = StandardKeywords())
      : record_(record), keywords_(keywords) {}

  // `field` is one whole field, its lines joined by CR LF TAB, without a final line end. The result
  // is the row's code; kNone when the text is no header field or memory ran out, which is logged
  // under "ParseLine".
  HeaderCode File(std::string_view field);

 private:
  HeaderCode FileParts(std::string_view field);
  void TakeName(std::string_view field);
  bool FileValue(HeaderCode code, std::string_view value);
  bool FileAddresses(HeaderAddressList** slot, std::string_view value);
  bool FileText(char** slot, std::string_view value);
  bool FileDate(std::string_view value);
  bool FileOther(std::string_view value);
  bool Append(ms** list, ms** tail, std::string_view text);

  addr822* record_;
  KeywordTable keywords_;
  std::string name_;           // of the field at hand: lower case, with terminator
  std::size_t name_size_ = 0;  // in the field, without terminator
  std::string scratch_;
  ms* received_tail_ = nullptr;  // null: not looked for yet
  ms* other_tail_ = nullptr;
};

}  // namespace qob
