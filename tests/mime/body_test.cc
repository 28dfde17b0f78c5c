// Parts as files: decoded bodies, bodies without their blocks, header blocks.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <qob3xapi/lineio.h>
#include <qob3xapi/util.h>

#include "mime_support.h"

namespace qob::testing {
namespace {

// Name "a", type TEXT, creator ttxt, data fork "Hi", no resource fork.
constexpr char kBinHex[] = ":!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n";
constexpr char kBinHexMarker[] = "(This file must be converted with BinHex 4.0)\r\n";

class Extraction : public MimeTest {
 protected:
  // Part 0 of a message with that encoding and body.
  Message Encoded(const std::string& encoding, const std::string& body) {
    return Mime("Content-Type: application/x\r\nContent-Transfer-Encoding: " + encoding +
                "\r\n\r\n" + body);
  }
  std::string Decoded(const std::string& encoding, const std::string& body) {
    const Message message = Encoded(encoding, body);
    return Body(message[0]);
  }
};

TEST_F(Extraction, GivesANewTemporaryFileThatTheCallerOwns) {
  const Message message = Mime("Subject: x\r\n\r\nbody\r\n");
  char* name = MimeGetBody(&message[0], 0, kOwnFile);
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(std::string(name).rfind(spool_.temp() + "\\MIME", 0), 0u);
  EXPECT_EQ(std::strlen(name), spool_.temp().size() + 9);
  struct stat status {};
  char* native = QOBNativePath(name);
  ASSERT_EQ(stat(native, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  FreeString(native);
  EXPECT_EQ(Taken(name), "body\r\n");
}

TEST_F(Extraction, CopiesAPlainBodyByteForByte) {
  const std::string nul(1, '\0');
  for (const std::string& body : {std::string("a\r\n"), std::string("no line end"),
                                  "a" + nul + "b\xFF\r\r\n" + nul, std::string(300000, 'x')}) {
    const Message message = Mime("Content-Transfer-Encoding: 8bit\r\n\r\n" + body);
    EXPECT_EQ(Body(message[0]), body);
  }
}

TEST_F(Extraction, DecodesBase64) {
  EXPECT_EQ(Decoded("base64", "SGVs\r\nbG8=\r\n"), "Hello");
  EXPECT_EQ(Decoded("BASE64", "SGVsbG8=\r\n"), "Hello");
}

TEST_F(Extraction, DecodesQuotedPrintable) {
  EXPECT_EQ(Decoded("quoted-printable", "a=3Db=\r\nc\r\n"), "a=bc");
  EXPECT_EQ(Decoded("Quoted-Printable", "a=E4\r\n\r\n"), "a\xE4\r\n");
}

TEST_F(Extraction, BodyThatIsNoBase64IsDeliveredAsItStands) {
  EXPECT_EQ(Decoded("base64", "SGVs!bG8=\r\n"), "SGVs!bG8=\r\n");
  EXPECT_EQ(Decoded("base64", "\xC3\xA4\r\n"), "\xC3\xA4\r\n");
}

TEST_F(Extraction, Base64EndsAtPaddingAndAtAHyphen) {
  EXPECT_EQ(Decoded("base64", "-x"), "");
  EXPECT_EQ(Decoded("base64", "=x"), "");
}

TEST_F(Extraction, QuotedPrintableThatEndsInsideAnEscapeIsDeliveredAsItStands) {
  EXPECT_EQ(Decoded("quoted-printable", "abc="), "abc=");
  EXPECT_EQ(Decoded("quoted-printable", "abc=4"), "abc=4");
}

TEST_F(Extraction, EmptyBodyIsAnEmptyFileUnderEveryEncoding) {
  for (const char* encoding :
       {"7bit", "base64", "quoted-printable", "x-uuencode", "x-unheard-of"}) {
    EXPECT_EQ(Decoded(encoding, ""), "") << encoding;
  }
  const Message message = Mime("Content-Type: application/mac-binhex40\r\n\r\n");
  EXPECT_EQ(Body(message[0]), "");
}

// An empty limit means "no limit" to the decoder: the next part would be decoded instead.
TEST_F(Extraction, EmptyUuencodedPartDoesNotTakeTheNextPartsBlock) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: x-uuencode\r\n\r\n"
      "--b\r\n\r\nbegin 644 a\r\n#86)C\r\n`\r\nend\r\n--b--\r\n");
  ASSERT_GE(message.count(), 3);
  EXPECT_EQ(Body(message[1]), "");
  EXPECT_EQ(message[1].trueName, nullptr);
}

TEST_F(Extraction, EveryNameOfUuencodeIsKnown) {
  const std::string block = "begin 644 a.txt\r\n#86)C\r\n`\r\nend\r\n";
  for (const char* name : {"x-uuencode", "X-UUENCODE", "user-Uuencode", "uuencode", "x-uue",
                           "x-uUencode", "x-Uuencode", "X-uuEncoded"}) {
    const Message message = Encoded(name, block);
    EXPECT_EQ(Body(message[0]), "abc") << name;
    EXPECT_STREQ(message[0].trueName, "a.txt") << name;
  }
  for (const char* name : {"x-user", "uxuuencode", "base65", "unknown"})
    EXPECT_EQ(Decoded(name, block), block) << name;
}

TEST_F(Extraction, UuencodedNameLosesTheBlanksAroundIt) {
  const Message message =
      Encoded("x-uuencode", "begin 666  two words.txt \r\n#86)C\r\n`\r\nend\r\n");
  EXPECT_EQ(Body(message[0]), "abc");
  EXPECT_STREQ(MimeGetTrueName(&message[0]), "two words.txt");
}

TEST_F(Extraction, UuencodedBodyWithoutEndIsDeliveredAsItStandsAndClearsTheName) {
  const Message message = Encoded("x-uuencode", "begin 644 a\r\n#86)C\r\n");
  message[0].trueName = strdup("old");
  EXPECT_EQ(Body(message[0]), "begin 644 a\r\n#86)C\r\n");
  EXPECT_EQ(message[0].trueName, nullptr);
}

TEST_F(Extraction, UuencodedBlockMustEndInsideItsPart) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: x-uuencode\r\n\r\nbegin 644 "
      "a\r\n#86)C\r\n"
      "--b\r\n\r\n`\r\nend\r\n--b--\r\n");
  EXPECT_EQ(Body(message[1]), "begin 644 a\r\n#86)C\r\n");
}

