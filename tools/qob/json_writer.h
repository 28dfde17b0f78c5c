// JSON Lines for long lists: appends to one text, keeps nothing and asks the heap for nothing else.
// What it writes is byte for byte what json_line.h writes of the same members.
#ifndef TOOLS_QOB_JSON_WRITER_H
#define TOOLS_QOB_JSON_WRITER_H

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

class JsonWriter {
 public:
  explicit JsonWriter(std::string* out) : out_(*out) {}

  // A line: an object whose first member names its schema.
  void BeginLine(std::string_view schema);
  void EndLine();

  // An object: an item of a list, or the value of a member. Names are plain ASCII without quotes.
  void Begin();
  void BeginMember(std::string_view name);
  void End();
  void BeginList(std::string_view name);
  void EndList();

  void Text(std::string_view name, std::string_view bytes);
  void Number(std::string_view name, std::int64_t value);
  void Switch(std::string_view name, bool value);
  void Null(std::string_view name);
  // The number, or null where it is not known.
  void NumberIf(std::string_view name, bool known, std::int64_t value);

  void TextItem(std::string_view bytes);

 private:
  void Name(std::string_view name);
  void Comma();

  std::string& out_;
  bool first_ = true;  // nothing stands before in the object or list at hand
};

// Appends the bytes as they stand between the quotes of a JSON text; malformed ones become U+FFFD.
// True when there was none.
bool AppendJsonText(std::string_view bytes, std::string* out);

}  // namespace cli

#endif
