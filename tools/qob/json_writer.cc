#include "json_writer.h"

#include <array>
#include <charconv>

#include "utf8.h"

namespace cli {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

// Characters that stand for themselves.
constexpr std::array<bool, 256> MakePlain() {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0x20; c < 0x7F; ++c) plain[c] = c != '"' && c != '\\';
  return plain;
}
constexpr std::array<bool, 256> kPlain = MakePlain();

bool IsPlain(char c) { return kPlain[static_cast<unsigned char>(c)]; }

void AppendHex(std::uint32_t unit, std::string* out) {
  *out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) *out += "0123456789abcdef"[unit >> shift & 15];
}

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

void AppendEscape(std::uint32_t code, std::string* out) {
  const char short_escape = ShortEscape(code);
  if (short_escape != '\0') {
    *out += '\\';
    *out += short_escape;
  } else if (code < 0x10000) {
    AppendHex(code, out);
  } else {
    AppendHex(0xD7C0 + (code >> 10), out);
    AppendHex(0xDC00 + (code & 0x3FF), out);
  }
}

}  // namespace

bool AppendJsonText(std::string_view bytes, std::string* out) {
  bool valid = true;
  while (!bytes.empty()) {
    std::size_t run = 0;
    while (run < bytes.size() && IsPlain(bytes[run])) ++run;
    out->append(bytes.data(), run);
    bytes.remove_prefix(run);
    if (bytes.empty()) break;
    const Utf8Step step = NextCharacter(bytes);
    valid = valid && step.valid;
    AppendEscape(step.valid ? step.code : kReplacement, out);
    bytes.remove_prefix(step.length);
  }
  return valid;
}

void JsonWriter::Comma() {
  if (!first_) out_ += ',';
  first_ = false;
}

void JsonWriter::Name(std::string_view name) {
  Comma();
  out_ += '"';
  out_ += name;
  out_ += "\":";
}

void JsonWriter::BeginLine(std::string_view schema) {
  first_ = true;
  Begin();
  Text("schema", schema);
}

void JsonWriter::EndLine() {
  End();
  out_ += '\n';
}

void JsonWriter::Begin() {
  Comma();
  out_ += '{';
  first_ = true;
}

void JsonWriter::BeginMember(std::string_view name) {
  Name(name);
  out_ += '{';
  first_ = true;
}

void JsonWriter::End() {
  out_ += '}';
  first_ = false;
}

void JsonWriter::BeginList(std::string_view name) {
  Name(name);
  out_ += '[';
  first_ = true;
}

void JsonWriter::EndList() {
  out_ += ']';
  first_ = false;
}

void JsonWriter::Text(std::string_view name, std::string_view bytes) {
  Name(name);
  out_ += '"';
  const bool valid = AppendJsonText(bytes, &out_);
  out_ += '"';
  if (valid) return;
  out_ += ",\"";
  out_ += name;
  out_ += "_base64\":\"";
  out_ += Base64(bytes);
  out_ += '"';
}

void JsonWriter::Number(std::string_view name, std::int64_t value) {
  Name(name);
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  out_.append(digits.data(), end);
}

void JsonWriter::NumberIf(std::string_view name, bool known, std::int64_t value) {
  if (known) {
    Number(name, value);
  } else {
    Null(name);
  }
}

void JsonWriter::Switch(std::string_view name, bool value) {
  Name(name);
  out_ += value ? "true" : "false";
}

void JsonWriter::Null(std::string_view name) {
  Name(name);
  out_ += "null";
}

void JsonWriter::TextItem(std::string_view bytes) {
  Comma();
  out_ += '"';
  AppendJsonText(bytes, &out_);
  out_ += '"';
}

}  // namespace cli
