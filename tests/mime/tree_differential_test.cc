// The reader of MIME messages against its plain twin, on messages put together from lines that
// matter.
#include <random>
#include <string>

#include "mime/message.h"
#include "mime/part_pool.h"
#include "mime_support.h"
#include "platform/os/ascii.h"
#include "tree_oracle.h"

namespace qob::testing {
namespace {

const std::vector<std::string> kLines = {
    "\r\n",
    "\r\n",
    "\r\n",
    "\r\n",
    "--b\r\n",
    "--b\r\n",
    "--B--\r\n",
    "--b--\n",
    "--bc\r\n",
    "--bc\r\n",
    "--bC--x\r\n",
    "--bcd\n",
    "--d\r\n",
    "--D--\r\n",
    "--q\r\n",
    "-b\r\n",
    "--\r\n",
    "--QOB\r\n",
    "--QOB--\r\n",
    "Content-Type: multipart/mixed; boundary=b\r\n",
    "Content-Type: multipart/mixed; boundary=b\r\n",
    "Content-Type: multipart/x; boundary=bc\r\n",
    "content-type: Multipart/y; boundary=d\r\n",
    "Content-Type: multipart/z; boundary=QOB\r\n",
    "Content-Type: multipart/none\r\n",
    "Content-Type: message/rfc822\r\n",
    "Content-Type: message/rfc822\r\n",
    "Content-Type: text/plain\r\n",
    "Content-Type: image/gif\r\n",
    "Content-Transfer-Encoding: base64\r\n",
    "Content-Transfer-Encoding: 7bit\r\n",
    "Subject: x\r\n",
    "Subject: x\r\n folded\r\n",
    "#Fx\r\n",
    "begin 644 x\r\n",
    "Begin \n",
    "end\r\n",
    "END\r\n",
    "end\n",
    "end",
    "(This file must be converted with BinHex 4.0)\r\n",
    ":abc\r\n",
    ":abc:\r\n",
    "d:\n",
    "--x:\r\n",
    "text\r\n",
    "text\n",
    "t",
};

class TreeDifferential : public MimeTest {
 protected:
  static OraclePart Seen(const Message& message, std::int32_t index) {
    const MimeBodyPart& part = message[index];
    OraclePart seen;
    const auto lower = [](const char* text) {
      std::string low = text == nullptr ? "" : text;
      for (char& c : low) c = static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
      return low;
    };
    seen.type = lower(part.contentType);
    if (part.contentSubtype != nullptr) seen.type += "/" + lower(part.contentSubtype);
    seen.encoding = lower(part.contentTransferEncoding);
    for (const std::string& text : message.TypeParameters(index))
      seen.boundary = lower(text.substr(text.find('=') + 1).c_str());
    seen.start = part.contentStart;
    seen.body = part.bodyStart;
    seen.end = part.contentEnd;
    seen.role = part.role;
    for (const std::int32_t child : message.ChildrenOf(index)) seen.children.push_back(child);
    return seen;
  }

  void Compare(const std::string& bytes, bool descend) {
    const std::vector<OraclePart> expected = TreeOracle::Parse(bytes, descend);
    const Message message = Mime(bytes, descend ? 1 : 0);
    ASSERT_EQ(message.count(), expected.empty() ? -1 : static_cast<std::int32_t>(expected.size()))
        << bytes;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const OraclePart seen = Seen(message, static_cast<std::int32_t>(i));
      ASSERT_EQ(seen.start, expected[i].start) << bytes;
      ASSERT_EQ(seen.body, expected[i].body) << bytes;
      ASSERT_EQ(seen.end, expected[i].end) << i << "\n" << bytes;
      ASSERT_TRUE(seen == expected[i]) << "part " << i << "\n" << bytes;
    }
    log_.Clear();
  }
};

TEST_F(TreeDifferential, OracleKnowsTheWorkedExample) {
  const std::string bytes =
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n1\r\n--b\r\nContent-Type: "
      "message/rfc822\r\n\r\nA: b\r\n\r\n3\r\n--b--\r\n";
  const std::vector<OraclePart> parts = TreeOracle::Parse(bytes, true);
  ASSERT_EQ(parts.size(), 4u);
  EXPECT_EQ(parts[0].children, (std::vector<int>{1, 2}));
  EXPECT_EQ(parts[2].children, (std::vector<int>{3}));
  const int last = static_cast<int>(bytes.find("--b--"));
  EXPECT_EQ(parts[2].end, last);
  EXPECT_EQ(parts[3].end, last);
  EXPECT_EQ(parts[0].end, static_cast<int>(bytes.size()));
}

TEST_F(TreeDifferential, AgreesOnRandomLines) {
  std::mt19937 random(42);
  for (int round = 0; round < 30000; ++round) {
    std::string bytes;
    // Mostly messages that get somewhere: a multipart or an encapsulated message on top.
    if (random() % 8 != 0) bytes = kLines[19 + random() % 8] + "\r\n";
    const std::size_t lines = random() % 40;
    for (std::size_t i = 0; i < lines; ++i) bytes += kLines[random() % kLines.size()];
    Compare(bytes, random() % 4 != 0);
    if (HasFatalFailure()) return;
  }
}

TEST_F(TreeDifferential, AgreesOnDeepStacks) {
  std::mt19937 random(4711);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    const std::vector<std::string> openings = {
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n",
        "Content-Type: multipart/mixed; boundary=bc\r\n\r\n--bc\r\n",
        "Content-Type: multipart/mixed; boundary=d\r\n\r\npre\r\n--d\r\n",
        "Content-Type: message/rfc822\r\n\r\n"};
    const std::size_t depth = random() % 30;
    for (std::size_t i = 0; i < depth; ++i) bytes += openings[random() % openings.size()];
    bytes += "\r\n";
    for (std::size_t i = 0; i < 60; ++i) bytes += kLines[random() % 19];
    Compare(bytes, true);
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace qob::testing
