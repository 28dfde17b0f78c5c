// Attachments that stand as text inside a text body: a uuencoded block or BinHex data, each behind
// a marker line.
//
// Both readers of messages know these markers, but they tell blocks from text by rules of their
// own; what is shared here is only what the records of such a block hold.
#pragma once
#include <string_view>

#include <qob3xapi/mimeparse.h>

namespace qob {

inline constexpr std::string_view kUuencodeMarker = "begin ";
inline constexpr std::string_view kBinHexMarker = "(This file must be converted with binhex 4.0)";

// Type and encoding of a record that stands for such a block. Throw std::bad_alloc.
void DescribeUuencodeBlock(MimeBodyPart* block);
void DescribeBinHexBlock(MimeBodyPart* block);

// Text/plain, or no content type at all: the bodies in which blocks are looked for.
bool MayHoldBlocks(const MimeBodyPart& part);

}  // namespace qob
