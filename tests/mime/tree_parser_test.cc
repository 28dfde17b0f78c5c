// The tree of a message: which parts there are, where they begin and end, whose children they are.
#include <string>

#include "mime_support.h"

namespace qob::testing {
namespace {

class MimeTree : public MimeTest {
 protected:
  static constexpr char kMixed[] = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  // The n-th (from 0) line of the message that begins with `text`.
  std::int32_t Line(std::string_view text, int n = 0) const {
    std::size_t at = 0;
    for (;;) {
      if (bytes_.compare(at, text.size(), text) == 0 && n-- == 0)
        return static_cast<std::int32_t>(at);
      at = bytes_.find('\n', at);
      if (at == std::string::npos) {
        ADD_FAILURE() << "no line " << text;
        return -1;
      }
      ++at;
    }
  }
  std::int32_t LineAfter(std::string_view text, int n = 0) const {
    const std::size_t start = static_cast<std::size_t>(Line(text, n));
    return static_cast<std::int32_t>(bytes_.find('\n', start) + 1);
  }
  static void ExpectRange(const MimeBodyPart& part, std::int32_t start, std::int32_t body,
                          std::int32_t end) {
    EXPECT_EQ(part.contentStart, start);
    EXPECT_EQ(part.bodyStart, body);
    EXPECT_EQ(part.contentEnd, end);
  }
};

TEST_F(MimeTree, SinglePartIsPartZeroAndReachesToTheEndOfTheFile) {
  const Message message = Mime("Content-Type: text/html\r\n\r\nbody\r\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_EQ(MimeGetNumberOfMessage(message.pool()), 1);
  ExpectRange(message[0], 0, At("body"), Size());
  EXPECT_EQ(message[0].role, 0);
  EXPECT_EQ(message[0].children, nullptr);
  EXPECT_EQ(message[0].delimiter, nullptr);
  EXPECT_EQ(std::string(message[0].fileName), spool_.path("message.eml"));
}

TEST_F(MimeTree, EmptyFileIsOneEmptyPart) {
  const Message message = Mime("");
  ASSERT_EQ(message.count(), 1);
  ExpectRange(message[0], 0, 0, 0);
}

TEST_F(MimeTree, ClosingDelimiterOpensNoPart) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\nepilogue\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
  ExpectRange(message[1], LineAfter("--b"), At("one"), Line("--b", 1));
  ExpectRange(message[2], LineAfter("--b", 1), At("two"), Line("--b--"));
  EXPECT_EQ(message[0].role, 1);
  EXPECT_EQ(message[1].role, 2);
  EXPECT_EQ(message[2].role, 2);
  EXPECT_STREQ(message[0].delimiter, "--b");
}

TEST_F(MimeTree, FirstDelimiterDoesNotCloseTheMultipartItself) {
  const Message message = Mime(std::string(kMixed) + "preamble\r\n--b\r\n\r\none\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 2);
  ExpectRange(message[0], 0, At("preamble"), Size());
}

TEST_F(MimeTree, PartEndsAtTheStartOfTheDelimiterLineAndOwnsTheLineEndBeforeIt) {
  const Message message = Mime(std::string(kMixed) + "--b\r\n\r\none\r\n--b--\r\n");
  EXPECT_EQ(Range(message[1].bodyStart, message[1].contentEnd), "one\r\n");
}

TEST_F(MimeTree, InnerMultipartEndsAtTheNextDelimiterOfTheOuter) {
  const Message message = Mime(
      std::string(kMixed) +
      "--b\r\nContent-Type: multipart/alternative; boundary=c\r\n\r\n--c\r\n\r\none\r\n--c--\r\n"
      "inner epilogue\r\n--b\r\n\r\ntwo\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 3}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message[1].contentEnd, Line("--b", 1));
  EXPECT_EQ(message[2].contentEnd, Line("--c--"));
  EXPECT_EQ(message[1].role, 2) << "a container that is a child says child";
}

TEST_F(MimeTree, ChildrenAreLinkedWhenTheirEndIsMet) {
  const Message message = Mime(std::string(kMixed) + "--b\r\n\r\none\r\n--b\r\n\r\ncut off");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(0), Indexes{1});
  EXPECT_EQ(message[2].role, 0);
  ExpectRange(message[2], LineAfter("--b", 1), At("cut off"), Size());
}

TEST_F(MimeTree, OpenedEncapsulatedMessageIsItsMultipartsChild) {
  const Message message = Mime(std::string(kMixed) +
                               "--b\r\n\r\none\r\n--b\r\nContent-Type: "
                               "message/rfc822\r\n\r\nSubject: x\r\n\r\ninner\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
  EXPECT_EQ(message.ChildrenOf(2), Indexes{3});
  EXPECT_EQ(message[1].contentEnd, Line("--b", 1));
  ExpectRange(message[2], LineAfter("--b", 1), At("Subject"), Line("--b--"));
  ExpectRange(message[3], At("Subject"), At("inner"), Line("--b--"));
  EXPECT_EQ(message[0].contentEnd, Size());
  EXPECT_STREQ(message[2].delimiter, "--b");
}

TEST_F(MimeTree, EncapsulatedMessageStaysALeafWithoutFlags) {
  const Message message =
      Mime(std::string(kMixed) +
               "--b\r\n\r\none\r\n--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: x\r\n\r\n"
               "inner\r\n--b--\r\n",
           0);
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
  EXPECT_EQ(message[2].children, nullptr);
  EXPECT_EQ(message[2].delimiter, nullptr);
}

TEST_F(MimeTree, AnyNonzeroFlagDescends) {
  const std::string text = "Content-Type: message/rfc822\r\n\r\nA: b\r\n\r\nx";
  EXPECT_EQ(Mime(text, 2).count(), 2);
  EXPECT_EQ(Mime(text, -1).count(), 2);
  EXPECT_EQ(Mime(text, 0).count(), 1);
}

TEST_F(MimeTree, EncapsulatedMessageIsOpenedUnderPlainEncodingsOnly) {
  const auto parts = [&](const std::string& encoding) {
    return Mime("Content-Type: MESSAGE/RFC822\r\n" + encoding + "\r\nA: b\r\n\r\nx\r\n").count();
  };
  EXPECT_EQ(parts(""), 2);
  for (const char* plain : {"7bit", "8BIT", "Binary"}) {
    EXPECT_EQ(parts("Content-Transfer-Encoding: " + std::string(plain) + "\r\n"), 2) << plain;
  }
  for (const char* other : {"base64", "quoted-printable", "x-uuencode", "7bits"}) {
    EXPECT_EQ(parts("Content-Transfer-Encoding: " + std::string(other) + "\r\n"), 1) << other;
  }
}

TEST_F(MimeTree, OtherMessageTypesAreLeaves) {
  EXPECT_EQ(Mime("Content-Type: message/delivery-status\r\n\r\nA: b\r\n\r\nx\r\n").count(), 1);
  EXPECT_EQ(Mime("Content-Type: message/rfc822x\r\n\r\nA: b\r\n\r\nx\r\n").count(), 1);
}

TEST_F(MimeTree, MessageInsideATopLevelMessageHasThePlaceholderDelimiter) {
  const Message message =
      Mime("Content-Type: message/rfc822\r\n\r\nA: b\r\n\r\n--QOB\r\n--QOB--\r\nx\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[0].delimiter, "--QOB");
  EXPECT_EQ(message[0].children, nullptr) << "no delimiter line closes it";
  EXPECT_EQ(message[1].role, 0);
  EXPECT_EQ(message[1].contentEnd, Size());
}

TEST_F(MimeTree, GenuineBoundaryOfThePlaceholdersNameWorks) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=QOB\r\n\r\n--QOB\r\nContent-Type: "
      "message/rfc822\r\n\r\n"
      "A: b\r\n\r\nx\r\n--QOB\r\n\r\ny\r\n--QOB--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 3}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
}

TEST_F(MimeTree, MultipartInsideATopLevelMessageIsRead) {
  const Message message = Mime("Content-Type: message/rfc822\r\n\r\n" + std::string(kMixed) +
                               "--b\r\n\r\nx\r\n--b--\r\n--b\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message.ChildrenOf(0), Indexes{});
  EXPECT_EQ(message[1].role, 1);
  EXPECT_EQ(message[2].contentEnd, Line("--b--"));
}

TEST_F(MimeTree, NestedMessagesEndWhereTheirInnermostContentEnds) {
  const Message message = Mime(std::string(kMixed) +
                               "--b\r\nContent-Type: message/rfc822\r\n\r\nContent-Type: "
                               "message/rfc822\r\n\r\nA: b\r\n\r\nx\r\n"
                               "--b\r\n\r\ny\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 5);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 4}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message.ChildrenOf(2), Indexes{3});
  for (int i : {1, 2, 3}) EXPECT_EQ(message[i].contentEnd, Line("--b", 1)) << i;
}

// The message ends with the multipart in it, whose range includes its epilogue.
TEST_F(MimeTree, MultipartInAnEncapsulatedMessageEndsBoth) {
  const Message message = Mime(
      std::string(kMixed) +
      "--b\r\nContent-Type: message/rfc822\r\n\r\nContent-Type: multipart/mixed; boundary=c\r\n\r\n"
      "--c\r\n\r\nx\r\n--c--\r\nepilogue\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), Indexes{1});
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message.ChildrenOf(2), Indexes{3});
  EXPECT_EQ(message[1].contentEnd, Line("--b--"));
  EXPECT_EQ(message[2].contentEnd, Line("--b--"));
  EXPECT_EQ(message[3].contentEnd, Line("--c--"));
}

TEST_F(MimeTree, DelimiterInsideAnOpenHeaderGivesAnEmptyBody) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\nContent-Type: text/plain\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[1].contentSubtype, "plain");
  ExpectRange(message[1], LineAfter("--b"), Line("--b--"), Line("--b--"));
  EXPECT_EQ(Body(message[1]), "");
}

TEST_F(MimeTree, MultipartWhoseHeaderIsCutByADelimiterNeverOpens) {
  const Message message =
      Mime(std::string(kMixed) +
           "--b\r\nContent-Type: multipart/mixed; boundary=c\r\n--b\r\n\r\n--c\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message[1].delimiter, nullptr);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
}

TEST_F(MimeTree, DelimitersAreComparedByPrefixWithoutCase) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=abc\r\n\r\n--abc\r\n\r\n1\r\n--ABC  \r\n\r\n2\r\n"
      "--aBcdef\r\n\r\n3\r\n--abc--x\r\n--abc\r\n\r\n4\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2, 3}));
}

TEST_F(MimeTree, PrefixTraceGivesTwoPartsAndThenEnds) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; "
      "boundary=abc\r\n\r\n--abc\r\n\r\n--ABCdef\r\n\r\n--abc--x\r\n");
  EXPECT_EQ(message.count(), 3);
}

TEST_F(MimeTree, HyphensInTheMiddleOfALineAreText) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\n\r\nx --b\r\n --b\r\n-b\r\n-\r\n--\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, Line("--b--"));
}

