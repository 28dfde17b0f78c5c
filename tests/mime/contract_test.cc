// The exported MIME calls from C, through the shared library.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>

#include "from_c.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

// Start-up points TMP at the spool of the test that runs; the next spool must not be made below it.
const int kTempDirectoryStays = setenv("TMPDIR", "/tmp", 0);

constexpr char kMessage[] =
    "Mime-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
    "--b\r\nContent-Type: text/plain; charset=x; name=y\r\nContent-Disposition: inline; "
    "filename=z\r\n"
    "Content-ID: <1>\r\nContent-Description: d\r\nContent-Transfer-Encoding: "
    "8bit\r\n\r\nbody\r\n--b--\r\n";

class MimeContract : public ::testing::Test {
 protected:
  MimeContract() { InitQOBDll_NOMQ("contract"); }
  ~MimeContract() override { TerminateQOBDll(); }
  TempSpool spool_;
  char out_[4096] = "";
};

TEST_F(MimeContract, TreeIsReadFromC) {
  ASSERT_EQ(kTempDirectoryStays, 0);
  const std::string path = spool_.File("m", kMessage);
  EXPECT_EQ(DescribeMessageFromC(path.c_str(), 1, out_, sizeof out_), 2);
  EXPECT_STREQ(out_,
               "multipart/mixed - - - - 1 0 [0 64 244) 1 1\n"
               "text/plain 8bit inline <1> d 2 1 [69 231 237) 2 0\n");
}

TEST_F(MimeContract, PartsAreExtractedFromC) {
  const std::string path = spool_.File("m", kMessage);
  EXPECT_EQ(ExtractFromC(path.c_str(), 1, out_, sizeof out_), 0);
  const std::string message = kMessage;
  EXPECT_EQ(std::string(out_), "body\r\nbody\r\n" + message.substr(69, 231 - 69));
}

TEST_F(MimeContract, NullsGiveTheirDocumentedResults) { EXPECT_EQ(NullsFromC(), 1); }

TEST_F(MimeContract, PoolsMadeByHandAreCountedAndReleased) { EXPECT_EQ(HandMadePoolFromC(), 1); }

}  // namespace
}  // namespace qob::testing
