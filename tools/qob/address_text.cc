#include "address_text.h"

#include "encoded_text.h"

namespace cli {
namespace {

bool IsSet(const char* text) { return text != nullptr && text[0] != '\0'; }

void PutDecoded(Json* row, const char* member, const char* text, bool decoded) {
  if (!IsSet(text)) {
    (*row)[member] = nullptr;
  } else if (decoded) {
    PutText(row, member, DecodedText(text));
  } else {
    PutText(row, member, std::string_view(text));
  }
}

}  // namespace

std::string AddressText(const RecipNode& node) {
  std::string text = node.address == nullptr ? "" : node.address;
  const bool bare = text.ends_with(';') || text.starts_with('<');
  if (!bare && IsSet(node.phrase)) text = std::string(node.phrase) + " <" + text + ">";
  if (IsSet(node.comment)) text += std::string(" (") + node.comment + ")";
  return text;
}

Json AddressJson(const RecipNode& node, bool decoded) {
  Json row;
  PutText(&row, "address", node.address);
  PutDecoded(&row, "phrase", node.phrase, decoded);
  PutDecoded(&row, "comment", node.comment, decoded);
  PutDecoded(&row, "local_part", node.localPart, false);
  PutDecoded(&row, "domain", node.domain, false);
  PutText(&row, "raw", node.rawText);
  return row;
}

Json AddressesJson(const RecipTbl* table, bool decoded) {
  Json list = Json::array();
  if (table == nullptr) return list;
  for (const RecipNode* node = table->head; node != nullptr; node = node->next)
    list.push_back(AddressJson(*node, decoded));
  return list;
}

}  // namespace cli
