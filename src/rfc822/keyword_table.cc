#include "rfc822/keyword_table.h"

namespace qob {
namespace {

// "resent-date:" is a date of the address class and "sender:" an address kept as text: that is how
// the rows are. "status" and "recvdate" stand without a terminator, and every name that is looked
// up has one; so a Status: field is found among the other headers, and programs expect it there.
constexpr Keyword kKeywords[] = {
    {"to:", HeaderCode::kTo, 7},
    {"resent-to:", HeaderCode::kResentTo, 7},
    {"cc:", HeaderCode::kCc, 7},
    {"resent-cc:", HeaderCode::kResentCc, 7},
    {"bcc:", HeaderCode::kBcc, 7},
    {"resent-bcc:", HeaderCode::kResentBcc, 7},
    {"from:", HeaderCode::kFrom, 7},
    {"resent-from:", HeaderCode::kResentFrom, 7},
    {"resent-date:", HeaderCode::kResentDate, 7},
    {"received:", HeaderCode::kReceived, 1},
    {"reply-to:", HeaderCode::kReplyTo, 6},
    {"return-receipt-to:", HeaderCode::kReturnReceiptTo, 4},
    {"subject:", HeaderCode::kSubject, 0},
    {"date:", HeaderCode::kDate, 0},
    {"sender:", HeaderCode::kSender, 6},
    {"message-id:", HeaderCode::kMessageId, 0},
    {"resent-message-id:", HeaderCode::kResentMessageId, 0},
    {"in-reply-to:", HeaderCode::kInReplyTo, 0},
    {"references:", HeaderCode::kReferences, 0},
    {"return-path:", HeaderCode::kReturnPath, 0},
    {"from ", HeaderCode::kFromLine, 0},
    {"status", HeaderCode::kStatus, 0},
    {"recvdate", HeaderCode::kReceivedDate, 0},
    {"mime-version:", HeaderCode::kMimeVersion, 0},
    {"content-type:", HeaderCode::kContentType, 1},
    {"content-transfer-encoding:", HeaderCode::kContentTransferEncoding, 1},
    {"content-id:", HeaderCode::kContentId, 1},
    {"content-description:", HeaderCode::kContentDescription, 1},
    {"other:", HeaderCode::kOther, 1},
};

}  // namespace

KeywordTable StandardKeywords() { return kKeywords; }

const Keyword* FindKeyword(KeywordTable table, std::string_view name) {
  for (const Keyword& row : table) {
    if (row.name == name) return &row;
  }
  return name.ends_with(':') ? &table.back() : nullptr;
}

}  // namespace qob
