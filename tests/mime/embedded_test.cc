// Uuencoded and BinHex blocks inside text bodies of MIME messages.
#include <string>

#include "mime_support.h"

namespace qob::testing {
namespace {

constexpr char kBinHexLine[] = "(This file must be converted with BinHex 4.0)\r\n";

class EmbeddedBlock : public MimeTest {
 protected:
  Message Text(const std::string& body,
               const std::string& header = "Content-Type: text/plain\r\n") {
    return Mime(header + "\r\n" + body);
  }
};

TEST_F(EmbeddedBlock, UuencodeBlockIsAChildOfItsText) {
  const Message message = Text("before\r\nBegin 644 a.txt\r\n#86)C\r\n`\r\nend\r\nafter\r\n");
  ASSERT_EQ(message.count(), 2);
  const MimeBodyPart& child = message[1];
  EXPECT_EQ(message.ChildrenOf(0), Indexes{1});
  EXPECT_EQ(message[0].role, 1);
  EXPECT_EQ(child.role, 2);
  EXPECT_STREQ(child.contentType, "x-embedded");
  EXPECT_EQ(child.contentSubtype, nullptr);
  EXPECT_STREQ(child.contentTransferEncoding, "x-uuencode");
  EXPECT_STREQ(child.fileName, message[0].fileName);
  EXPECT_EQ(child.contentStart, At("Begin"));
  EXPECT_EQ(child.bodyStart, At("Begin"));
  EXPECT_EQ(child.contentEnd, At("after"));
  EXPECT_EQ(message[0].contentEnd, Size());
  EXPECT_TRUE(log_.Has(6, "Found embedded UUEncode attachment in body text/plain"));
}

TEST_F(EmbeddedBlock, BinHexBlockIsAChildOfItsText) {
  const Message message =
      Text(std::string("before\r\n") + kBinHexLine + "\r\n:abc\r\ndef:\r\nafter\r\n");
  ASSERT_EQ(message.count(), 2);
  const MimeBodyPart& child = message[1];
  EXPECT_EQ(message.ChildrenOf(0), Indexes{1});
  EXPECT_STREQ(child.contentType, "application");
  EXPECT_STREQ(child.contentSubtype, "mac-binhex40");
  EXPECT_EQ(child.contentTransferEncoding, nullptr);
  EXPECT_EQ(child.contentStart, At("(This"));
  EXPECT_EQ(child.bodyStart, At("(This"));
  EXPECT_EQ(child.contentEnd, At("after"));
  EXPECT_TRUE(log_.Has(6, "Found embedded Binhex attachment in body text/plain"));
}

TEST_F(EmbeddedBlock, PartWithoutContentTypeIsLookedThrough) {
  const Message message = Text("begin 644 a\r\nend\r\n", "Subject: x\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_TRUE(log_.Has(6, "Found embedded UUEncode attachment in body <unknown>/<unknown>"));
}

TEST_F(EmbeddedBlock, OtherTypesAreNotLookedThrough) {
  for (const char* type : {"text/html", "application/octet-stream", "textx/plain"}) {
    EXPECT_EQ(Text("begin 644 a\r\nend\r\n", "Content-Type: " + std::string(type) + "\r\n").count(),
              1)
        << type;
  }
  EXPECT_EQ(Text("begin 644 a\r\nend\r\n", "Content-Type: TEXT/Plain\r\n").count(), 2);
}

TEST_F(EmbeddedBlock, EncodedTextIsLookedThroughToo) {
  EXPECT_EQ(Text("begin 644 a\r\nend\r\n", "Content-Transfer-Encoding: base64\r\n").count(), 2);
}

TEST_F(EmbeddedBlock, MarkersNeedALineStart) {
  EXPECT_EQ(Text(" begin 644 a\r\nend\r\n").count(), 1);
  EXPECT_EQ(Text(std::string("x") + kBinHexLine + ":a:\r\n").count(), 1);
  EXPECT_EQ(Text(std::string(1024, 'x') + "begin 644 a\r\nend\r\n").count(), 1);
  EXPECT_EQ(Text("begin\r\nend\r\n").count(), 1) << "the blank belongs to the marker";
}

TEST_F(EmbeddedBlock, BeginLineNeedsNoMode) {
  EXPECT_EQ(Text("bEGIN anything\r\nEND\r\n").count(), 2);
}

TEST_F(EmbeddedBlock, EndIsTheWholeLine) {
  const Message message = Text("begin 644 a\r\nendx\r\nend \r\n end\r\nend\r\nafter");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, EndWithoutCarriageReturnCountsOnTheLastLineOnly) {
  EXPECT_EQ(Text("begin 644 a\r\nx\r\nend").count(), 2);
  EXPECT_EQ(Text("begin 644 a\r\nx\r\nEnd\n").count(), 2);
  EXPECT_EQ(Text("begin 644 a\r\nx\r\nend\n\r\n").count(), 1);
  EXPECT_EQ(Text("begin 644 a\r\nx\r\nend\r").count(), 1);
}

TEST_F(EmbeddedBlock, BeginInProseDoesNotSwallowTheText) {
  const Message message = Text("Hello\r\nBegin forwarded message:\r\ntext to the end\r\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_EQ(message[0].role, 0);
  EXPECT_EQ(message[0].children, nullptr);
  EXPECT_EQ(Body(message[0]), "Hello\r\nBegin forwarded message:\r\ntext to the end\r\n");
  EXPECT_EQ(log_.texts(6), Texts{"Found text/plain"});
}

TEST_F(EmbeddedBlock, BlockCutByADelimiterIsText) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nbegin 644 "
      "a\r\nM\r\n--b\r\n\r\nend\r\n"
      "begin 644 c\r\nend\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
  EXPECT_EQ(message[1].children, nullptr);
  EXPECT_EQ(message.ChildrenOf(2), Indexes{3});
}

TEST_F(EmbeddedBlock, BlockOfTheOtherKindIsFoundBehindAnUnfinishedOne) {
  const Message message =
      Text(std::string("begin forwarded\r\n") + kBinHexLine + ":a:\r\nbegin 644 x\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[1].contentSubtype, "mac-binhex40");
  const Message other = Text(std::string(kBinHexLine) + "begin 644 x\r\nend\r\n:never closed\r\n");
  ASSERT_EQ(other.count(), 2);
  EXPECT_STREQ(other[1].contentTransferEncoding, "x-uuencode");
}

TEST_F(EmbeddedBlock, TextBetweenMarkerAndDataIsSkipped) {
  const Message message =
      Text(std::string(kBinHexLine) + "\r\nNote: x\r\n a:b\r\n:data\r\nmore:\r\nafter");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, HyphensBetweenMarkerAndDataAreSkipped) {
  const Message message = Text(std::string(kBinHexLine) + "--\r\n-- x: y\r\n:data:\r\nafter");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, BinHexDataMayBeginAndEndOnOneLine) {
  const Message message = Text(std::string(kBinHexLine) + ":abc: trailing words\r\nafter\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, ClosingColonMayStandAlone) {
  const Message message = Text(std::string(kBinHexLine) + ":abc\r\n:\r\nafter");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, BinHexOfLongLinesEndsBehindTheLineOfItsColon) {
  const Message message = Text(std::string(kBinHexLine) + ":" + std::string(5000, 'a') + ":" +
                               std::string(5000, 'b') + "\r\nafter");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, DelimiterInsideBinHexDataCutsThem) {
  const Message message = Mime("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n" +
                               std::string(kBinHexLine) + ":abc\r\n-x\r\n--x\r\n--b--\r\n:\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].children, nullptr);
}

TEST_F(EmbeddedBlock, ColonInALineOfHyphensEndsTheData) {
  const Message message = Mime("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n" +
                               std::string(kBinHexLine) + ":abc\r\n--x:\r\nafter\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message[2].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, MarkersInsideABlockAreBlockText) {
  const Message message =
      Text("begin 644 a\r\nbegin 644 b\r\n" + std::string(kBinHexLine) + ":a:\r\nend\r\nafter\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, At("after"));
}

TEST_F(EmbeddedBlock, SeveralBlocksAreChildrenInFileOrder) {
  const Message message = Text("a\r\nbegin 644 1\r\nend\r\nbegin 644 2\r\nend\r\nb\r\n" +
                               std::string(kBinHexLine) + ":x:\r\nc\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2, 3}));
}

TEST_F(EmbeddedBlock, PartsBehindABlockComeBehindItInThePool) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nbegin 644 "
      "a\r\nend\r\n--b\r\n\r\nx\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 3}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message[1].role, 2) << "a text with attachments in a multipart says child";
}

TEST_F(EmbeddedBlock, OneAttachmentAddsNoLeaf) {
  const Message message = Text("begin 644 a\r\nend\r\n");
  std::int32_t leaves = 1;
  std::int32_t containers = 0;
  MimeGetNumLeafBodyParts(&message[0], &leaves);
  MimeGetNumMultipartHeaders(&message[0], &containers);
  EXPECT_EQ(leaves, 1);
  EXPECT_EQ(containers, 1);
}

TEST_F(EmbeddedBlock, UnfinishedMarkersByTheThousandAreReadOnce) {
  std::string body;
  for (int i = 0; i < 20000; ++i) body += "begin x\r\n" + std::string(kBinHexLine);
  EXPECT_EQ(Text(body).count(), 1);
}

}  // namespace
}  // namespace qob::testing