TEST_F(Extraction, ExtractingTwiceReplacesTheName) {
  const Message message = Encoded("x-uuencode", "begin 644 a\r\n#86)C\r\n`\r\nend\r\n");
  EXPECT_EQ(Body(message[0]), "abc");
  EXPECT_EQ(Body(message[0]), "abc");
  EXPECT_STREQ(message[0].trueName, "a");
}

TEST_F(Extraction, BinHexBecomesAnAppleSingleFile) {
  const Message message = Mime("Content-Type: application/Mac-BinHex40\r\n\r\n" +
                               std::string(kBinHexMarker) + "\r\n" + kBinHex);
  const std::string file = Body(message[0]);
  ASSERT_GT(file.size(), 74u);
  EXPECT_EQ(file.substr(0, 4), std::string("\x00\x05\x16\x00", 4));
  EXPECT_EQ(file.substr(74, 2), "Hi");
  EXPECT_STREQ(message[0].trueName, "a");
}

TEST_F(Extraction, BadBinHexIsDeliveredAsItStandsAndClearsTheName) {
  const std::string body = std::string(kBinHexMarker) + ":abc:\r\n";
  const Message message = Mime("Content-Type: application/mac-binhex40\r\n\r\n" + body);
  message[0].trueName = strdup("old");
  EXPECT_EQ(Body(message[0]), body);
  EXPECT_EQ(message[0].trueName, nullptr);
}

TEST_F(Extraction, TransferEncodingComesBeforeBinHex) {
  const Message message = Mime(
      "Content-Type: application/mac-binhex40\r\nContent-Transfer-Encoding: "
      "base64\r\n\r\nSGVsbG8=\r\n");
  EXPECT_EQ(Body(message[0]), "Hello");
}

TEST_F(Extraction, RawGivesHeaderAndBodyAsTheyStandAndKeepsTheName) {
  const Message message = Encoded("base64", "SGVsbG8=\r\n");
  message[0].trueName = strdup("old");
  EXPECT_EQ(Raw(message[0]), bytes_);
  EXPECT_STREQ(message[0].trueName, "old");
  const Message nested = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: "
      "application/mac-binhex40\r\n\r\nx\r\n--b--\r\n");
  EXPECT_EQ(Raw(nested[1]), "Content-Type: application/mac-binhex40\r\n\r\nx\r\n");
}

