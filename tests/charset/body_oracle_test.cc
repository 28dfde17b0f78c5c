// Bodies encoded by python3's standard library come out of the decoders as they went in.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "charset/base64_decoder.h"
#include "charset/quoted_printable_decoder.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

// Writes three files beside each other: the bytes, and the bytes encoded in both ways. The text for
// quoted-printable has CR LF line ends, and one more at its end, which belongs to what follows a
// body.
constexpr const char* kScript =
    "import base64, quopri, random, sys\n"
    "random.seed(2045)\n"
    "folder = sys.argv[1]\n"
    "data = random.randbytes(100003)\n"
    "open(folder + '/data', 'wb').write(data)\n"
    "open(folder + '/base64', 'wb').write(base64.encodebytes(data).replace(b'\\n', b'\\r\\n'))\n"
    "lines = [bytes(random.choices(range(256), k=random.randrange(200))).replace(b'\\r', "
    "b'.').replace(b'\\n', b'.')\n"
    "         for _ in range(500)]\n"
    "open(folder + '/text', 'wb').write(b'\\r\\n'.join(lines))\n"
    "encoded = quopri.encodestring(b'\\n'.join(lines)).replace(b'\\n', b'\\r\\n')\n"
    "open(folder + '/qp', 'wb').write(encoded + b'\\r\\n')\n";

class BodyOracle : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string script = spool_.File("encode.py", kScript);
    ASSERT_EQ(std::system(("python3 " + script + " " + spool_.root()).c_str()), 0)
        << "python3 is needed";
  }
  std::string Read(const char* name) const { return testing::TempSpool::Read(spool_.path(name)); }

  testing::TempSpool spool_;
};

TEST_F(BodyOracle, Base64ComesBack) {
  const std::string text = Read("base64");
  std::string bytes(Base64Decoder::Room(text.size()), '\0');
  std::size_t written = 0;
  Base64Decoder decoder;
  EXPECT_NE(decoder.Feed(text, bytes.data(), &written), Base64Decoder::Status::kInvalid);
  bytes.resize(written);
  EXPECT_EQ(bytes.size(), 100003u);
  EXPECT_TRUE(bytes == Read("data"));
}

TEST_F(BodyOracle, QuotedPrintableComesBack) {
  const std::string text = Read("qp");
  std::string bytes(QuotedPrintableDecoder::Room(text.size()), '\0');
  QuotedPrintableDecoder decoder;
  bytes.resize(decoder.Feed(text, bytes.data()));
  EXPECT_TRUE(decoder.complete());
  EXPECT_GT(bytes.size(), 10000u);
  EXPECT_TRUE(bytes == Read("text"));
}

}  // namespace
}  // namespace qob
