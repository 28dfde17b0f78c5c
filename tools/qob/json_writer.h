// JSON Lines for long lists: appends to one block of text and asks the heap for nothing else. What
// it writes is byte for byte what json_line.h writes of the same members.
#ifndef TOOLS_QOB_JSON_WRITER_H
#define TOOLS_QOB_JSON_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace cli {

class JsonWriter {
 public:
  JsonWriter() = default;
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  // What was written since Clear.
  std::string_view text() const { return {block_.get(), size_}; }
  void Clear() { size_ = 0; }

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
  void Grow(std::size_t bytes);
  // Room for so many bytes more, where they begin.
  char* Room(std::size_t bytes) {
    if (capacity_ - size_ < bytes) Grow(bytes);
    return block_.get() + size_;
  }
  void Put(char c) { *Room(1) = c, ++size_; }
  void Put(std::string_view text) {
    std::memcpy(Room(text.size()), text.data(), text.size());
    size_ += text.size();
  }
  // A comma where one is due, the name, and how its value begins.
  void Name(std::string_view name, std::string_view then);
  void Comma();
  // The bytes as they stand between quotes; malformed ones become U+FFFD. False when there was one.
  bool PutEscaped(std::string_view bytes);
  void PutEscape(std::uint32_t code);
  void PutHex(std::uint32_t unit);

  std::unique_ptr<char[]> block_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool first_ = true;  // nothing stands before in the object or list at hand
};

}  // namespace cli

#endif
