// Address lists: any text gives what the generated parser gives, and the table says the same.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <qob3xapi/header822.h>

#include "rfc822/address_list.h"
#include "rfc822/address_oracle.h"
#include "support/exact_copy.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

void CompareList(const std::string& text, const qob::testing::OracleList& expected) {
  qob::testing::ExactCopy copy(text);
  qob::AddressList list({copy.data(), copy.size()});
  qob::ParsedAddress found;
  for (const qob::testing::OracleAddress& a : expected.addresses) {
    Check(list.Next(&found));
    Check(found.address == a.address && found.raw_text == a.raw_text && found.phrase == a.phrase);
    Check(found.comment == a.comment && found.comments == a.comments);
    Check(found.local_part == a.local_part && found.domain == a.domain);
  }
  Check(!list.Next(&found));
  Check(copy.view() == expected.text);
}

void CompareTable(const std::string& text, const qob::testing::OracleList& expected) {
  qob::testing::ExactText copy(text);
  RecipTbl table{};
  Check(RecipParse(copy, &table, 1) == static_cast<int>(expected.addresses.size()));
  Check(table.count == expected.addresses.size());
  const RecipNode* node = table.head;
  for (const qob::testing::OracleAddress& a : expected.addresses) {
    Check(node->address == a.address && node->rawText == a.raw_text && node->phrase == a.phrase);
    Check(node->comment == a.comment && node->localPart == a.local_part);
    Check(node->domain == a.domain);
    if (node->next == nullptr) Check(node == table.tail);
    node = node->next;
  }
  Clear_RT(&table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  text.resize(std::min(text.size(), text.find('\0')));
  const qob::testing::OracleList expected = qob::testing::OracleParse(text);
  CompareList(text, expected);
  CompareTable(text, expected);
  return 0;
}
