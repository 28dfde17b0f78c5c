#include "json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "utf8.h"

namespace cli {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::size_t kLeastBlock = 128 * 1024;
constexpr std::size_t kLongestNumber = 20;

// Characters that stand for themselves.
constexpr std::array<bool, 256> MakePlain() {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0x20; c < 0x7F; ++c) plain[c] = c != '"' && c != '\\';
  return plain;
}
constexpr std::array<bool, 256> kPlain = MakePlain();

bool IsPlain(char c) { return kPlain[static_cast<unsigned char>(c)]; }

char ShortEscape(std::uint32_t code) {
  switch (code) {
    case '"':
    case '\\':
      return static_cast<char>(code);
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return '\0';
  }
}

}  // namespace

void JsonWriter::Grow(std::size_t bytes) {
  const std::size_t capacity = std::max({kLeastBlock, 2 * capacity_, size_ + bytes});
  // Left as it comes from the heap: every byte is written before it is read.
  std::unique_ptr<char[]> larger(new char[capacity]);
  if (size_ > 0) std::memcpy(larger.get(), block_.get(), size_);
  block_ = std::move(larger);
  capacity_ = capacity;
}

void JsonWriter::PutHex(std::uint32_t unit) {
  Put("\\u");
  for (int shift = 12; shift >= 0; shift -= 4) Put("0123456789abcdef"[unit >> shift & 15]);
}

void JsonWriter::PutEscape(std::uint32_t code) {
  const char short_escape = ShortEscape(code);
  if (short_escape != '\0') {
    Put('\\');
    Put(short_escape);
  } else if (code < 0x10000) {
    PutHex(code);
  } else {
    PutHex(0xD7C0 + (code >> 10));
    PutHex(0xDC00 + (code & 0x3FF));
  }
}

bool JsonWriter::PutEscaped(std::string_view bytes) {
  bool valid = true;
  while (!bytes.empty()) {
    char* const room = Room(bytes.size());
    std::size_t run = 0;
    for (; run < bytes.size() && IsPlain(bytes[run]); ++run) room[run] = bytes[run];
    size_ += run;
    bytes.remove_prefix(run);
    if (bytes.empty()) break;
    const Utf8Step step = NextCharacter(bytes);
    valid = valid && step.valid;
    PutEscape(step.valid ? step.code : kReplacement);
    bytes.remove_prefix(step.length);
  }
  return valid;
}

void JsonWriter::Comma() {
  if (!first_) Put(',');
  first_ = false;
}

void JsonWriter::Name(std::string_view name, std::string_view then) {
  constexpr std::size_t kSigns = 4;
  char* at = Room(name.size() + then.size() + kSigns);
  char* const start = at;
  if (!first_) *at++ = ',';
  first_ = false;
  *at++ = '"';
  at = std::copy(name.begin(), name.end(), at);
  *at++ = '"';
  *at++ = ':';
  at = std::copy(then.begin(), then.end(), at);
  size_ += static_cast<std::size_t>(at - start);
}

void JsonWriter::BeginLine(std::string_view schema) {
  first_ = true;
  Begin();
  Text("schema", schema);
}

void JsonWriter::EndLine() {
  End();
  Put('\n');
}

void JsonWriter::Begin() {
  Comma();
  Put('{');
  first_ = true;
}

void JsonWriter::BeginMember(std::string_view name) {
  Name(name, "{");
  first_ = true;
}

void JsonWriter::End() {
  Put('}');
  first_ = false;
}

void JsonWriter::BeginList(std::string_view name) {
  Name(name, "[");
  first_ = true;
}

void JsonWriter::EndList() {
  Put(']');
  first_ = false;
}

void JsonWriter::Text(std::string_view name, std::string_view bytes) {
  Name(name, "\"");
  const bool valid = PutEscaped(bytes);
  Put('"');
  if (valid) return;
  Put(",\"");
  Put(name);
  Put("_base64\":\"");
  Put(Base64(bytes));
  Put('"');
}

void JsonWriter::Number(std::string_view name, std::int64_t value) {
  Name(name, "");
  char* const room = Room(kLongestNumber);
  size_ += static_cast<std::size_t>(std::to_chars(room, room + kLongestNumber, value).ptr - room);
}

void JsonWriter::NumberIf(std::string_view name, bool known, std::int64_t value) {
  if (known) {
    Number(name, value);
  } else {
    Null(name);
  }
}

void JsonWriter::Switch(std::string_view name, bool value) { Name(name, value ? "true" : "false"); }

void JsonWriter::Null(std::string_view name) { Name(name, "null"); }

void JsonWriter::TextItem(std::string_view bytes) {
  Comma();
  Put('"');
  PutEscaped(bytes);
  Put('"');
}

}  // namespace cli
