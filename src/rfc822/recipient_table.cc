#include "rfc822/recipient_table.h"

#include <cstdlib>

#include "frame/heap.h"
#include "platform/os/ascii.h"
#include "platform/os/probe.h"
#include "rfc822/address_list.h"

namespace qob {
namespace {

void ReleaseNode(RecipNode* node) {
  for (char* text :
       {node->address, node->rawText, node->phrase, node->comment, node->localPart, node->domain}) {
    std::free(text);
  }
  std::free(node);
}

bool FillNode(const ParsedAddress& from, RecipNode* node) {
  return (node->localPart = HeapCopy(from.local_part)) != nullptr &&
         (node->domain = HeapCopy(from.domain)) != nullptr &&
         (node->phrase = HeapCopy(from.phrase)) != nullptr &&
         (node->comment = HeapCopy(from.comment)) != nullptr &&
         (node->address = HeapCopy(from.address)) != nullptr &&
         (node->rawText = HeapCopy(from.raw_text)) != nullptr;
}

void Append(RecipNode* node, RecipTbl* table) {
  if (table->head == nullptr) {
    table->head = node;
  } else {
    table->tail->next = node;
  }
  table->tail = node;
  ++table->count;
}

bool IsBlank(std::span<const char> text) {
  for (char c : text) {
    if (c == '\0') return true;
    if (!ascii::IsSpace(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

// Nodes lie close together in the heap; only a jump of this size makes it worth asking the system
// again.
constexpr std::uintptr_t kNear = 16U << 20;

// `previous` is the place of the node before it, 0 for the first.
bool IsUsable(const RecipNode* node, std::uintptr_t previous) {
  const auto place = reinterpret_cast<std::uintptr_t>(node);
  if (!os::IsPlausiblePointer(node) || place % alignof(RecipNode) != 0) return false;
  const std::uintptr_t distance = place > previous ? place - previous : previous - place;
  return (previous != 0 && distance <= kNear) || os::IsReadable(node);
}

}  // namespace

std::int32_t AppendAddresses(std::span<char> text, RecipTbl* table) {
  if (IsBlank(text)) return 0;
  AddressList list(text);
  if (list.IsNone()) return 0;
  ParsedAddress address;
  while (list.Next(&address)) {
    RecipNode* node = HeapRecord<RecipNode>();
    if (node == nullptr) return 0;
    if (FillNode(address, node)) {
      Append(node, table);
    } else {
      ReleaseNode(node);
    }
  }
  return static_cast<std::int32_t>(table->count);
}

void ClearTable(RecipTbl* table) {
  std::uintptr_t previous = 0;
  for (RecipNode* node = table->head; node != nullptr && IsUsable(node, previous);) {
    RecipNode* next = node->next;
    previous = reinterpret_cast<std::uintptr_t>(node);
    ReleaseNode(node);
    node = next;
  }
  *table = {};
}

}  // namespace qob
