#include "db/seed/type_list.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <unordered_set>

#include "db/rows.h"
#include "platform/os/ascii.h"

namespace qob::db {
namespace {

// Attachments are looked up by so many characters of their extension.
constexpr std::size_t kLongestExtension = 9;
constexpr std::size_t kMacCode = 4;

constexpr std::string_view kBytes = "base64";
// A message may not be encoded again (RFC 2046, section 5.2.1).
constexpr std::string_view kMessages = "8bit";
constexpr std::array<std::string_view, 4> kEncodings = {"7bit", kMessages, "quoted-printable",
                                                        kBytes};

bool IsPrintable(unsigned char c) { return c >= ' ' && c <= '~'; }

// RFC 2045, section 5.1.
bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return IsPrintable(static_cast<unsigned char>(c)) && c != ' ' &&
           std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
  });
}

bool IsExtension(std::string_view text) {
  return !text.empty() && text.size() <= kLongestExtension && text.front() != '-' &&
         std::all_of(text.begin(), text.end(), [](char c) {
           const auto byte = static_cast<unsigned char>(c);
           return ascii::IsLower(byte) || ascii::IsDigit(byte) || c == '+' || c == '-' || c == '_';
         });
}

bool IsText(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return IsPrintable(static_cast<unsigned char>(c)); });
}

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) c = static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  return lowered;
}

// What stands before `mark`, trimmed; taken off *rest with the mark.
std::string_view TakeUpTo(std::string_view* rest, char mark) {
  const std::size_t end = rest->find(mark);
  const std::string_view part = rest->substr(0, end);
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return ascii::Trim(part);
}

std::string_view TakeWord(std::string_view* rest) {
  *rest = ascii::TrimLeft(*rest);
  std::size_t end = 0;
  while (end < rest->size() && !ascii::IsSpace(static_cast<unsigned char>((*rest)[end]))) ++end;
  const std::string_view word = rest->substr(0, end);
  rest->remove_prefix(end);
  return word;
}

void SetType(std::string_view name, FileType* type) {
  type->type = TakeUpTo(&name, '/');
  type->subtype = name;
}

// "TYPE CREA", each padded with blanks; a third word makes it too long.
std::string MacCodes(std::string_view text) {
  std::string codes;
  while (!ascii::TrimLeft(text).empty()) {
    std::string code(TakeWord(&text));
    code.resize(std::max(code.size(), kMacCode), ' ');
    codes += code;
  }
  return codes;
}

FileType ReadOwnLine(std::string_view line) {
  FileType type;
  type.extension = TakeUpTo(&line, ';');
  SetType(TakeUpTo(&line, ';'), &type);
  type.encoding = TakeUpTo(&line, ';');
  type.mac = MacCodes(TakeUpTo(&line, ';'));
  type.description = ascii::Trim(line);
  return type;
}

std::unordered_set<std::string> Extensions(const std::vector<FileType>& types) {
  std::unordered_set<std::string> extensions;
  for (const FileType& type : types) extensions.insert(type.extension);
  return extensions;
}

}  // namespace

std::string Fault(const FileType& type) {
  constexpr MagicRecord kRecord{};
  if (!IsExtension(type.extension)) return "no extension of at most nine small letters and digits";
  if (!IsToken(type.type) || type.type.size() >= sizeof kRecord.contentType) return "no MIME type";
  if (!IsToken(type.subtype) || type.subtype.size() >= sizeof kRecord.contentSubtype) {
    return "no MIME subtype";
  }
  if (std::find(kEncodings.begin(), kEncodings.end(), type.encoding) == kEncodings.end()) {
    return "no transfer encoding";
  }
  if (!type.mac.empty() && (type.mac.size() != 2 * kMacCode || !IsText(type.mac))) {
    return "no Macintosh type and creator of four characters each";
  }
  if (!IsText(type.description) || type.description.size() >= sizeof kRecord.textB) {
    return "a description that is too long or no text";
  }
  return "";
}

std::string ReadOwnTypes(std::string_view text, std::vector<FileType>* types) {
  std::unordered_set<std::string> known = Extensions(*types);
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = TakeUpTo(&text, '\n');
    if (line.empty() || line.front() == '#') continue;
    FileType type = ReadOwnLine(line);
    std::string fault = Fault(type);
    if (fault.empty() && !known.insert(type.extension).second) fault = "an extension met before";
    if (!fault.empty()) return std::to_string(number) + ": " + fault;
    types->push_back(std::move(type));
  }
  return "";
}

void ReadRegisteredTypes(std::string_view text, std::vector<FileType>* types) {
  std::unordered_set<std::string> known = Extensions(*types);
  while (!text.empty()) {
    std::string_view line = TakeUpTo(&text, '\n');
    line = TakeUpTo(&line, '#');
    FileType type;
    SetType(TakeWord(&line), &type);
    const bool message = ascii::EqualFold(type.type, "message");
    if (ascii::EqualFold(type.type, "multipart")) continue;
    type.encoding = message ? kMessages : kBytes;
    while (!ascii::TrimLeft(line).empty()) {
      type.extension = Lowered(TakeWord(&line));
      if (Fault(type).empty() && known.insert(type.extension).second) types->push_back(type);
    }
  }
}

}  // namespace qob::db
