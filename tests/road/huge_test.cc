// Messages about as large as a 32-bit position can say, as sparse files: parsed in little memory,
// refused one byte later.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qob3xapi/qob3xapi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace {

using qob::testing::CapturedLog;
using qob::testing::TempSpool;

constexpr std::int64_t kLargest = 0x7FFFFFFF;  // the last position of a message
constexpr std::int64_t kMegabyte = 1'000'000;

constexpr std::string_view kMimeHead =
    "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; "
    "boundary=b\r\n\r\n--b\r\n\r\nshort\r\n--b\r\n"
    "Content-Type: application/octet-stream\r\n\r\n";
constexpr std::string_view kMimeTail = "\r\n--b--\r\n";

class Huge : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(InitQOBDll_NOMQ("huge"), 1); }
  void TearDown() override {
    MimeFreeMessage(&pool_);
    TerminateQOBDll();
  }

  // A file of `size` bytes: head, a hole, tail. False when the file system has no such files.
  bool Sparse(std::int64_t size, std::string_view head, std::string_view tail) {
    path_ = spool_.path("huge.eml");
    const int file = open(path_.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0) return false;
    const bool written =
        ftruncate(file, size) == 0 &&
        pwrite(file, head.data(), head.size(), 0) == static_cast<ssize_t>(head.size()) &&
        pwrite(file, tail.data(), tail.size(), size - static_cast<std::int64_t>(tail.size())) ==
            static_cast<ssize_t>(tail.size());
    struct stat status = {};
    const bool sparse =
        written && fstat(file, &status) == 0 && status.st_blocks * 512 < 16 * kMegabyte;
    close(file);
    return sparse;
  }

  static std::int64_t PeakBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmHWM:")) return std::stol(line.substr(6)) * 1024;
    }
    return 0;
  }

  // Sanitizers keep memory of their own for all that is touched, so there is nothing to measure
  // with them.
  static void ExpectLittleMemorySince([[maybe_unused]] std::int64_t before) {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(PeakBytes() - before, 8 * kMegabyte);
#endif
  }

  TempSpool spool_;
  std::string path_;
  MimeMessagePool* pool_ = nullptr;
};

TEST_F(Huge, LargestMimeMessageIsParsedInLittleMemory) {
  if (!Sparse(kLargest, kMimeHead, kMimeTail)) GTEST_SKIP() << "no sparse files here";
  const std::int64_t before = PeakBytes();
  ASSERT_EQ(MimeParseMessage(path_.c_str(), 1, &pool_), 3);
  const MimeBodyPart* part = MimeGetMsg(pool_, 2);
  EXPECT_EQ(part->bodyStart, static_cast<std::int32_t>(kMimeHead.size()));
  EXPECT_EQ(part->contentEnd, kLargest - static_cast<std::int64_t>(kMimeTail.size()) + 2);
  EXPECT_EQ(MimeGetMsg(pool_, 0)->contentEnd, kLargest);
  ExpectLittleMemorySince(before);
}

TEST_F(Huge, LargestPlainMessageIsParsedInLittleMemory) {
  if (!Sparse(kLargest, "Subject: x\r\n\r\n", "end\r\n")) GTEST_SKIP() << "no sparse files here";
  const std::int64_t before = PeakBytes();
  ASSERT_EQ(MimeParseMessage(path_.c_str(), 1, &pool_), 1);
  EXPECT_EQ(MimeGetMsg(pool_, 0)->bodyStart, 14);
  EXPECT_EQ(MimeGetMsg(pool_, 0)->contentEnd, kLargest);
  ExpectLittleMemorySince(before);
}

TEST_F(Huge, MimeMessageOfOneByteMoreIsRefusedAtOnce) {
  if (!Sparse(kLargest + 1, kMimeHead, kMimeTail)) GTEST_SKIP() << "no sparse files here";
  CapturedLog log;
  EXPECT_EQ(MimeParseMessage(path_.c_str(), 1, &pool_), -1);
  EXPECT_EQ(pool_, nullptr);
  ASSERT_EQ(log.texts().size(), 1U);
  EXPECT_EQ(log.texts()[0], "ParseMimeMessage: file cannot be read.");
}

TEST_F(Huge, PlainMessageOfOneByteMoreIsRefusedAtOnce) {
  if (!Sparse(kLargest + 1, "Subject: x\r\n\r\n", "end\r\n"))
    GTEST_SKIP() << "no sparse files here";
  CapturedLog log;
  EXPECT_EQ(MimeParseMessage(path_.c_str(), 1, &pool_), -1);
  EXPECT_EQ(pool_, nullptr);
  ASSERT_EQ(log.texts().size(), 1U);
  EXPECT_EQ(log.texts()[0], "ParseNonMimeMessage failed: message file cannot be read.");
}

TEST_F(Huge, HeaderBlockOfAWholeFileIsReadInLittleMemory) {
  // No line end at all: the header reader gives up at its own limit, the plain parser looks for an
  // empty line to the end.
  if (!Sparse(kLargest, "Subject: x", "y")) GTEST_SKIP() << "no sparse files here";
  const std::int64_t before = PeakBytes();
  EXPECT_EQ(MimeParseMessage(path_.c_str(), 1, &pool_), 1);
  ExpectLittleMemorySince(before);
}

}  // namespace
