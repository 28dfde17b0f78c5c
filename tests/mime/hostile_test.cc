// Messages made to hurt: cut anywhere, nested without end, full of parts, lying about themselves.
// Every one is read to its end and released; the memory stays within the records it gives.
#include <malloc.h>

#include <random>
#include <string>

#include "mime_support.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

const char kNested[] =
    "Mime-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"out er\"\r\n\r\npreamble\r\n"
    "--out er\r\nContent-Type: text/plain; charset=us-ascii (c)\r\n\r\ntext\r\nbegin 644 "
    "a\r\n#86)C\r\n`\r\nend\r\n"
    "--out er\r\nContent-Type: message/rfc822\r\n\r\nContent-Type: multipart/alternative;\r\n "
    "boundary=in\r\n\r\n"
    "--in\r\n\r\n(This file must be converted with BinHex "
    "4.0)\r\n:!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n"
    "--in\r\nContent-Transfer-Encoding: base64\r\nContent-Type: a/b; n=\"c\r\n "
    "d\"\r\n\r\nSGVsbG8=\r\n--in--\r\n"
    "--out er\r\nContent-Transfer-Encoding: quoted-printable\r\nContent-Disposition: inline; "
    "filename=x\r\n\r\na=\r\nb=3D\r\n"
    "--out er--\r\nepilogue\r\n";

class HostileMessage : public MimeTest {
 protected:
  // Everything that can be asked of the message.
  void UseUp(const Message& message) {
    for (std::int32_t i = 0; i < message.count(); ++i) {
      MimeBodyPart& part = message[i];
      EXPECT_LE(part.contentStart, part.contentEnd);
      EXPECT_LE(part.contentEnd, Size());
      Body(part);
      Raw(part);
      OwnText(part);
      Header(part);
    }
  }
};

TEST_F(HostileMessage, CutAtEveryByteIsReadWithoutHarm) {
  const std::string whole = kNested;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    const Message mime = Mime(cut);
    EXPECT_TRUE(mime.count() >= 1 || mime.count() == -1);
    UseUp(mime);
    const Message plain = Plain(cut);
    EXPECT_GE(plain.count(), 1);
    UseUp(plain);
    Any(cut);
  }
  EXPECT_EQ(Mime(whole).count(), 9);
}

TEST_F(HostileMessage, CutAtEveryByteInLooseModeToo) {
  SetIni("[Options]\nStrictMimeParsing=NO\nAcceptBlankValueInContentTypeParm=YES\n");
  const std::string whole = kNested;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Message mime = Mime(whole.substr(0, size));
    EXPECT_TRUE(mime.count() >= 1 || mime.count() == -1);
  }
}

TEST_F(HostileMessage, OneByteChangedAnywhereIsReadWithoutHarm) {
  const std::string whole = kNested;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const char c : {'\0', '\n', '\r', '-', '"', '(', '\xFF'}) {
      std::string changed = whole;
      changed[at] = c;
      Mime(changed);
      Plain(changed);
    }
  }
}

TEST_F(HostileMessage, RandomBytesAreReadWithoutHarm) {
  std::mt19937 random(7);
  const std::string alphabet = "\r\n\r\n--b: \t\";=/()begind\0\xFF";
  for (int round = 0; round < 3000; ++round) {
    std::string bytes = "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n";
    for (std::size_t i = random() % 400; i > 0; --i) bytes += alphabet[random() % alphabet.size()];
    const Message mime = Mime(bytes);
    for (std::int32_t i = 0; i < mime.count(); ++i)
      EXPECT_LE(mime[i].contentStart, mime[i].contentEnd);
    Plain(bytes);
  }
}

TEST_F(HostileMessage, HundredThousandNestedMultipartsAreRead) {
  std::string text;
  for (int i = 100000; i < 200000; ++i) {
    const std::string boundary = std::to_string(i);
    text +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  const Message message = Mime(text);
  EXPECT_EQ(message.count(), 101);
  std::int32_t leaves = 1;
  MimeGetNumLeafBodyParts(&message[0], &leaves);
  EXPECT_EQ(leaves, 1);
}

TEST_F(HostileMessage, HundredThousandNestedMultipartsOfOneBoundaryAreRead) {
  std::string text;
  for (int i = 0; i < 100000; ++i)
    text += "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n";
  EXPECT_GT(Mime(text).count(), 100);
}

TEST_F(HostileMessage, HundredThousandNestedMessagesAreRead) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "Content-Type: message/rfc822\r\n\r\n";
  EXPECT_EQ(Mime(text).count(), 101);
}