TEST_F(Extraction, BodyOfAMultipartIsItsWholeRange) {
  const Message message =
      Mime("Content-Type: multipart/mixed; boundary=b\r\n\r\npre\r\n--b\r\n\r\n1\r\n--b--\r\nepi");
  EXPECT_EQ(Body(message[0]), "pre\r\n--b\r\n\r\n1\r\n--b--\r\nepi");
}

TEST_F(Extraction, TakesTheMessageFromAnOpenHandleAndLeavesItOpen) {
  const Message message = Encoded("base64", "SGVsbG8=\r\n");
  const std::int32_t handle = fileopen(message[0].fileName, 0, 1);
  ASSERT_NE(handle, -1);
  char* wrong = message[0].fileName;
  message[0].fileName = nullptr;  // so that nothing but the handle can have been read
  EXPECT_EQ(Taken(MimeGetBody(&message[0], 0, handle)), "Hello");
  EXPECT_EQ(Taken(MimeGetBody(&message[0], 1, handle)), bytes_);
  message[0].fileName = wrong;
  EXPECT_EQ(fileclose(handle), 1);
}

TEST_F(Extraction, HandleMayStandAnywhere) {
  const Message message = Mime("Subject: x\r\n\r\nbody");
  const int fd = open(message[0].fileName, O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 3);
  EXPECT_EQ(lseek(fd, 5, SEEK_SET), 5);
  EXPECT_EQ(Taken(MimeGetBody(&message[0], 0, fd)), "body");
  EXPECT_EQ(Taken(MimeGetBody(&message[0], 0, fd)), "body");
  close(fd);
}

TEST_F(Extraction, NullRecordGivesNull) {
  EXPECT_EQ(MimeGetBody(nullptr, 0, kOwnFile), nullptr);
  EXPECT_EQ(MimeGetBodyWithNoEmbeddedAttachment(nullptr), nullptr);
  EXPECT_EQ(MimeGetHeader(nullptr), nullptr);
}

TEST_F(Extraction, RecordThatEndsBeforeItsBodyGivesNull) {
  MimeBodyPart part{};
  std::string path = File("0123456789");
  part.fileName = path.data();
  part.bodyStart = 5;
  part.contentEnd = 4;
  EXPECT_EQ(MimeGetBody(&part, 0, kOwnFile), nullptr);
  EXPECT_EQ(MimeGetBodyWithNoEmbeddedAttachment(&part), nullptr);
  part.contentStart = 4;
  EXPECT_EQ(MimeGetHeader(&part), nullptr);
  EXPECT_TRUE(LeftFiles().empty());
}

TEST_F(Extraction, MissingMessageFileGivesNullAndLeavesNothing) {
  std::string path = spool_.path("missing");
  for (const char* encoding : {"7bit", "base64", "x-uuencode"}) {
    MimeBodyPart part{};
    std::string text = encoding;
    part.fileName = path.data();
    part.contentTransferEncoding = text.data();
    part.contentEnd = 10;
    part.bodyStart = 5;
    EXPECT_EQ(MimeGetBody(&part, 0, kOwnFile), nullptr);
    EXPECT_EQ(MimeGetBodyWithNoEmbeddedAttachment(&part), nullptr);
    EXPECT_EQ(MimeGetHeader(&part), nullptr);
    part.fileName = nullptr;
    EXPECT_EQ(MimeGetBody(&part, 0, kOwnFile), nullptr);
    EXPECT_EQ(MimeGetBodyWithNoEmbeddedAttachment(&part), nullptr);
    EXPECT_EQ(MimeGetHeader(&part), nullptr);
  }
  EXPECT_TRUE(LeftFiles().empty());
}

TEST_F(Extraction, WithoutATemporaryDirectoryThereIsNoResult) {
  const Message message = Mime("Subject: x\r\n\r\nbody\r\n");
  TerminateQOBDll();
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\n");
  InitQOBDll_NOMQ("mimetest");
  EXPECT_EQ(MimeGetBody(&message[0], 0, kOwnFile), nullptr);
  EXPECT_EQ(MimeGetBodyWithNoEmbeddedAttachment(&message[0]), nullptr);
  EXPECT_EQ(MimeGetHeader(&message[0]), nullptr);
}