TEST_F(MimeTree, LongerInnerDelimiterWinsOverAShorterOuterOne) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=abc\r\n\r\n--abc\r\n"
      "Content-Type: multipart/mixed; boundary=abcdef\r\n\r\n--abcdef\r\n\r\n1\r\n--abcdef--\r\n"
      "--abc--\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(0), Indexes{1});
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message[1].contentEnd, Line("--abc--"));
}

TEST_F(MimeTree, ShorterInnerDelimiterLeavesTheOuterLinesAlone) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=abcdef\r\n\r\n--abcdef\r\n"
      "Content-Type: multipart/mixed; boundary=abc\r\n\r\n--abc\r\n\r\n1\r\n--abc--\r\n"
      "--abcdef\r\n\r\n2\r\n--abcdef--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 3}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
}

TEST_F(MimeTree, EqualBoundariesBelongToTheInnermost) {
  const Message message =
      Mime(std::string(kMixed) +
           "--b\r\nContent-Type: multipart/mixed; boundary=B\r\n\r\n--b\r\n\r\n1\r\n"
           "--b--\r\n--b\r\n\r\n2\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 3}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
}

TEST_F(MimeTree, OuterDelimiterEndsInnerMultipartsThatWereNeverClosed) {
  const Message message = Mime(
      std::string(kMixed) +
      "--b\r\nContent-Type: multipart/mixed; boundary=c\r\n\r\n--c\r\n"
      "Content-Type: multipart/mixed; boundary=d\r\n\r\n--d\r\n\r\n1\r\n--b\r\n\r\n2\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 5);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 4}));
  EXPECT_EQ(message.ChildrenOf(1), Indexes{2});
  EXPECT_EQ(message.ChildrenOf(2), Indexes{3});
  for (int i : {1, 2, 3}) EXPECT_EQ(message[i].contentEnd, Line("--b", 1)) << i;
}

TEST_F(MimeTree, OuterDelimiterEndsAPreamble) {
  const Message message = Mime(std::string(kMixed) +
                               "--b\r\nContent-Type: multipart/mixed; "
                               "boundary=c\r\n\r\npreamble\r\n--b\r\n\r\n2\r\n--c\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message.ChildrenOf(0), (Indexes{1, 2}));
  EXPECT_EQ(message[1].children, nullptr);
  EXPECT_EQ(message[1].contentEnd, Line("--b", 1));
  EXPECT_STREQ(message[1].delimiter, "--c");
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(MimeTree, ClosingDelimiterAsTheFirstGivesAChildlessMultipart) {
  const Message message = Mime(std::string(kMixed) + "--b--\r\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_EQ(message[0].children, nullptr);
  EXPECT_EQ(message[0].contentEnd, Size());
}

TEST_F(MimeTree, DelimiterBehindTheLastClosingOneIsText) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\n\r\n1\r\n--b--\r\n--b\r\n\r\n2\r\n--b--\r\n");
  EXPECT_EQ(message.count(), 2);
}

TEST_F(MimeTree, MarkersAreNotLookedForInPreambleAndEpilogue) {
  const Message message =
      Mime(std::string(kMixed) +
           "begin 644 x\r\nend\r\n--b\r\n\r\n1\r\n--b--\r\nbegin 644 y\r\nend\r\n");
  EXPECT_EQ(message.count(), 2);
}

TEST_F(MimeTree, BoundaryOnAFoldedLineIsRead) {
  const Message message = Mime(
      "Content-Type: multipart/mixed;\r\n boundary=\"a b\"\r\n\r\n--a b\r\n\r\n1\r\n--a b--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[0].delimiter, "--a b");
}

TEST_F(MimeTree, FirstParameterThatBeginsWithBoundaryCounts) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; Boundary2=x; boundary=y\r\n\r\n--x\r\n\r\n1\r\n--x--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[0].delimiter, "--x");
}

TEST_F(MimeTree, LooseBoundaryLosesTheBlanksAroundIt) {
  SetIni("[Options]\nStrictMimeParsing=NO\n");
  for (const char* value : {" b ", "\"b\"", " \"b\" ", "b\t"}) {
    const Message message = Mime("Content-Type: multipart/mixed; boundary=" + std::string(value) +
                                 "\r\n\r\n--b\r\n\r\n1\r\n--b--\r\n");
    EXPECT_EQ(message.count(), 2) << value;
    EXPECT_STREQ(message[0].delimiter, "--b") << value;
  }
}

TEST_F(MimeTree, MultipartWithoutBoundaryIsRefused) {
  for (const char* parameters : {"", "; bound=x", "; boundary", "; boundary=", "; boundary=\"\""}) {
    log_.Clear();
    const Message message = Mime("Content-Type: multipart/mixed" + std::string(parameters) +
                                 "\r\n\r\n--b\r\n\r\n1\r\n--b--\r\n");
    EXPECT_EQ(message.count(), -1) << parameters;
    EXPECT_EQ(message.pool(), nullptr);
    ASSERT_FALSE(log_.texts(1).empty());
    EXPECT_EQ(log_.texts(1).back(), "ParseMimeMessage: boundary line is missing.") << parameters;
  }
}

TEST_F(MimeTree, EmptyBoundaryIsRefusedWhereBlankValuesAreAccepted) {
  SetIni("[Options]\nAcceptBlankValueInContentTypeParm=YES\n");
  for (const char* value : {"", "\"\""}) {
    log_.Clear();
    const Message message =
        Mime("Content-Type: multipart/mixed; boundary=" + std::string(value) + "\r\n\r\n--\r\n");
    EXPECT_EQ(message.count(), -1);
    EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: boundary line not valid."});
  }
}

TEST_F(MimeTree, BoundaryErrorsOfInnerPartsFailTheWholeMessage) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\nContent-Type: multipart/mixed\r\n\r\n--b--\r\n");
  EXPECT_EQ(message.count(), -1);
  EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: boundary line is missing."});
}

TEST_F(MimeTree, FileThatEndsInAPreambleIsNoMimeMessage) {
  EXPECT_EQ(Mime(std::string(kMixed) + "preamble only\r\n").count(), -1);
  EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: not a valid MIME message."});
  log_.Clear();
  EXPECT_EQ(
      Mime(std::string(kMixed) + "--b\r\nContent-Type: multipart/x; boundary=c\r\n\r\npreamble")
          .count(),
      -1);
  EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: not a valid MIME message."});
}

TEST_F(MimeTree, OpenHeaderAtTheEndOfTheFileGivesAnEmptyBody) {
  const Message message =
      Mime(std::string(kMixed) + "--b\r\nContent-Type: text/plain\r\nContent-ID: <1>");
  ASSERT_EQ(message.count(), 2);
  EXPECT_STREQ(message[1].contentId, "<1>");
  ExpectRange(message[1], LineAfter("--b"), Size(), Size());
}

TEST_F(MimeTree, FileOfBareLineFeedsIsOneHeader) {
  const Message message = Mime("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b--\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_STREQ(message[0].contentType, "multipart");
  ExpectRange(message[0], 0, Size(), Size());
}

TEST_F(MimeTree, BareLineFeedsBehindTheHeaderAreLineEndsForDelimiters) {
  const Message message = Mime(std::string(kMixed) + "x\n--b\n\r\none\n--b--\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(Range(message[1].bodyStart, message[1].contentEnd), "one\n");
}

TEST_F(MimeTree, DelimiterInTheMiddleOfALongLineIsNone) {
  // 1024 bytes without a line feed, then what would be a delimiter line if lines were cut there.
  const Message message =
      Mime(std::string(kMixed) + "--b\r\n\r\n" + std::string(1024, 'x') + "--b\r\n\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, Line("--b--"));
}

TEST_F(MimeTree, LongDelimiterLineIsOneLine) {
  const Message message =
      Mime(std::string(kMixed) + "--b" + std::string(3000, ' ') +
           "\r\nContent-ID: <1>\r\n\r\nx\r\n--b--" + std::string(3000, '-') + "\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentStart, At("Content-ID"));
  EXPECT_STREQ(message[1].contentId, "<1>");
}

TEST_F(MimeTree, BoundaryOf1022BytesIsTheLongestThatALineCanHold) {
  for (const std::size_t size : {70u, 1020u, 1022u}) {
    const std::string boundary(size, 'y');
    const Message message = Mime("Content-Type: multipart/mixed; boundary=" + boundary +
                                 "\r\n\r\n--" + boundary + "\r\n\r\n1\r\n--" + boundary + "--\r\n");
    EXPECT_EQ(message.count(), size == 1022 ? 3 : 2) << size;
  }
  const std::string boundary(1023, 'y');
  EXPECT_EQ(Mime("Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary +
                 "\r\n\r\n1\r\n")
                .count(),
            -1);
}

TEST_F(MimeTree, NulsHideNothing) {
  const std::string nul(1, '\0');
  const Message message = Mime(std::string(kMixed) + "--b\r\n\r\na" + nul + nul + "b\r\n" + nul +
                               "--b\r\n--b\r\n\r\nc" + nul + "\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 3);
  EXPECT_EQ(message[1].contentEnd, Line("--b", 1));
  EXPECT_EQ(message[2].contentEnd, Line("--b--"));
}

TEST_F(MimeTree, BareCarriageReturnsAreNoLineEnds) {
  const Message message = Mime(std::string(kMixed) + "--b\r\n\r\na\r--b\r\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 2);
  EXPECT_EQ(message[1].contentEnd, Line("--b--"));
}

TEST_F(MimeTree, DoubledCarriageReturnDoesNotEndAHeader) {
  const Message message = Mime("Content-ID: <1>\r\r\n\r\r\nContent-Description: d\r\n\r\nx");
  EXPECT_STREQ(message[0].contentDescription, "d");
  EXPECT_EQ(message[0].bodyStart, At("x"));
}

TEST_F(MimeTree, HundredContainersAreOpenAndTheNextStaysALeaf) {
  std::string text;
  for (int i = 0; i <= 101; ++i) {
    const std::string boundary = "b" + std::to_string(i) + "x";
    text +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  const Message message = Mime(text + "\r\ninner\r\n");
  ASSERT_EQ(message.count(), 101);
  EXPECT_EQ(log_.Count(6, "ParseMimeMessage: nesting limit reached."), 1u);
  EXPECT_STREQ(message[100].contentType, "multipart");
  EXPECT_EQ(message[100].delimiter, nullptr);
  EXPECT_STREQ(message[99].delimiter, "--b99x");
}

TEST_F(MimeTree, NestingLimitHoldsForEncapsulatedMessages) {
  std::string text;
  for (int i = 0; i < 150; ++i) text += "Content-Type: message/rfc822\r\n\r\n";
  const Message message = Mime(text);
  EXPECT_EQ(message.count(), 101);
  EXPECT_EQ(log_.Count(6, "ParseMimeMessage: nesting limit reached."), 1u);
}

TEST_F(MimeTree, ClosedContainersDoNotCountForTheLimit) {
  std::string text = kMixed;
  for (int i = 0; i < 150; ++i)
    text += "--b\r\nContent-Type: multipart/mixed; boundary=c\r\n\r\n--c\r\n\r\nx\r\n--c--\r\n";
  const Message message = Mime(text + "--b--\r\n");
  EXPECT_EQ(message.count(), 301);
  EXPECT_FALSE(log_.Has(6, "ParseMimeMessage: nesting limit reached."));
}

TEST_F(MimeTree, ContainerTakes65535ChildrenAndTheRestStaysInThePool) {
  std::string text = kMixed;
  for (int i = 0; i < 65540; ++i) text += "--b\r\n\r\n";
  const Message message = Mime(text + "--b--\r\n");
  ASSERT_EQ(message.count(), 65541);
  EXPECT_EQ(message[0].childCount, 65535);
  EXPECT_EQ(message[65535].role, 2);
  EXPECT_EQ(message[65536].role, 0);
  EXPECT_EQ(message[65536].contentEnd, message[65536].bodyStart);
  EXPECT_EQ(log_.Count(6, "ParseMimeMessage: child limit reached."), 1u);
  std::int32_t leaves = 1;
  MimeGetNumLeafBodyParts(&message[0], &leaves);
  EXPECT_EQ(leaves, 65535);
}

}  // namespace
}  // namespace qob::testing
