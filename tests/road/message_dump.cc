// message_dump: parses and extracts messages through the public interface, for the road tests.
//
// Reads one line per message from standard input, "FILE<tab>DIRECTORY", and answers each with one
// line of JSON: the number of parts and every part's fields, ranges and children. For part N it
// leaves in DIRECTORY the decoded body as "N", header and body undecoded as "N.raw", the decoded
// header block as "N.header" and the body less its embedded attachments as "N.text", and tells
// which of them the library gave.
#include <qob3xapi/qob3xapi.h>
#include <qobplatform/logapi.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr QOB_OSHANDLE kOpenByName = -1;  // the library opens the message itself

json Text(const char* text) {
  if (text == nullptr) return nullptr;
  return std::string(text);
}

json Texts(const ms* chain) {
  json list = json::array();
  for (; chain != nullptr; chain = chain->next) list.push_back(Text(chain->text));
  return list;
}

std::int32_t IndexOf(const MimeMessagePool* pool, const MimeBodyPart* part) {
  for (std::int32_t i = 0; i < pool->count; ++i) {
    if (pool->parts[i] == part) return i;
  }
  return -1;
}

json Describe(const MimeMessagePool* pool, const MimeBodyPart* part) {
  json children = json::array();
  for (std::int32_t i = 0; i < (part->childCount & 0xFFFF); ++i) {
    children.push_back(IndexOf(pool, part->children[i]));
  }
  return {{"type", Text(MimeGetContentType(part))},
          {"subtype", Text(MimeGetContentSubtype(part))},
          {"encoding", Text(MimeGetContentTransferEncoding(part))},
          {"disposition", Text(MimeGetContentDisposition(part))},
          {"parameters", Texts(MimeGetContentTypeParams(part))},
          {"disposition_parameters", Texts(MimeGetContentDispositionParams(part))},
          {"start", part->contentStart},
          {"body", part->bodyStart},
          {"end", part->contentEnd},
          {"role", part->role},
          {"children", children}};
}

// Moves what the library extracted to where the test looks for it.
bool Keep(char* extracted, const fs::path& target) {
  if (extracted == nullptr) return false;
  char* native = QOBNativePath(extracted);
  std::error_code error;
  fs::copy_file(native, target, fs::copy_options::overwrite_existing, error);
  FreeString(native);
  MimeFreeFile(extracted);
  return !error;
}

json Extract(const MimeMessagePool* pool, std::int32_t index, const fs::path& directory) {
  MimeBodyPart* part = MimeGetMsg(pool, index);
  json result = Describe(pool, part);
  result["extracted"] = Keep(MimeGetBody(part, 0, kOpenByName), directory / std::to_string(index));
  result["name"] = Text(MimeGetTrueName(part));
  result["raw"] =
      Keep(MimeGetBody(part, 1, kOpenByName), directory / (std::to_string(index) + ".raw"));
  result["header"] = Keep(MimeGetHeader(part), directory / (std::to_string(index) + ".header"));
  result["text"] = Keep(MimeGetBodyWithNoEmbeddedAttachment(part),
                        directory / (std::to_string(index) + ".text"));
  return result;
}

void KeepFailure(void* lines, std::int32_t level, const char*, const char* text) {
  if (level == 1) static_cast<json*>(lines)->push_back(Text(text));
}

json Dump(const std::string& file, const fs::path& directory) {
  json failures = json::array();
  LogSetSink(KeepFailure, &failures);
  MimeMessagePool* pool = nullptr;
  const std::int32_t count = MimeParseMessage(file.c_str(), 1, &pool);
  json result = {{"count", count}, {"parts", json::array()}};
  for (std::int32_t i = 0; i < count; ++i) result["parts"].push_back(Extract(pool, i, directory));
  MimeFreeMessage(&pool);
  LogSetSink(nullptr, nullptr);
  result["failures"] = failures;
  return result;
}

}  // namespace

int main() {
  InitQOBDll_NOMQ("road");
  for (std::string line; std::getline(std::cin, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) return 64;
    const json result = Dump(line.substr(0, tab), line.substr(tab + 1));
    // Fields may hold any bytes: what is not UTF-8 is replaced for the dump.
    std::cout << result.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
  }
  TerminateQOBDll();
  return 0;
}
