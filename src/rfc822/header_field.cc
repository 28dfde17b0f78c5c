#include "rfc822/header_field.h"

#include <cstdlib>
#include <mutex>
#include <new>

#include "frame/heap.h"
#include "frame/report.h"
#include "platform/os/ascii.h"
#include "rfc822/date_field.h"
#include "rfc822/header_record.h"
#include "rfc822/parser_locks.h"
#include "rfc822/recipient_table.h"

namespace qob {
namespace {

void ReportNoMemory() { ReportAs("ParseLine", kFailure, "malloc failed."); }

// Every line feed and the white space behind it become one blank; the carriage return before it
// stays.
void Unfold(std::string_view value, std::string* out) {
  out->clear();
  while (!value.empty()) {
    const std::size_t feed = value.find('\n');
    out->append(value.substr(0, feed));
    if (feed == std::string_view::npos) return;
    *out += ' ';
    value = ascii::TrimLeft(value.substr(feed));
  }
}

// An empty list in the slot, if there is none yet.
bool MakeAddressList(HeaderAddressList** slot) {
  if (*slot != nullptr && (*slot)->table != nullptr) return true;
  HeapPtr<RecipTbl> table(HeapRecord<RecipTbl>());
  if (table == nullptr) return false;
  if (*slot == nullptr) *slot = HeapRecord<HeaderAddressList>();
  if (*slot == nullptr) return false;
  (*slot)->table = table.release();
  return true;
}

ms* NewTextNode(std::string_view text) {
  HeapPtr<ms> node(HeapRecord<ms>());
  if (node == nullptr) return nullptr;
  node->text = HeapCopy(text);
  return node->text == nullptr ? nullptr : node.release();
}

}  // namespace

HeaderCode HeaderFiler::File(std::string_view field) {
  try {
    return FileParts(field);
  } catch (const std::bad_alloc&) {
    ReportNoMemory();
    return HeaderCode::kNone;
  }
}

HeaderCode HeaderFiler::FileParts(std::string_view field) {
  TakeName(field);
  const Keyword* row = FindKeyword(keywords_, name_);
  if (row == nullptr) return HeaderCode::kNone;
  std::string_view value = field.substr(name_size_);
  if (!value.empty()) value = ascii::TrimLeft(value.substr(1));
  if ((row->field_class & kUnfoldsToBlanks) != 0 && value.find('\n') != std::string_view::npos) {
    Unfold(value, &scratch_);
    value = scratch_;
  }
  if (FileValue(row->code, value)) return row->code;
  ReportNoMemory();
  return HeaderCode::kNone;
}

void HeaderFiler::TakeName(std::string_view field) {
  const std::string_view name = field.substr(0, field.find_first_of(": \t\n"));
  name_size_ = name.size();
  name_.clear();
  for (char c : name) name_ += static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  name_ += name.size() < field.size() && field[name.size()] == ':' ? ':' : ' ';
}

// False when memory ran out.
bool HeaderFiler::FileValue(HeaderCode code, std::string_view value) {
  if (HeaderAddressList** slot = AddressSlot(record_, code)) return FileAddresses(slot, value);
  if (char** slot = TextSlot(record_, code)) return FileText(slot, value);
  switch (code) {
    case HeaderCode::kReceived:
      return Append(&record_->received, &received_tail_, value);
    case HeaderCode::kDate:
    case HeaderCode::kResentDate:
      return FileDate(value);
    default:
      return FileOther(value);
  }
}

bool HeaderFiler::FileAddresses(HeaderAddressList** slot, std::string_view value) {
  if (!MakeAddressList(slot)) {
    EmptyHeader(record_);
    received_tail_ = other_tail_ = nullptr;
    return false;
  }
  std::string list(value);  // the address parser writes into its text
  std::scoped_lock hold(AddressParserLock());
  AppendAddresses(list, (*slot)->table);
  return true;
}

// The first field of a kind wins, also an empty one.
bool HeaderFiler::FileText(char** slot, std::string_view value) {
  if (*slot == nullptr) *slot = HeapCopy(value);
  return *slot != nullptr;
}

bool HeaderFiler::FileDate(std::string_view value) {
  if (record_->date == nullptr) record_->date = NewHeaderDate(value);
  return record_->date != nullptr;
}

bool HeaderFiler::FileOther(std::string_view value) {
  std::string text = name_;
  text[0] = static_cast<char>(ascii::Upper(static_cast<unsigned char>(text[0])));
  text += ' ';
  text += value;
  return Append(&record_->otherHeaders, &other_tail_, text);
}

bool HeaderFiler::Append(ms** list, ms** tail, std::string_view text) {
  ms* node = NewTextNode(text);
  if (node == nullptr) return false;
  if (*tail == nullptr) *tail = *list;
  if (*tail == nullptr) {
    *list = node;
  } else {
    while ((*tail)->next != nullptr) *tail = (*tail)->next;
    (*tail)->next = node;
  }
  *tail = node;
  return true;
}

}  // namespace qob
