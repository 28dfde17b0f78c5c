// Address tables in tests: filled through the exported calls, looked at by value, released at the
// end.
#pragma once
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <qob3xapi/header822.h>

#include "support/exact_copy.h"

namespace qob::testing {

// One node, by value.
struct Entry {
  std::string address;
  std::string raw_text;
  std::string phrase;
  std::string comment;
  std::string local_part;
  std::string domain;
  bool operator==(const Entry&) const = default;
};

inline void PrintTo(const Entry& e, std::ostream* out) {
  *out << "{address <" << e.address << "> raw <" << e.raw_text << "> phrase <" << e.phrase
       << "> comment <" << e.comment << "> local <" << e.local_part << "> domain <" << e.domain
       << ">}";
}

inline std::vector<Entry> Entries(const RecipTbl& table) {
  const auto text = [](const char* s) { return std::string(s == nullptr ? "(null)" : s); };
  std::vector<Entry> entries;
  for (const RecipNode* n = table.head; n != nullptr; n = n->next) {
    entries.push_back({text(n->address), text(n->rawText), text(n->phrase), text(n->comment),
                       text(n->localPart), text(n->domain)});
  }
  return entries;
}

class Table {
 public:
  Table() = default;
  ~Table() { Clear_RT(&table_); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // Appends; the text afterwards is kept in text().
  int Parse(std::string_view list) {
    ExactText copy(list);
    const int count = RecipParse(copy, &table_, 0);
    text_ = copy.get();
    return count;
  }
  std::vector<Entry> entries() const { return Entries(table_); }
  const std::string& text() const { return text_; }
  RecipTbl* get() { return &table_; }

 private:
  RecipTbl table_{};
  std::string text_;
};

inline std::vector<Entry> ParseList(std::string_view list) {
  Table table;
  table.Parse(list);
  return table.entries();
}

inline std::vector<std::string> Addresses(std::string_view list) {
  std::vector<std::string> addresses;
  for (const Entry& e : ParseList(list)) addresses.push_back(e.address);
  return addresses;
}

}  // namespace qob::testing
