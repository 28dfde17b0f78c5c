// Records of attachments that stand as text inside a text body.
#include "mime/embedded.h"

#include "mime/part_pool.h"

namespace qob {

void DescribeUuencodeBlock(MimeBodyPart* block) {
  SetText(&block->contentType, "x-embedded");
  SetText(&block->contentTransferEncoding, "x-uuencode");
}

void DescribeBinHexBlock(MimeBodyPart* block) {
  SetText(&block->contentType, "application");
  SetText(&block->contentSubtype, "mac-binhex40");
}

bool MayHoldBlocks(const MimeBodyPart& part) {
  return part.contentType == nullptr ||
         (TextIs(part.contentType, "text") && TextIs(part.contentSubtype, "plain"));
}

}  // namespace qob