TEST_F(HostileMessage, MillionPartsTakeAtMostThreeHundredBytesEach) {
  std::string text = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  text.reserve(13000000);
  for (int i = 0; i < 1000000; ++i) text += "--b\r\n\r\nx\r\n";
  text += "--b--\r\n";
  const std::string path = File(text);
  text.clear();
  text.shrink_to_fit();
  const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
  MimeMessagePool* pool = nullptr;
  ASSERT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), 1000001);
  const std::size_t used = mallinfo2().uordblks + mallinfo2().hblkhd - before;
  const std::size_t names =
      1000001 * (path.size() + 1 + 16 + 8);  // each text is a block of its own
  if (used != 0) {                           // a sanitizer's heap tells nothing
    EXPECT_LT(used, 1000001 * 300 + names);
  }
  EXPECT_EQ(pool->parts[1000000]->contentEnd, Size() - 7);
  MimeFreeMessage(&pool);
}

TEST_F(HostileMessage, MemoryDoesNotGrowWithTheBodies) {
  const auto bytes_for = [&](std::size_t size) {
    std::string body;
    while (body.size() < size)
      body += "some text - with (hyphens) begin: and so on\r\n--\r\n-x\r\n";
    const std::string path =
        File("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n" + body + "--b--\r\n");
    const std::uint64_t before = AllocatedBytes();
    MimeMessagePool* pool = nullptr;
    EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), 2);
    const std::uint64_t used = AllocatedBytes() - before;
    MimeFreeMessage(&pool);
    return used;
  };
  const std::uint64_t small = bytes_for(300000);
  EXPECT_LT(small, 1000000u);
  EXPECT_LT(bytes_for(12000000), small + 4096);
}

TEST_F(HostileMessage, DelimiterLookalikesAgainstAHundredLongDelimitersAreRead) {
  std::string text;
  const std::string prefix(900, 'y');
  for (int i = 0; i < 100; ++i) {
    const std::string boundary = prefix + std::to_string(100 + i);
    text +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  text += "\r\n";
  for (int i = 0; i < 5000; ++i) text += "--" + prefix + "z\r\n";
  EXPECT_EQ(Mime(text).count(), 101);
}

TEST_F(HostileMessage, MillionParametersAreKept) {
  std::string text = "Content-Type: text/plain";
  for (int i = 0; i < 1000000; ++i) text += ";a=b";
  const Message message = Mime(text + "\r\n\r\n");
  ASSERT_EQ(message.count(), 1);
  std::size_t parameters = 0;
  for (const ms* node = message[0].contentTypeParams; node != nullptr; node = node->next)
    ++parameters;
  EXPECT_EQ(parameters, 1000000u);
}

TEST_F(HostileMessage, CommentsNestedAMillionDeepAreRead) {
  const std::string open(1000000, '(');
  const std::string close(1000000, ')');
  EXPECT_STREQ(
      Mime("Content-Type: " + open + close + "a/b" + open + close + "; x=y\r\n\r\n")[0].contentType,
      "a");
  EXPECT_EQ(Mime("Content-Type: " + open + "a/b\r\n\r\n")[0].contentType, nullptr);
}

TEST_F(HostileMessage, CountsThatLieInUuencodedLinesAreDecodedWithinThePart) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: x-uuencode\r\n\r\nbegin 644 "
      "a\r\n_86)C\r\n#\r\n`\r\nend\r\n"
      "--b--\r\n");
  const std::string body = Body(message[1]);
  EXPECT_EQ(body.size(), 63u + 3u);
  EXPECT_EQ(body.substr(0, 3), "abc");
}

TEST_F(HostileMessage, BinHexLengthsThatLieAreRefused) {
  // The header announces forks of 4 GB; its own checksum is right.
  const std::string liar = ":!@%!9%9B9(4dH(3!!2rrrrm!!!!!Zp&)D3:\r\n";
  const Message message = Mime(
      "Content-Type: application/mac-binhex40\r\n\r\n(This file must be converted with BinHex "
      "4.0)\r\n" +
      liar);
  EXPECT_EQ(Body(message[0]), Range(message[0].bodyStart, message[0].contentEnd));
}

TEST_F(HostileMessage, HugePositionsOfACallersRecordAreHarmless) {
  std::string path = File("Subject: x\r\n\r\nbody\r\n");
  for (const char* encoding : {"7bit", "base64", "quoted-printable", "x-uuencode"}) {
    std::string text = encoding;
    MimeBodyPart part{};
    std::string subtype = "mac-binhex40";
    part.contentSubtype = subtype.data();
    part.fileName = path.data();
    part.contentTransferEncoding = text.data();
    part.contentEnd = 0x7FFFFFFF;
    for (const std::int32_t start : {0, 14, 1000, 0x7FFFFFFE}) {
      part.contentStart = part.bodyStart = start;
      Body(part);
      Raw(part);
      OwnText(part);
      Header(part);
    }
    part.contentStart = part.bodyStart = -1;
    EXPECT_EQ(Body(part), "<null>");
    EXPECT_EQ(OwnText(part), "<null>");
  }
}

}  // namespace
}  // namespace qob::testing