TEST_F(Extraction, FileThatBecameShorterGivesWhatIsLeft) {
  const Message message = Mime("Subject: x\r\n\r\nbody to be cut\r\n");
  ASSERT_EQ(truncate(message[0].fileName, message[0].bodyStart + 4), 0);
  EXPECT_EQ(Body(message[0]), "body");
}

TEST_F(Extraction, NameTakenBySomebodyElseIsLeftAlone) {
  const Message message = Mime("Subject: x\r\n\r\nbody");
  char* first = MimeGetBody(&message[0], 0, kOwnFile);
  ASSERT_NE(first, nullptr);
  const std::string path = first;
  const int number = std::stoi(path.substr(path.size() - 4));
  MimeFreeFile(first);
  char next[32];
  std::snprintf(next, sizeof next, "/MIME%04d", number + 1);
  ASSERT_EQ(symlink("/nowhere/at/all", (spool_.temp() + next).c_str()), 0);
  char* second = MimeGetBody(&message[0], 0, kOwnFile);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(std::string(second).substr(path.size() - 8), next + 1);
  MimeFreeFile(second);
  unlink((spool_.temp() + next).c_str());
}

TEST_F(Extraction, GivesUpWhereEveryNameIsTaken) {
  const Message message = Mime("Subject: x\r\n\r\nbody");
  for (int i = 0; i < 30; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "/MIME%04d", i);
    ASSERT_EQ(symlink("/nowhere/at/all", (spool_.temp() + name).c_str()), 0);
  }
  EXPECT_EQ(MimeGetBody(&message[0], 0, kOwnFile), nullptr);
  EXPECT_EQ(LeftFiles().size(), 30u);
}

// ---- the text without its blocks ----

class OwnTextOfAPart : public MimeTest {};

TEST_F(OwnTextOfAPart, LeavesOutTheLinesOfItsAttachment) {
  const Message message =
      Mime("Subject: x\r\n\r\nfirst\r\nbegin 644 a.txt\r\n#86)C\r\n`\r\nend\r\nsecond\r\n");
  EXPECT_EQ(OwnText(message[0]), "first\r\nsecond\r\n");
  EXPECT_EQ(Body(message[1]), "abc");
  EXPECT_STREQ(MimeGetTrueName(&message[1]), "a.txt");
  EXPECT_EQ(Body(message[0]), Range(message[0].bodyStart, message[0].contentEnd))
      << "the body itself is whole";
}

TEST_F(OwnTextOfAPart, KeepsTheLinesDirectlyAroundItsBlocks) {
  const Message message =
      Mime("Subject: x\r\n\r\none\r\nbegin 1 a\r\nend\r\nbegin 1 b\r\nend\r\ntwo\r\n" +
           std::string(kBinHexMarker) + kBinHex + "three");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(OwnText(message[0]), "one\r\ntwo\r\nthree");
}

TEST_F(OwnTextOfAPart, BlockAtEitherEndLeavesTheRest) {
  EXPECT_EQ(OwnText(Mime("A: b\r\n\r\nbegin 1 a\r\nend\r\ntext\r\n")[0]), "text\r\n");
  EXPECT_EQ(OwnText(Mime("A: b\r\n\r\ntext\r\nbegin 1 a\r\nend\r\n")[0]), "text\r\n");
  EXPECT_EQ(OwnText(Mime("A: b\r\n\r\nbegin 1 a\r\nend\r\n")[0]), "");
}

TEST_F(OwnTextOfAPart, EndsWithItsPart) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\nbegin 1 "
      "a\r\nend\r\n--b\r\n\r\ntwo\r\n--b--\r\n");
  EXPECT_EQ(OwnText(message[1]), "one\r\n");
  EXPECT_EQ(OwnText(message[3]), "two\r\n");
}

TEST_F(OwnTextOfAPart, WithoutBlocksIsTheBody) {
  const std::string nul(1, '\0');
  const std::string body = "a" + nul + "b\r\n" + std::string(5000, 'x') + "\r\nlast";
  EXPECT_EQ(OwnText(Mime("A: b\r\n\r\n" + body)[0]), body);
}

TEST_F(OwnTextOfAPart, EmptyBodyGivesNull) {
  EXPECT_EQ(OwnText(Mime("A: b\r\n\r\n")[0]), "<null>");
}

