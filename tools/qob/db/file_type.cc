#include "file_type.h"

#include <algorithm>

namespace cli::db {
namespace {

constexpr const char* kSchema = "qob.magic/1";
constexpr std::size_t kExtension = 9;
constexpr std::size_t kCode = 4;
constexpr const char* kNoToken = "()<>@,;:\\\"/[]?= ";

bool IsPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

void CheckToken(const char* what, const std::string& text, std::size_t most) {
  CheckWord(what, text, most);
  if (text.find_first_of(kNoToken) == std::string::npos) return;
  throw Failure(ExitCode::kUsage,
                "'" + text + "' is no " + what + ": give it without blanks and " + kNoToken);
}

std::string TextMember(const Json& line, const char* name) {
  const auto member = line.find(name);
  if (member == line.end() || !member->is_string()) {
    throw Failure(ExitCode::kData, std::string("the member ") + name +
                                       " is missing or no text: give what 'qob magic export' "
                                       "writes");
  }
  return member->get<std::string>();
}

}  // namespace

FileType TypeOf(const MagicRecord& record) {
  return {TextOf(record.extension), TextOf(record.contentType),    TextOf(record.contentSubtype),
          TextOf(record.textA),     TextOf(record.macTypeCreator), TextOf(record.textB)};
}

MagicRecord RecordOf(const FileType& type) {
  MagicRecord record{};
  SetText(record.extension, type.extension);
  SetText(record.contentType, type.type);
  SetText(record.contentSubtype, type.subtype);
  SetText(record.textA, type.encoding);
  SetText(record.textB, type.description);
  SetText(record.macTypeCreator, type.mac);
  return record;
}

void SetMimeType(const std::string& text, FileType* type) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) {
    throw Failure(ExitCode::kUsage,
                  "'" + text + "' is no MIME type: give type and subtype with a / between them");
  }
  type->type = text.substr(0, slash);
  type->subtype = text.substr(slash + 1);
}

std::string MacCodes(const std::string& text) {
  if (text.empty() || text.size() == 2 * kCode) return text;
  const std::size_t blank = text.find(' ');
  std::string first = text.substr(0, blank);
  std::string second = blank == std::string::npos ? "" : text.substr(blank + 1);
  const auto bad = [](const std::string& code) {
    return code.empty() || code.size() > kCode || code.find(' ') != std::string::npos;
  };
  if (bad(first) || bad(second)) {
    throw Failure(ExitCode::kUsage, "'" + text +
                                        "' is no Macintosh type and creator: give two codes of at "
                                        "most four characters, or eight characters");
  }
  first.resize(kCode, ' ');
  second.resize(kCode, ' ');
  return first + second;
}

void TakeOptions(const Arguments& arguments, FileType* type) {
  type->encoding = arguments.Value("--encoding", type->encoding);
  type->description = arguments.Value("--text", type->description);
  if (arguments.Has("--mac")) type->mac = MacCodes(arguments.Value("--mac"));
}

void CheckFileType(const FileType& type) {
  CheckToken("extension", type.extension, kExtension);
  if (type.extension.find('.') != std::string::npos) {
    throw Failure(ExitCode::kUsage, "'" + type.extension +
                                        "' holds a full stop: give what stands "
                                        "behind the last one");
  }
  CheckToken("MIME type", type.type, sizeof MagicRecord::contentType - 1);
  CheckToken("MIME subtype", type.subtype, sizeof MagicRecord::contentSubtype - 1);
  CheckToken("transfer encoding", type.encoding, sizeof MagicRecord::textA - 1);
  if (!IsPrintable(type.mac) || (!type.mac.empty() && type.mac.size() != 2 * kCode)) {
    throw Failure(ExitCode::kUsage, "'" + type.mac +
                                        "' is no Macintosh type and creator: give "
                                        "eight printable characters");
  }
  if (!IsPrintable(type.description) || type.description.size() >= sizeof MagicRecord::textB) {
    throw Failure(ExitCode::kUsage, "the text is too long or not printable ASCII: give at most " +
                                        std::to_string(sizeof MagicRecord::textB - 1) +
                                        " characters");
  }
}

Json JsonOf(const FileType& type) {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "extension", type.extension);
  PutText(&line, "type", type.type);
  PutText(&line, "subtype", type.subtype);
  PutText(&line, "encoding", type.encoding);
  PutText(&line, "mac", type.mac);
  PutText(&line, "description", type.description);
  return line;
}

FileType ReadType(const std::string& text) {
  const Json line = Json::parse(text, nullptr, false);
  if (!line.is_object() || !line.contains("schema") || line["schema"] != kSchema) {
    throw Failure(ExitCode::kData, std::string("no JSON object of the schema ") + kSchema +
                                       ": give what 'qob magic export' writes");
  }
  FileType type{TextMember(line, "extension"), TextMember(line, "type"),
                TextMember(line, "subtype"),   TextMember(line, "encoding"),
                TextMember(line, "mac"),       TextMember(line, "description")};
  try {
    CheckFileType(type);
  } catch (const Failure& failure) {
    throw Failure(ExitCode::kData, failure.what());
  }
  return type;
}

std::vector<FileType> AllTypes(const Site& site) {
  std::vector<FileType> types;
  tesseraBase session;
  Table<MagicRow> table(session, site, "magicdb");
  table.ForEach([&] { types.push_back(TypeOf(table.row.fields)); });
  return types;
}

}  // namespace cli::db
