// The header fields that have a place of their own in the record, by lower-cased name with its
// terminator.
#pragma once
#include <cstdint>
#include <span>
#include <string_view>

namespace qob {

// The numbers are results of the field reader; callers know them. 21 is the code of a row that no
// name can reach.
enum class HeaderCode : std::int32_t {
  kNone = -1,
  kTo = 1,
  kFrom = 2,
  kCc = 3,
  kBcc = 4,
  kResentTo = 5,
  kResentCc = 6,
  kResentBcc = 7,
  kReceived = 8,
  kReplyTo = 9,
  kReturnReceiptTo = 10,
  kSubject = 11,
  kDate = 12,
  kSender = 13,
  kMessageId = 14,
  kInReplyTo = 15,
  kReferences = 16,
  kReturnPath = 17,
  kResentMessageId = 18,
  kFromLine = 19,
  kStatus = 20,
  kReceivedDate = 21,
  kMimeVersion = 22,
  kContentType = 23,
  kContentTransferEncoding = 24,
  kContentId = 25,
  kContentDescription = 26,
  kResentFrom = 27,
  kResentDate = 28,
  kOther = 29,
};

// Bits of a row's class. Only the first is consulted here.
inline constexpr unsigned kUnfoldsToBlanks = 2;  // each line break in the value becomes a blank

struct Keyword {
  std::string_view name;
  HeaderCode code;
  unsigned field_class;
};

using KeywordTable = std::span<const Keyword>;

// The last row stands for every other name that ends in a colon.
KeywordTable StandardKeywords();

// The row of that name; the last row for an unknown one with a colon; null for anything else.
const Keyword* FindKeyword(KeywordTable table, std::string_view name);

}  // namespace qob
