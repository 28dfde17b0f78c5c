// qob address: address lists, split by the library.
#include <qob3xapi/header822.h>

#include "address_text.h"
#include "commands.h"
#include "encoded_text.h"
#include "output.h"
#include "private_site.h"
#include "text_input.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.address/1";

class Table {
 public:
  explicit Table(std::string text) : text_(std::move(text)) {
    count_ = RecipParse(text_.data(), &table_, 1);
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { Clear_RT(&table_); }

  bool empty() const { return count_ < 1; }
  const RecipNode* first() const { return table_.head; }

 private:
  std::string text_;  // changed by the parser, and its own for that reason
  RecipTbl table_{};
  std::int32_t count_ = 0;
};

std::string Field(const char* name, const char* value, bool decoded) {
  if (value == nullptr || value[0] == '\0') return {};
  return std::string("  ") + name + "=" +
         Visible(decoded ? DecodedText(value) : std::string(value));
}

void PrintPlain(const RecipNode& node, bool decoded) {
  Out().Line(Visible(node.address) + Field("phrase", node.phrase, decoded) +
             Field("comment", node.comment, decoded) + Field("local", node.localPart, false) +
             Field("domain", node.domain, false));
}

void PrintJson(const RecipNode& node, bool decoded) {
  Json line;
  line["schema"] = kSchema;
  line.update(AddressJson(node, decoded));
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunAddress(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  const bool decoded = arguments.Has("--decoded");
  const ExitCode code = ForEachText(arguments.operands, [&](const std::string& text) {
    const Table table(text);
    if (table.empty())
      throw Failure(ExitCode::kData, "no address in it: check its quotes, brackets and commas");
    for (const RecipNode* node = table.first(); node != nullptr; node = node->next) {
      if (arguments.Has("--json")) {
        PrintJson(*node, decoded);
      } else {
        PrintPlain(*node, decoded);
      }
    }
  });
  Out().Flush();
  return code;
}

}  // namespace cli
