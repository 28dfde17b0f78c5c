// Messages that are not MIME: one text with its uuencoded and BinHex blocks cut out.
#include <string>

#include "mime_support.h"

namespace qob::testing {
namespace {

constexpr char kHeader[] = "Subject: x\r\n\r\n";
constexpr char kMarker[] = "(This file must be converted with BinHex 4.0)\r\n";

class PlainMessage : public MimeTest {
 protected:
  // Ranges of the parts as texts of the file: "[start|body|end)".
  static void ExpectRange(const MimeBodyPart& part, std::int32_t start, std::int32_t body,
                          std::int32_t end) {
    EXPECT_EQ(part.contentStart, start);
    EXPECT_EQ(part.bodyStart, body);
    EXPECT_EQ(part.contentEnd, end);
  }
  // The parts of header + body: the text of each.
  Texts Cut(const std::string& body) {
    const Message message = Plain(kHeader + body);
    Texts texts;
    for (std::int32_t i = 0; i < message.count(); ++i)
      texts.push_back(Range(message[i].bodyStart, message[i].contentEnd));
    return texts;
  }
};

TEST_F(PlainMessage, TextAloneIsOnePart) {
  const Message message = Plain(std::string(kHeader) + "body\r\n");
  ASSERT_EQ(message.count(), 1);
  ExpectRange(message[0], 0, At("body"), Size());
  EXPECT_EQ(message[0].contentType, nullptr);
  EXPECT_EQ(message[0].role, 0);
  EXPECT_EQ(std::string(message[0].fileName), spool_.path("message.eml"));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(PlainMessage, FileWithoutEmptyLineIsOnePartWithAnEmptyBody) {
  const Message message = Plain("Subject: x\r\nTo: y\r\n");
  ASSERT_EQ(message.count(), 1);
  ExpectRange(message[0], 0, Size(), Size());
  EXPECT_EQ(Body(message[0]), "");
}

TEST_F(PlainMessage, EmptyFileIsOneEmptyPart) {
  const Message message = Plain("");
  ASSERT_EQ(message.count(), 1);
  ExpectRange(message[0], 0, 0, 0);
}

TEST_F(PlainMessage, UuencodedFileYieldsThreeParts) {
  const Message message =
      Plain(std::string(kHeader) + "before\r\nbegin 644 a.txt\r\n#86)C\r\n`\r\nend\r\nafter\r\n");
  ASSERT_EQ(message.count(), 3);
  ExpectRange(message[0], 0, At("before"), At("begin"));
  ExpectRange(message[1], At("begin"), At("begin"), At("after"));
  ExpectRange(message[2], At("after"), At("after"), Size());
  EXPECT_STREQ(message[1].contentType, "x-embedded");
  EXPECT_EQ(message[1].contentSubtype, nullptr);
  EXPECT_STREQ(message[1].contentTransferEncoding, "x-uuencode");
  EXPECT_EQ(message[2].contentType, nullptr);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(message[i].role, 0) << "the parts of a plain message have no container";
    EXPECT_EQ(message[i].children, nullptr);
    EXPECT_STREQ(message[i].fileName, message[0].fileName);
  }
  EXPECT_EQ(Body(message[1]), "abc");
  EXPECT_STREQ(MimeGetTrueName(&message[1]), "a.txt");
}

TEST_F(PlainMessage, BeginLineNeedsAModeOfDigits) {
  for (const char* line : {"begin abc x\r\n", "begin 64x y\r\n", "begin\r\n", "beginning 644 x\r\n",
                           " begin 644 x\r\n", "Begin forwarded message:\r\n"}) {
    EXPECT_EQ(Cut(std::string(line) + "end\r\n").size(), 1u) << line;
  }
  EXPECT_EQ(Cut("BeGiN 0 x\r\nend\r\n").size(), 3u);
}

TEST_F(PlainMessage, BlockEndsAtALineThatBeginsWithEnd) {
  EXPECT_EQ(Cut("begin 644 x\r\n end\r\nEnding here\r\nafter"),
            (Texts{"", "begin 644 x\r\n end\r\nEnding here\r\n", "after"}));
}

TEST_F(PlainMessage, LineThatOnlyBeginsLikeEndIsBlockText) {
  EXPECT_EQ(Cut("begin 644 x\r\nenough\r\nE\r\nend\r\nb"),
            (Texts{"", "begin 644 x\r\nenough\r\nE\r\nend\r\n", "b"}));
}

TEST_F(PlainMessage, BlockWithoutEndGoesToTheEndOfTheFileAndIsFollowedByAnEmptyText) {
  EXPECT_EQ(Cut("a\r\nbegin 644 x\r\ndata\r\n"), (Texts{"a\r\n", "begin 644 x\r\ndata\r\n", ""}));
  EXPECT_EQ(Cut(std::string("a\r\n") + kMarker + ":data\r\n"),
            (Texts{"a\r\n", std::string(kMarker) + ":data\r\n", ""}));
  EXPECT_EQ(Cut("begin 644 x"), (Texts{"", "begin 644 x", ""}));
}

TEST_F(PlainMessage, BlockAtTheVeryEndIsFollowedByAnEmptyText) {
  const Message message = Plain(std::string(kHeader) + "begin 644 x\r\nend\r\n");
  ASSERT_EQ(message.count(), 3);
  ExpectRange(message[2], Size(), Size(), Size());
}

TEST_F(PlainMessage, TextBehindABlockStartsDirectlyBehindIt) {
  const Message message = Plain(std::string(kHeader) + "begin 644 x\r\nend\r\n\r\nafter");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message[2].bodyStart, message[1].contentEnd);
  EXPECT_EQ(message[2].contentStart, message[1].contentEnd);
}

TEST_F(PlainMessage, EveryBlockAddsTwoParts) {
  EXPECT_EQ(Cut(std::string("a\r\nbegin 1 x\r\nend\r\nbegin 2 y\r\nend\r\nb\r\n") + kMarker +
                ":x\r\ny:\r\nc"),
            (Texts{"a\r\n", "begin 1 x\r\nend\r\n", "", "begin 2 y\r\nend\r\n", "b\r\n",
                   std::string(kMarker) + ":x\r\ny:\r\n", "c"}));
}

TEST_F(PlainMessage, BinHexBlockEndsAtTheFirstLineWithBothMarks) {
  const Message message =
      Plain(kHeader + std::string("a\r\n") + kMarker + "\r\n:data\r\nmore\r\nlast:\r\nafter\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_STREQ(message[1].contentType, "application");
  EXPECT_STREQ(message[1].contentSubtype, "mac-binhex40");
  EXPECT_EQ(message[1].contentTransferEncoding, nullptr);
  ExpectRange(message[1], At("(This"), At("(This"), At("after"));
  ExpectRange(message[2], At("after"), At("after"), Size());
}

TEST_F(PlainMessage, ColonBeforeTheDataEndsTheBlockAtTheFirstDataLine) {
  EXPECT_EQ(Cut(std::string(kMarker) + "Note: x\r\n:data\r\nmore:\r\n"),
            (Texts{"", std::string(kMarker) + "Note: x\r\n:data\r\n", "more:\r\n"}));
}

TEST_F(PlainMessage, ClosingColonAtALineStartEndsTheBlock) {
  EXPECT_EQ(Cut(std::string(kMarker) + ":data\r\n:\r\nafter"),
            (Texts{"", std::string(kMarker) + ":data\r\n:\r\n", "after"}));
}

TEST_F(PlainMessage, StreamOnOneLineEndsTheBlock) {
  EXPECT_EQ(Cut(std::string(kMarker) + ":data:\r\nafter"),
            (Texts{"", std::string(kMarker) + ":data:\r\n", "after"}));
  EXPECT_EQ(Cut(std::string(kMarker) + ":" + std::string(3000, 'd') + ":\r\nafter"),
            (Texts{"", std::string(kMarker) + ":" + std::string(3000, 'd') + ":\r\n", "after"}));
}

TEST_F(PlainMessage, ColonAtAPieceStartOfALongLineStartsNothing) {
  const std::string filler =
      std::string(1024, 'd') + ":x\r\n";  // its colon is the first byte of the second piece
  EXPECT_EQ(Cut(std::string(kMarker) + filler + "y\r\n:z\r\nafter"),
            (Texts{"", std::string(kMarker) + filler + "y\r\n:z\r\n", "after"}));
}

TEST_F(PlainMessage, MarkersNeedALineStart) {
  EXPECT_EQ(Cut(std::string("x") + kMarker + ":a:\r\n").size(), 1u);
  EXPECT_EQ(Cut(std::string(1024, 'x') + "begin 644 a\r\nend\r\n").size(), 1u);
}

TEST_F(PlainMessage, MarkersInTheHeaderAreNone) {
  const Message message =
      Plain("begin 644 x\r\nend\r\n" + std::string(kMarker) + ":a:\r\n\r\nbody");
  EXPECT_EQ(message.count(), 1);
}

TEST_F(PlainMessage, EmptyLineIsCarriageReturnAndLineFeedAtALineStart) {
  EXPECT_EQ(Plain("Subject: x\n\nbegin 644 x\nend\n").count(), 1) << "bare line feeds: all header";
  const Message message = Plain("Subject: " + std::string(1015, 'x') + "\r\nTo: y\r\n\r\nbody");
  EXPECT_EQ(message[0].bodyStart, At("body"));
}

TEST_F(PlainMessage, BareLineFeedsInTheBodyAreLineEnds) {
  EXPECT_EQ(Cut("a\nbegin 644 x\ndata\nend\nb"), (Texts{"a\n", "begin 644 x\ndata\nend\n", "b"}));
}

TEST_F(PlainMessage, MissingNameIsRefusedWithoutAWord) {
  MimeMessagePool* pool = nullptr;
  EXPECT_EQ(ParseNonMimeMessage(nullptr, &pool), -1);
  EXPECT_EQ(ParseNonMimeMessage("", &pool), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(PlainMessage, UnreadableFileIsReported) {
  MimeMessagePool* pool = nullptr;
  for (const std::string& path : {spool_.path("missing"), spool_.root()}) {
    log_.Clear();
    EXPECT_EQ(ParseNonMimeMessage(path.c_str(), &pool), -1);
    EXPECT_EQ(log_.texts(1), Texts{"ParseNonMimeMessage failed: message file cannot be read."});
  }
}

TEST_F(PlainMessage, PoolIsSetOnSuccessAlone) {
  MimeMessagePool mark{};
  MimeMessagePool* pool = &mark;
  EXPECT_EQ(ParseNonMimeMessage(spool_.path("missing").c_str(), &pool), -1);
  EXPECT_EQ(pool, &mark);
}

}  // namespace
}  // namespace qob::testing
