// The MIME header fields of a part: what is stored, what is reported, what makes a message
// unreadable.
#include <string>

#include "mime_support.h"

namespace qob::testing {
namespace {

class ContentFields : public MimeTest {
 protected:
  // Part 0 of a message with these header lines.
  Message WithHeader(const std::string& lines) { return Mime(lines + "\r\nbody\r\n"); }
  std::string Type(const std::string& value) {
    const Message message = WithHeader("Content-Type:" + value + "\r\n");
    if (message.count() != 1) return "failed";
    return Or(message[0].contentType) + "/" + Or(message[0].contentSubtype);
  }
};

TEST_F(ContentFields, StoresEveryFieldAsWritten) {
  const Message message = WithHeader(
      "MIME-Version: 1.0 (made by hand)\r\n"
      "CONTENT-ID: <a@b>\r\n"
      "content-description:  Two words \r\n"
      "Content-Type: TEXT/Html; Charset=US-ASCII\r\n"
      "Content-Transfer-Encoding: Quoted-Printable\r\n"
      "Content-Disposition: Attachment; filename=x.txt\r\n");
  ASSERT_EQ(message.count(), 1);
  const MimeBodyPart* part = &message[0];
  EXPECT_STREQ(MimeGetContentID(part), "<a@b>");
  EXPECT_STREQ(MimeGetContentDescription(part), "Two words ");
  EXPECT_STREQ(MimeGetContentType(part), "TEXT");
  EXPECT_STREQ(MimeGetContentSubtype(part), "Html");
  EXPECT_STREQ(MimeGetContentTransferEncoding(part), "Quoted-Printable");
  EXPECT_STREQ(MimeGetContentDisposition(part), "Attachment");
  EXPECT_EQ(Message::Texts(MimeGetContentTypeParams(part)), Texts{"Charset=US-ASCII"});
  EXPECT_EQ(Message::Texts(MimeGetContentDispositionParams(part)), Texts{"filename=x.txt"});
  EXPECT_EQ(MimeGetTrueName(part), nullptr);
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(ContentFields, ReportsAFoundTypeAtLevelSix) {
  EXPECT_EQ(Type(" text/plain"), "text/plain");
  EXPECT_EQ(log_.texts(6), Texts{"Found text/plain"});
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(ContentFields, LogsUnderTheClientName) {
  Type(" text/plain");
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(log_.lines()[0].module, "mimetest");
}

TEST_F(ContentFields, MissingSubtypeFailsTheWholeMessage) {
  for (const char* value : {" text", " text/", " ;charset=x", " (c)", " text/ (c) ;a=b", " /"}) {
    log_.Clear();
    MimeMessagePool* pool = nullptr;
    const std::string path = File("Content-Type:" + std::string(value) + "\r\n\r\nbody\r\n");
    EXPECT_EQ(ParseMimeMessage(path.c_str(), 0, &pool), -1) << value;
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(log_.texts(1), Texts{"\"Content-Type\" field invalid. Missing subtype."}) << value;
    EXPECT_TRUE(log_.texts(6).empty()) << value;
  }
}

TEST_F(ContentFields, MissingSubtypeOfAnInnerPartFailsTheWholeMessageToo) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\ncontent-TYPE: "
      "text\r\n\r\nx\r\n--b--\r\n");
  EXPECT_EQ(message.count(), -1);
  EXPECT_EQ(message.pool(), nullptr);
  EXPECT_EQ(log_.texts(1), Texts{"\"content-TYPE\" field invalid. Missing subtype."});
}

TEST_F(ContentFields, EmptyTypeIsInvalidAndStaysUnset) {
  for (const char* value : {"", " ", "\t "}) {
    log_.Clear();
    EXPECT_EQ(Type(value), "<null>/<null>");
    EXPECT_EQ(log_.texts(1), Texts{"\"Content-Type\" field invalid."});
  }
}

TEST_F(ContentFields, MisplacedSlashIsReportedBeforeTheDefault) {
  for (const char* value : {" /plain", " text/plain/x", " text//plain", " (c)/plain"}) {
    log_.Clear();
    EXPECT_EQ(Type(value), "application/octet-stream") << value;
    EXPECT_EQ(log_.texts(1),
              (Texts{"Misplaced slash.",
                     "\"Content-Type\" field invalid. Defaulting to application/octet-stream."}));
    EXPECT_TRUE(log_.texts(6).empty());
  }
}

TEST_F(ContentFields, ControlsAndTspecialsGiveTheDefault) {
  for (const char c : std::string("()<>@,\\:\"[]?=\x01\x7f\t")) {
    for (const std::string& value :
         {std::string(" te") + c + "xt/plain", std::string(" text/pl") + c + "ain"}) {
      log_.Clear();
      const std::string type = Type(value);
      if (c == '(') {  // opens a comment that is never closed
        EXPECT_EQ(type, "<null>/<null>") << value;
        continue;
      }
      EXPECT_EQ(type, "application/octet-stream") << value;
      EXPECT_EQ(log_.texts(1),
                Texts{"\"Content-Type\" field invalid. Defaulting to application/octet-stream."})
          << value;
    }
  }
}

TEST_F(ContentFields, DefaultedTypeKeepsItsParameters) {
  const Message message = WithHeader("Content-Type: te,xt/plain; name=a\r\n");
  EXPECT_EQ(message.TypeParameters(0), Texts{"name=a"});
}

TEST_F(ContentFields, TrimsBlanksAndCommentsAroundTypeAndSubtype) {
  EXPECT_EQ(Type(" (a) text (b) / (c(d)) plain (e) ; x=y"), "text/plain");
  EXPECT_EQ(Type("\ttext/plain\t"), "text/plain");
  EXPECT_EQ(Type(" (a;b/c) text/plain"), "text/plain");
  EXPECT_EQ(Type(" text/plain (\\); x) ; a=b"), "text/plain");
}

TEST_F(ContentFields, EightBitTypesAreKept) {
  EXPECT_EQ(Type(" t\xE4xt/pl\xFCin"), "t\xE4xt/pl\xFCin");
}

TEST_F(ContentFields, CutsALongTypeTo255) {
  const std::string type(200, 't');
  EXPECT_EQ(Type(" " + type + "/" + std::string(54, 's')), type + "/" + std::string(54, 's'));
  EXPECT_FALSE(log_.Has(6, "type/subtype bigger than tmp"));
  EXPECT_EQ(Type(" " + type + "/" + std::string(55, 's')), type + "/" + std::string(54, 's'));
  EXPECT_TRUE(log_.Has(6, "type/subtype bigger than tmp"));
}

TEST_F(ContentFields, LongTypeWithoutSlashBeforeTheCutHasNoSubtype) {
  EXPECT_EQ(Type(" " + std::string(300, 't') + "/s"), "failed");
  EXPECT_TRUE(log_.Has(6, "type/subtype bigger than tmp"));
  EXPECT_TRUE(log_.Has(1, "\"Content-Type\" field invalid. Missing subtype."));
}

TEST_F(ContentFields, UnclosedCommentLeavesTheFieldUnset) {
  const Message message = WithHeader(
      "Content-Type: text/plain (open\r\nContent-ID: (open <a@b>\r\nContent-Disposition: "
      "(x\r\nMime-Version: 1.0 (\r\n");
  EXPECT_EQ(message[0].contentType, nullptr);
  EXPECT_EQ(message[0].contentId, nullptr);
  EXPECT_EQ(message[0].contentDisposition, nullptr);
  EXPECT_EQ(log_.texts(1),
            (Texts{"\"Content-Type\" field invalid. Invalid comment or continuation.",
                   "\"Content-ID\" field invalid. Invalid comment or continuation.",
                   "\"Content-Disposition\" field invalid. Invalid comment or continuation.",
                   "\"Mime-Version\" field invalid. Invalid comment or continuation."}));
}

TEST_F(ContentFields, UnclosedCommentIsFoundBehindTheValueToo) {
  const Message message = WithHeader("Content-ID: <a@b> (open\r\nMime-Version: (open\r\n");
  EXPECT_EQ(message[0].contentId, nullptr);
  EXPECT_EQ(log_.texts(1),
            (Texts{"\"Content-ID\" field invalid. Invalid comment or continuation.",
                   "\"Mime-Version\" field invalid. Invalid comment or continuation."}));
}

TEST_F(ContentFields, CommentThatTheCutLeavesOpenIsPartOfTheType) {
  EXPECT_EQ(Type(" a (" + std::string(300, 'c') + ") / b"), "failed")
      << "the slash lies behind the cut";
  EXPECT_EQ(Type(" a/b (" + std::string(300, 'c') + ") c"), "application/octet-stream");
  EXPECT_EQ(Type(" a (x/" + std::string(300, 'c') + ") / b"), "application/octet-stream");
}

TEST_F(ContentFields, MimeVersionMustHaveAValue) {
  WithHeader("Mime-Version:\r\n");
  EXPECT_EQ(log_.texts(1), Texts{"\"Mime-Version\" field invalid."});
  log_.Clear();
  WithHeader("MIME-version: (only a comment)\r\n");
  EXPECT_EQ(log_.texts(1), Texts{"\"MIME-version\" field invalid."});
  log_.Clear();
  WithHeader("Mime-Version: 2.0\r\n");
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(ContentFields, DescriptionMustNotBeEmpty) {
  const Message message = WithHeader("Content-Description:  \r\n");
  EXPECT_EQ(message[0].contentDescription, nullptr);
  EXPECT_EQ(log_.texts(1), Texts{"\"Content-Description\" field invalid."});
}

TEST_F(ContentFields, DescriptionIsUnfoldedAndKeepsParenthesesAndQuotes) {
  const Message message = WithHeader("Content-Description: a (b\r\n \"c\r\n\td\r\n");
  EXPECT_STREQ(message[0].contentDescription, "a (b \"c\td");
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(ContentFields, IdKeepsItsBracketsAndMustCloseThem) {
  EXPECT_STREQ(WithHeader("Content-ID: <a@b>\r\n")[0].contentId, "<a@b>");
  EXPECT_STREQ(WithHeader("Content-ID: bare\r\n")[0].contentId, "bare");
  EXPECT_TRUE(log_.texts(1).empty());
  for (const char* value : {"", " ", " <a@b"}) {
    log_.Clear();
    EXPECT_EQ(WithHeader("Content-ID:" + std::string(value) + "\r\n")[0].contentId, nullptr)
        << value;
    EXPECT_EQ(log_.texts(1), Texts{"\"Content-ID\" field invalid."}) << value;
  }
}

TEST_F(ContentFields, EncodingIsATokenUpToWhiteSpace) {
  EXPECT_STREQ(
      WithHeader("Content-Transfer-Encoding: base64 and more\r\n")[0].contentTransferEncoding,
      "base64");
  EXPECT_STREQ(WithHeader("Content-Transfer-Encoding: (c) 8bit(d)\r\n")[0].contentTransferEncoding,
               "8bit");
  EXPECT_TRUE(log_.texts(1).empty());
  for (const char* value : {"", " ", " \"base64\"", " base64;", " a=b", " (open", " ba\x01se"}) {
    log_.Clear();
    EXPECT_EQ(WithHeader("Content-Transfer-Encoding:" + std::string(value) + "\r\n")[0]
                  .contentTransferEncoding,
              nullptr);
    EXPECT_EQ(log_.texts(1), Texts{"\"Content-Transfer-Encoding\" field invalid."}) << value;
  }
}

TEST_F(ContentFields, DispositionIsATokenAndThenParameters) {
  const Message message =
      WithHeader("Content-Disposition: (c) inline (d) ; filename=\"a b\"; size=5\r\n");
  EXPECT_STREQ(message[0].contentDisposition, "inline");
  EXPECT_EQ(Message::Texts(message[0].contentDispositionParams),
            (Texts{"filename=\"a b\"", "size=5"}));
  EXPECT_EQ(message[0].contentTypeParams, nullptr);
}

TEST_F(ContentFields, InvalidDispositionIsNotStored) {
  for (const char* value : {"", " ", " filename=x", " ;filename=x", " a/b"}) {
    log_.Clear();
    const Message message = WithHeader("Content-Disposition:" + std::string(value) + "\r\n");
    EXPECT_EQ(message[0].contentDisposition, nullptr) << value;
    EXPECT_EQ(message[0].contentDispositionParams, nullptr) << value;
    EXPECT_EQ(log_.texts(1), Texts{"\"Content-Disposition\" field invalid."}) << value;
  }
}

TEST_F(ContentFields, TextBehindTheDispositionIsAMissingSeparator) {
  const Message message = WithHeader("Content-Disposition: attachment filename=x\r\n");
  EXPECT_STREQ(message[0].contentDisposition, "attachment");
  EXPECT_EQ(message[0].contentDispositionParams, nullptr);
  EXPECT_EQ(log_.texts(1), Texts{"Missing parm separator."});
}

TEST_F(ContentFields, FirstOfARepeatedFieldWins) {
  const Message message = WithHeader(
      "Content-Type: text/plain; a=1\r\nContent-Type: image/gif; a=2\r\nContent-Type: broken\r\n"
      "Content-ID: <1>\r\nContent-ID: <2>\r\nContent-Description: 1\r\nContent-Description: 2\r\n"
      "Content-Transfer-Encoding: 7bit\r\nContent-Transfer-Encoding: 8bit\r\n"
      "Content-Disposition: inline\r\nContent-Disposition: attachment; filename=x\r\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_STREQ(message[0].contentSubtype, "plain");
  EXPECT_EQ(message.TypeParameters(0), Texts{"a=1"});
  EXPECT_STREQ(message[0].contentId, "<1>");
  EXPECT_STREQ(message[0].contentDescription, "1");
  EXPECT_STREQ(message[0].contentTransferEncoding, "7bit");
  EXPECT_STREQ(message[0].contentDisposition, "inline");
  EXPECT_EQ(message[0].contentDispositionParams, nullptr);
  EXPECT_TRUE(log_.texts(1).empty());
}

TEST_F(ContentFields, InvalidFieldLeavesRoomForALaterOne) {
  const Message message = WithHeader(
      "Content-ID: <open\r\nContent-ID: <2>\r\nContent-Transfer-Encoding: ;\r\n"
      "Content-Transfer-Encoding: base64\r\n");
  EXPECT_STREQ(message[0].contentId, "<2>");
  EXPECT_STREQ(message[0].contentTransferEncoding, "base64");
}

TEST_F(ContentFields, NameMustBeFollowedByItsColon) {
  const Message message =
      WithHeader("Content-Type : text/plain\r\nContent-Typex: a\r\nX-Content-Type: b/c\r\n");
  EXPECT_EQ(message[0].contentType, nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ContentFields, FoldedFieldLosesItsLineEndsAndKeepsItsBlanks) {
  const Message message =
      WithHeader("Content-Type:\r\n text/plain;\r\n\tname=\"a\r\n b\";\r\n  x=y\r\n");
  EXPECT_EQ(message.TypeParameters(0), (Texts{"name=\"a b\"", "x=y"}));
}

TEST_F(ContentFields, BareLineFeedsFoldToo) {
  const Message message = WithHeader("Content-Type: text/plain;\n name=\"a\n b\"\r\n");
  EXPECT_EQ(message.TypeParameters(0), Texts{"name=\"a b\""});
}

TEST_F(ContentFields, ContinuationOfAnotherFieldIsNotRead) {
  const Message message =
      WithHeader("Subject: x\r\n Content-Type: text\r\n content-id: <a>\r\nTo: y\r\n");
  EXPECT_EQ(message[0].contentType, nullptr);
  EXPECT_EQ(message[0].contentId, nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ContentFields, ContinuationBeforeAnyFieldIsSkipped) {
  const Message message = WithHeader(" Content-Type: text\r\nContent-ID: <a>\r\n");
  EXPECT_STREQ(message[0].contentId, "<a>");
}

TEST_F(ContentFields, EnvelopeLinesAreSkippedInAnyHeaderAndEndAField) {
  const Message message = WithHeader(
      "#FContent-Type: text\r\n#Rx\r\nContent-Description: a\r\n#F y\r\n b\r\nContent-ID: <a>\r\n");
  EXPECT_STREQ(message[0].contentDescription, "a");
  EXPECT_STREQ(message[0].contentId, "<a>");
  EXPECT_EQ(message[0].contentType, nullptr);
}

TEST_F(ContentFields, LowerCaseEnvelopeLettersAndOtherNumberSignsAreOrdinaryLines) {
  const Message message =
      WithHeader("Content-Description: a\r\n#D b\r\n c\r\n#f d\r\nContent-ID: <a>\r\n");
  EXPECT_STREQ(message[0].contentDescription, "a");
  EXPECT_STREQ(message[0].contentId, "<a>");
}

// A header line of more than 1024 bytes comes in pieces; none of them but the first begins a field.
TEST_F(ContentFields, LongLineIsOneFieldWhateverItsPiecesBeginWith) {
  std::string line = "Content-Description: ";
  line.resize(1024, 'x');
  const Message message = WithHeader(line + "Content-ID: <smuggled>\r\n");
  EXPECT_EQ(message[0].contentId, nullptr);
  EXPECT_EQ(std::string(message[0].contentDescription), line.substr(21) + "Content-ID: <smuggled>");
}

TEST_F(ContentFields, EmptyLineNeedsALineStart) {
  std::string line = "Content-Description: ";
  line.resize(1024, 'x');  // the piece "\r\n" that follows ends this line, not the header
  const Message message = Mime(line + "\r\nContent-ID: <a>\r\n\r\nbody");
  EXPECT_STREQ(message[0].contentId, "<a>");
  EXPECT_EQ(message[0].bodyStart, At("body"));
}

TEST_F(ContentFields, NulInATypeGivesTheDefault) {
  const Message message = WithHeader(std::string("Content-Type: te\0xt/plain\r\n", 27));
  EXPECT_STREQ(message[0].contentType, "application");
}

TEST_F(ContentFields, HeaderOfTenMegabytesIsReadInLinearMemory) {
  std::string header = "Content-Type: text/plain";
  while (header.size() < 10u * 1024 * 1024) header += ";\r\n name=" + std::string(500, 'v');
  const Message message = WithHeader(header + "\r\n");
  ASSERT_EQ(message.count(), 1);
  EXPECT_GT(message.TypeParameters(0).size(), 20000u);
}

}  // namespace
}  // namespace qob::testing
