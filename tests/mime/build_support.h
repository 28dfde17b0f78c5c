// What the tests of the builders share: lists on the stack, and a started library that builds.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mimebuild.h>

#include "support/temp_spool.h"

namespace qob::testing {

// A list of texts on the stack of a test.
class List {
 public:
  List(std::initializer_list<const char*> texts) {
    for (const char* text : texts) texts_.emplace_back(text);
    nodes_.resize(texts_.size());
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      nodes_[i] = {texts_[i].data(), i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr};
    }
  }
  operator ms*() { return nodes_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<ms> nodes_;
};

class BuildTest : public ::testing::Test {
 protected:
  BuildTest() {
    SetIni("");
    SetBody("Hello\r\n");
  }
  ~BuildTest() override { TerminateQOBDll(); }

  // `gateway`: further keys of its section; `more`: whole sections.
  void SetIni(const std::string& gateway, const std::string& more = "") {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.temp() + "\n" +
                       gateway + more);
    InitQOBDll_NOMQ("test");
  }
  void SetBody(std::string_view bytes) { body_ = spool_.File("body", bytes); }
  // What was built; "<null>" for null.
  static std::string Take(char* path) {
    if (path == nullptr) return "<null>";
    std::string native = path;
    for (char& c : native) c = c == '\\' ? '/' : c;
    const std::string text = TempSpool::Read(native);
    std::filesystem::remove(native);
    std::free(path);
    return text;
  }
  struct Given {
    const char* type = nullptr;
    const char* subtype = nullptr;
    ms* params = nullptr;
    const char* encoding = nullptr;
    int flags = 0;
  };
  std::string Part(const Given& given) {
    return Take(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, given.type, given.subtype,
                                 given.params, given.encoding, nullptr, nullptr, body_.c_str(),
                                 nullptr, given.flags));
  }
  // The body of a part without content header.
  std::string Body(const Given& given) {
    const std::string part = Part(given);
    return part.starts_with("\r\n") ? part.substr(2) : part;
  }

  TempSpool spool_;
  std::string body_;
};

}  // namespace qob::testing
