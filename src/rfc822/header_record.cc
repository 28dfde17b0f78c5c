#include "rfc822/header_record.h"

#include <cstdlib>

#include "rfc822/recipient_table.h"

namespace qob {
namespace {

void ReleaseAddresses(HeaderAddressList* list) {
  while (list != nullptr) {
    HeaderAddressList* next = list->next;
    if (list->table != nullptr) {
      ClearTable(list->table);
      std::free(list->table);
    }
    std::free(list->text);
    std::free(list);
    list = next;
  }
}

void ReleaseTexts(ms* chain) {
  while (chain != nullptr) {
    ms* next = chain->next;
    std::free(chain->text);
    std::free(chain);
    chain = next;
  }
}

}  // namespace

HeaderAddressList** AddressSlot(addr822* record, HeaderCode code) {
  switch (code) {
    case HeaderCode::kTo:
      return &record->to;
    case HeaderCode::kFrom:
      return &record->from;
    case HeaderCode::kCc:
      return &record->cc;
    case HeaderCode::kBcc:
      return &record->bcc;
    case HeaderCode::kResentTo:
      return &record->resentTo;
    case HeaderCode::kResentCc:
      return &record->resentCc;
    case HeaderCode::kResentBcc:
      return &record->resentBcc;
    case HeaderCode::kReplyTo:
      return &record->replyTo;
    case HeaderCode::kReturnReceiptTo:
      return &record->returnReceiptTo;
    case HeaderCode::kResentFrom:
      return &record->resentFrom;
    default:
      return nullptr;
  }
}

char** TextSlot(addr822* record, HeaderCode code) {
  switch (code) {
    case HeaderCode::kSubject:
      return &record->subject;
    case HeaderCode::kSender:
      return &record->sender;
    case HeaderCode::kMessageId:
      return &record->messageId;
    case HeaderCode::kInReplyTo:
      return &record->inReplyTo;
    case HeaderCode::kReferences:
      return &record->references;
    case HeaderCode::kReturnPath:
      return &record->returnPath;
    case HeaderCode::kResentMessageId:
      return &record->resentMessageId;
    case HeaderCode::kFromLine:
      return &record->fromLine;
    case HeaderCode::kStatus:
      return &record->status;
    case HeaderCode::kMimeVersion:
      return &record->mimeVersion;
    case HeaderCode::kContentType:
      return &record->contentType;
    case HeaderCode::kContentTransferEncoding:
      return &record->contentTransferEncoding;
    case HeaderCode::kContentId:
      return &record->contentId;
    case HeaderCode::kContentDescription:
      return &record->contentDescription;
    default:
      return nullptr;
  }
}

void EmptyHeader(addr822* record) {
  for (HeaderAddressList* list :
       {record->to, record->resentTo, record->cc, record->resentCc, record->bcc, record->resentBcc,
        record->from, record->resentFrom, record->replyTo, record->returnReceiptTo}) {
    ReleaseAddresses(list);
  }
  for (char* text :
       {record->subject, record->sender, record->messageId, record->resentMessageId,
        record->inReplyTo, record->references, record->returnPath, record->status, record->fromLine,
        record->mimeVersion, record->contentType, record->contentTransferEncoding,
        record->contentId, record->contentDescription}) {
    std::free(text);
  }
  ReleaseTexts(record->received);
  ReleaseTexts(record->otherHeaders);
  if (record->date != nullptr) std::free(record->date->text);
  std::free(record->date);
  *record = {};
}

}  // namespace qob