TEST_F(OwnTextOfAPart, UsesALowerCasePrefix) {
  const Message message = Mime("A: b\r\n\r\nx");
  char* name = MimeGetBodyWithNoEmbeddedAttachment(&message[0]);
  ASSERT_NE(name, nullptr);
  EXPECT_NE(std::string(name).find("\\mime"), std::string::npos);
  MimeFreeFile(name);
}

// Records may be the caller's own: positions inside lines, children in any order.
TEST_F(OwnTextOfAPart, ReadsWholeLinesFromWhereverTheRecordBegins) {
  std::string path = File("0123\r\n4567\r\n89\r\n");
  MimeBodyPart part{};
  part.fileName = path.data();
  part.bodyStart = 2;
  part.contentEnd = 8;
  EXPECT_EQ(OwnText(part), "23\r\n4567\r\n");
  MimeBodyPart first{};
  MimeBodyPart second{};
  first.bodyStart = 6;
  first.contentEnd = 12;
  second.bodyStart = 0;
  second.contentEnd = 0;
  MimeBodyPart* children[] = {&first, &second};
  part.children = children;
  part.childCount = 2;
  part.contentEnd = 14;
  EXPECT_EQ(OwnText(part), "23\r\n0123\r\n4567\r\n89\r\n");
}

// ---- the header block ----

class HeaderOfAPart : public MimeTest {};

TEST_F(HeaderOfAPart, DecodesEncodedWordsAndKeepsTheEmptyLine) {
  SetIni("[Options]\nForce1522Decoding=YES\n");
  const Message message = Mime(
      "Subject: =?ISO-8859-1?Q?Gr=FC=DFe?= aus\r\nTo: plain <a@b>\r\n\r\nbody "
      "=?ISO-8859-1?Q?=FC?=\r\n");
  EXPECT_EQ(Header(message[0]),
            "Subject: Gr\xFC\xDF"
            "e aus\r\nTo: plain <a@b>\r\n\r\n");
}

TEST_F(HeaderOfAPart, LocalCharsetDecidesWhatIsDecoded) {
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.temp() +
                     "\nLocalCharSet=ISO-8859-1\n");
  const Message message = Mime("A: =?ISO-8859-1?Q?=FC?=\r\nB: =?UTF-8?Q?=FC?=\r\n\r\n.");
  EXPECT_EQ(Header(message[0]), "A: \xFC\r\nB: =?UTF-8?Q?=FC?=\r\n\r\n");
}

TEST_F(HeaderOfAPart, SkipsEnvelopeLines) {
  const Message message = Mime("#Fme@here\r\n#Ryou@there\r\nSubject: x\r\n#D kept\r\n\r\nbody\r\n");
  EXPECT_EQ(Header(message[0]), "Subject: x\r\n#D kept\r\n\r\n");
}

TEST_F(HeaderOfAPart, EnvelopeLineOfAnyLengthIsSkippedWhole) {
  const Message message = Mime("#F" + std::string(3000, 'x') + "\r\nSubject: x\r\n\r\nbody\r\n");
  EXPECT_EQ(Header(message[0]), "Subject: x\r\n\r\n");
}

TEST_F(HeaderOfAPart, IsThatOfThePartAlone) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-ID: "
      "<1>\r\n\r\n1\r\n--b--\r\n");
  EXPECT_EQ(Header(message[1]), "Content-ID: <1>\r\n\r\n");
  EXPECT_EQ(Header(message[0]), "Content-Type: multipart/mixed; boundary=b\r\n\r\n");
}

TEST_F(HeaderOfAPart, OpenHeaderIsGivenToItsEnd) {
  EXPECT_EQ(Header(Mime("Subject: x\r\nTo: y")[0]), "Subject: x\r\nTo: y");
  const Message message =
      Mime("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-ID: <1>\r\n--b--\r\n");
  EXPECT_EQ(Header(message[1]), "Content-ID: <1>\r\n");
}

TEST_F(HeaderOfAPart, NulsAndLongLinesComeThrough) {
  const std::string nul(1, '\0');
  const std::string header = "A: " + std::string(3000, 'x') + "\r\nB: a" + nul + "b\r\n\r\n";
  EXPECT_EQ(Header(Mime(header + "body")[0]), header);
}

TEST_F(HeaderOfAPart, EmptyPartGivesNull) { EXPECT_EQ(Header(Mime("")[0]), "<null>"); }

}  // namespace
}  // namespace qob::testing
