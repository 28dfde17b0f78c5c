// What the tests of messages share: a spool with the library started in it, messages written line
// by line, trees told as text.
#pragma once
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimeparse.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

// The invalid handle: the part's own file is opened.
inline constexpr QOB_OSHANDLE kOwnFile = -1;

struct PoolRelease {
  void operator()(MimeMessagePool* pool) const { MimeFreeMessage(&pool); }
};

// A parsed message; released at its end.
class Message {
 public:
  Message() = default;
  Message(std::int32_t count, MimeMessagePool* pool) : count_(count), pool_(pool) {}

  std::int32_t count() const { return count_; }
  MimeMessagePool* pool() const { return pool_.get(); }
  MimeBodyPart& operator[](std::int32_t index) const {
    static MimeBodyPart nothing{};
    MimeBodyPart* part = GetFromMsgPool(pool_.get(), index);
    if (part == nullptr) ADD_FAILURE() << "no part " << index;
    return part == nullptr ? nothing : *part;
  }
  std::int32_t IndexOf(const MimeBodyPart* part) const {
    for (std::int32_t i = 0; pool_ != nullptr && i < pool_->count; ++i) {
      if (pool_->parts[i] == part) return i;
    }
    return -1;
  }
  std::vector<std::int32_t> ChildrenOf(std::int32_t index) const {
    std::vector<std::int32_t> found;
    const MimeBodyPart& part = (*this)[index];
    for (std::int32_t i = 0; part.children != nullptr && i < (part.childCount & 0xFFFF); ++i) {
      found.push_back(IndexOf(part.children[i]));
    }
    return found;
  }
  std::vector<std::string> TypeParameters(std::int32_t index) const {
    return Texts((*this)[index].contentTypeParams);
  }
  static std::vector<std::string> Texts(const ms* chain) {
    std::vector<std::string> texts;
    for (; chain != nullptr; chain = chain->next)
      texts.emplace_back(chain->text == nullptr ? "<null>" : chain->text);
    return texts;
  }

 private:
  std::int32_t count_ = -1;
  std::unique_ptr<MimeMessagePool, PoolRelease> pool_;
};

// Start-up points TMP at the spool of the test that runs; the next spool must not be made below it.
inline const int kTempDirectoryStays = setenv("TMPDIR", "/tmp", 0);

class MimeTest : public ::testing::Test {
 protected:
  MimeTest() { InitQOBDll_NOMQ("mimetest"); }
  ~MimeTest() override { TerminateQOBDll(); }

  // Sections of "twmta.ini" behind those of the spool.
  void SetIni(std::string_view sections) { spool_.SetIni(sections); }

  std::string File(std::string_view bytes) {
    bytes_ = bytes;
    const std::string path = spool_.path("message.eml");
    // Written over, not truncated first: some file systems flush such a file to disk when it is
    // closed.
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(ftruncate(fd, static_cast<off_t>(bytes.size())), 0);
    close(fd);
    return path;
  }
  Message Mime(std::string_view bytes, std::int32_t flags = 1) {
    MimeMessagePool* pool = nullptr;
    const std::int32_t count = ParseMimeMessage(File(bytes).c_str(), flags, &pool);
    return Message(count, pool);
  }
  Message Plain(std::string_view bytes) {
    MimeMessagePool* pool = nullptr;
    const std::int32_t count = ParseNonMimeMessage(File(bytes).c_str(), &pool);
    return Message(count, pool);
  }
  Message Any(std::string_view bytes, std::int32_t flags = 1) {
    MimeMessagePool* pool = nullptr;
    const std::int32_t count = MimeParseMessage(File(bytes).c_str(), flags, &pool);
    return Message(count, pool);
  }

  // Place of the first `text` in the message at hand, or behind its end.
  std::int32_t At(std::string_view text, std::size_t from = 0) const {
    const std::size_t found = bytes_.find(text, from);
    EXPECT_NE(found, std::string::npos) << text;
    return static_cast<std::int32_t>(found);
  }
  std::int32_t Behind(std::string_view text, std::size_t from = 0) const {
    return At(text, from) + static_cast<std::int32_t>(text.size());
  }
  std::int32_t Size() const { return static_cast<std::int32_t>(bytes_.size()); }

  // Content of an extracted file, which is released and must then be gone; "<null>" for no file.
  std::string Taken(char* name) {
    if (name == nullptr) return "<null>";
    const std::string path = name;
    const std::string content = TempSpool::Read(path);
    MimeFreeFile(name);
    EXPECT_TRUE(LeftFiles().empty());
    return content;
  }
  std::string Body(MimeBodyPart& part) { return Taken(MimeGetBody(&part, 0, kOwnFile)); }
  std::string Raw(MimeBodyPart& part) { return Taken(MimeGetBody(&part, 1, kOwnFile)); }
  std::string OwnText(const MimeBodyPart& part) {
    return Taken(MimeGetBodyWithNoEmbeddedAttachment(&part));
  }
  std::string Header(const MimeBodyPart& part) { return Taken(MimeGetHeader(&part)); }
  // What lies in the temporary directory besides the counters and the log.
  std::vector<std::string> LeftFiles() const {
    std::vector<std::string> left;
    for (const std::string& name : spool_.TempFiles()) {
      if (!name.ends_with(".log")) left.push_back(name);
    }
    return left;
  }
  std::string Range(std::int32_t from, std::int32_t to) const {
    return bytes_.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
  }

  TempSpool spool_;
  CapturedLog log_;
  std::string bytes_;
};

using Indexes = std::vector<std::int32_t>;
using Texts = std::vector<std::string>;

inline std::string Or(const char* text) { return text == nullptr ? "<null>" : text; }

}  // namespace qob::testing
