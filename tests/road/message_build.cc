// message_build: builds messages through the public interface, for the road tests.
//
// Reads one job per line from standard input, a JSON object, and answers each with "built" or
// "null". The built file is moved to the job's "out". Texts hold one character for each byte. Every
// job runs in a thread of its own unless "same_thread" is set: builders of one thread give equal
// boundaries within a second.
//
// {"call": "single"|"multi"|"v2", "out", "from", "to": [], "subject", "cc": [], "bcc": [],
//  "extra": [], "type", "subtype", "params": [], "encoding", "id", "description", "body",
//  "parts": [], "flags"}; what is missing is null.
#include <qob3xapi/qob3xapi.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string Bytes(const std::string& utf8) {
  std::string bytes;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const unsigned c = static_cast<unsigned char>(utf8[i]);
    if (c < 0x80) {
      bytes += utf8[i];
      continue;
    }
    const unsigned low = static_cast<unsigned char>(utf8.at(++i));
    bytes += static_cast<char>((c & 0x03) << 6 | (low & 0x3F));
  }
  return bytes;
}

// The texts of one job, alive as long as the job.
class Job {
 public:
  explicit Job(const json& fields) : fields_(fields) {}

  char* Text(const char* name) {
    if (!fields_.contains(name) || fields_[name].is_null()) return nullptr;
    return Keep(Bytes(fields_[name].get<std::string>()));
  }
  ms* List(const char* name) {
    if (!fields_.contains(name) || fields_[name].is_null()) return nullptr;
    ms* first = nullptr;
    ms** link = &first;
    for (const json& text : fields_[name]) {
      nodes_.push_back(std::make_unique<ms>(ms{Keep(Bytes(text.get<std::string>())), nullptr}));
      *link = nodes_.back().get();
      link = &nodes_.back()->next;
    }
    return first;
  }
  std::vector<const char*> Array(const char* name) {
    std::vector<const char*> paths;
    if (fields_.contains(name)) {
      for (const json& path : fields_[name]) paths.push_back(Keep(path.get<std::string>()));
    }
    paths.push_back(nullptr);
    return paths;
  }
  std::string Word(const char* name) { return fields_.value(name, ""); }
  std::int32_t Number(const char* name) { return fields_.value(name, 0); }

 private:
  char* Keep(std::string text) {
    texts_.push_back(std::make_unique<std::string>(std::move(text)));
    return texts_.back()->data();
  }

  const json& fields_;
  std::vector<std::unique_ptr<std::string>> texts_;
  std::vector<std::unique_ptr<ms>> nodes_;
};

char* Build(Job* job) {
  char* const from = job->Text("from");
  ms* const to = job->List("to");
  char* const subject = job->Text("subject");
  ms* const cc = job->List("cc");
  ms* const bcc = job->List("bcc");
  ms* const params = job->List("params");
  ms* const extra = job->List("extra");
  char* const type = job->Text("type");
  char* const subtype = job->Text("subtype");
  char* const encoding = job->Text("encoding");
  char* const id = job->Text("id");
  char* const description = job->Text("description");
  char* const body = job->Text("body");
  const std::int32_t flags = job->Number("flags");
  if (job->Word("call") == "multi") {
    const std::vector<const char*> parts = job->Array("parts");
    return MimeBuildMultipartMessageWithBCC(from, to, subject, cc, bcc, parts.data(), subtype,
                                            params, extra, flags);
  }
  if (job->Word("call") == "v2") {
    return MimeBuildMessageV2(from, to, subject, cc, type, subtype, params, encoding, id,
                              description, body, extra, flags);
  }
  if (bcc == nullptr) {
    return MimeBuildMessage(from, to, subject, cc, type, subtype, params, encoding, id, description,
                            body, extra, flags);
  }
  return MimeBuildMessageWithBCC(from, to, subject, cc, bcc, type, subtype, params, encoding, id,
                                 description, body, extra, flags);
}

bool Run(const json& fields) {
  Job job(fields);
  char* const built = Build(&job);
  if (built == nullptr) return false;
  char* const native = QOBNativePath(built);
  fs::rename(native, job.Word("out"));
  FreeString(native);
  FreeString(built);
  return true;
}

}  // namespace

int main() {
  InitQOBDll_NOMQ("road");
  for (std::string line; std::getline(std::cin, line);) {
    const json fields = json::parse(line);
    bool built = false;
    if (fields.value("same_thread", false)) {
      built = Run(fields);
    } else {
      std::thread([&] { built = Run(fields); }).join();
    }
    std::cout << (built ? "built\n" : "null\n") << std::flush;
  }
  TerminateQOBDll();
  return 0;
}
