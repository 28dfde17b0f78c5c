// The rules of the builders one by one, where whole messages (build_test.cc) do not show them.
#include <thread>

#include "build_support.h"
#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

std::string Times(std::size_t count, char c) { return std::string(count, c); }

using BuildRules = BuildTest;

TEST_F(BuildRules, WithoutTypeAndEncodingItIsAnAttachmentInBase64) {
  EXPECT_EQ(Part({}),
            "Content-type: application/x-unknown\r\nContent-transfer-encoding: base64\r\n"
            "Content-disposition: attachment\r\n\r\nSGVsbG8NCg==\r\n");
}

TEST_F(BuildRules, TextOfAnyCaseIsQuotedPrintableAndInline) {
  EXPECT_EQ(Part({"TEXT", "Plain"}),
            "Content-type: TEXT/Plain\r\nContent-transfer-encoding: quoted-printable\r\n"
            "Content-disposition: inline\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, ParametersStandOnTheTypesLineAndTheNameAgainInTheDisposition) {
  List params{"charset=us-ascii", "name=report.txt"};
  const std::string part = Part({"text", "plain", params});
  EXPECT_TRUE(
      part.starts_with("Content-type: text/plain; charset=\"us-ascii\"; name=\"report.txt\"\r\n"));
  EXPECT_NE(part.find("\r\nContent-disposition: inline; filename=\"report.txt\"\r\n"),
            std::string::npos);
}

TEST_F(BuildRules, ALineEndInAParameterGetsABackslash) {
  List params{"x=a\r\nb"};
  const std::string part = Part({"text", "plain", params});
  EXPECT_TRUE(part.starts_with("Content-type: text/plain; x=\"a\\\r\\\nb\"\r\n"));
}

TEST_F(BuildRules, EmptyParametersAndLinesArePassedOver) {
  List params{"", "x=y", ""};
  EXPECT_TRUE(Part({"text", "plain", params}).starts_with("Content-type: text/plain; x=\"y\"\r\n"));
  List lines{"", "A: 1", ""};
  EXPECT_EQ(Take(MimeBuildMessage("", nullptr, "", nullptr, "text", "plain", nullptr, "7bit", "",
                                  "", body_.c_str(), lines, 2)),
            "A: 1\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, AnEmptyDescriptionAndIdAreLeftOut) {
  EXPECT_EQ(Take(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, "text", "plain", nullptr,
                                  "7bit", "", "", body_.c_str(), nullptr, 0)),
            "Content-type: text/plain\r\nContent-transfer-encoding: 7bit\r\n"
            "Content-disposition: inline\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, CcAndBccAreFoldedWhereToIs) {
  const std::string fits = Times(67, 'a') + "@x.org";     // 4 + 73 + 2 = 79
  const std::string reaches = Times(68, 'a') + "@x.org";  // 80
  List cc{fits.c_str()};
  List bcc{reaches.c_str()};
  EXPECT_EQ(
      Take(MimeBuildMessageWithBCC(nullptr, nullptr, nullptr, cc, bcc, "text", "plain", nullptr,
                                   "7bit", nullptr, nullptr, body_.c_str(), nullptr, 2)),
      "Cc: " + fits + "\r\nBcc: \r\n   " + reaches + "\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, AnyValueButNoQualifies) {
  const std::string connection = "[Connection]\nGatewayHostName=h\nGatewayDomain=d.org\n";
  List to{"u@a"};
  const auto written = [&](const char* value) {
    SetIni("", connection + "[Options]\nQualifyRecipientHosts=" + value + "\n");
    return Take(MimeBuildMessage(nullptr, to, nullptr, nullptr, "text", "plain", nullptr, "7bit",
                                 nullptr, nullptr, body_.c_str(), nullptr, 2));
  };
  EXPECT_EQ(written("0"), "To: u@a.d.org\r\n\r\nHello\r\n");
  EXPECT_EQ(written("No"), "To: u@a\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, ASubjectOfAJapaneseSiteIsNotConverted) {
  SetIni("LocalCharSet=ISO-2022-JP\n");
  EXPECT_EQ(Take(MimeBuildMessage(nullptr, nullptr, "\x88\x9F", nullptr, "text", "plain", nullptr,
                                  "7bit", nullptr, nullptr, body_.c_str(), nullptr, 2)),
            "Subject: =?ISO-2022-JP?Q?=88=9F?=\r\n\r\nHello\r\n");
}

TEST_F(BuildRules, QuotedPrintableFollowsTheType) {
  SetBody("a b\r\n.c");
  EXPECT_EQ(Body({"text", "x", nullptr, "Quoted-Printable", 2}), "a b\r\n=2Ec");
  EXPECT_EQ(Body({"MESSAGE", "x", nullptr, "quoted-printable", 2}), "a b\r\n=2Ec");
  EXPECT_EQ(Body({"image", "x", nullptr, "quoted-printable", 2}), "a=20b=0D=0A.c");
}

TEST_F(BuildRules, Base64LinesAreEvenAcrossTheWholeBody) {
  SetBody(Times(6000, 'x'));
  const std::string body = Body({nullptr, nullptr, nullptr, "BASE64", 2});
  std::size_t at = 0;
  for (int line = 0; line < 111; ++line, at += 74) ASSERT_EQ(body.find("\r\n", at), at + 72);
  EXPECT_EQ(body.substr(at), "eHh4eHh4\r\n");  // the last six bytes
}

TEST_F(BuildRules, ABodyOfWholeBase64LinesEndsInAnEmptyOne) {
  SetBody(Times(108, '\0'));
  EXPECT_EQ(Body({nullptr, nullptr, nullptr, nullptr, 2}),
            Times(72, 'A') + "\r\n" + Times(72, 'A') + "\r\n\r\n");
  SetBody("");
  EXPECT_EQ(Body({nullptr, nullptr, nullptr, nullptr, 2}), "\r\n");
}

TEST_F(BuildRules, AnEmptyUuencodedBodyIsTheLineOfNoBytes) {
  SetBody("");
  EXPECT_EQ(Body({"a", "b", nullptr, "x-uue", 2}), "begin 666 unknown.dat \r\n`\r\nend\r\n\r\n");
}

TEST_F(BuildRules, TheUuencodedNameLosesBlanksAndOnePairOfQuotes) {
  SetBody("");
  const auto begin = [&](const char* parameter) {
    List params{"name=first", parameter};
    const std::string body = Body({"a", "b", params, "x-uuencode", 2});
    return body.substr(0, body.find("\r\n"));
  };
  EXPECT_EQ(begin("name= \t\"my file\""), "begin 666 my file ");
  EXPECT_EQ(begin("Name=plain"), "begin 666 plain ");
  EXPECT_EQ(begin("name=\"\"x\"\""), "begin 666 \"x\" ");
}

TEST_F(BuildRules, TheFirstCharsetCounts) {
  SetBody("\x88\x9F");
  List first{"charset=us-ascii", "charset=iso-2022-jp"};
  EXPECT_EQ(Body({"text", "plain", first, "7bit", 2}), "\x88\x9F");
  List second{"Charset=ISO-2022-jp", "charset=us-ascii"};
  EXPECT_EQ(Body({"text", "plain", second, "7bit", 2}), "\x1B$B0!\x1B(J");
}

TEST_F(BuildRules, OnlyTheLeadingEnvelopeLinesAreDropped) {
  SetBody("#F<a>\r\n#R<b>\r\n#d<c>\n\r\n#F stays\r\n#X stays\r\n");
  EXPECT_EQ(Body({"Message", "RFC822", nullptr, "7BIT", 2}), "\r\n#F stays\r\n#X stays\r\n");
  EXPECT_TRUE(Body({"message", "partial", nullptr, "7bit", 2}).starts_with("#F<a>"));
}

TEST_F(BuildRules, AnEnvelopeLineNeedNotEnd) {
  SetBody("#F<a>");
  EXPECT_EQ(Body({"message", "rfc822", nullptr, "7bit", 2}), "");
  SetBody("#");
  EXPECT_EQ(Body({"message", "rfc822", nullptr, "7bit", 2}), "#");
}

TEST_F(BuildRules, AJapaneseBodyThatCannotBeReadIsTold) {
  List params{"charset=iso-2022-jp"};
  bool told = false;
  for (std::uint64_t nth = 1; !told; ++nth) {
    const CapturedLog log;
    const FailCalls fail(os::Call::kRead, nth, Failing::kOnce);
    const std::string part = Part({"text", "plain", params, "7bit"});
    ASSERT_TRUE(fail.triggered());
    told = log.Has(1, "ShiftJIS2JIS conversion failed.");
    EXPECT_EQ(told, log.Has(6, "Attempting to convert text file in ShiftJIS format.") &&
                        !log.Has(6, "...Done."));
    EXPECT_TRUE(!told || part == "<null>");
    EXPECT_TRUE(spool_.TempFiles().empty());
  }
}

TEST_F(BuildRules, NothingIsChangedInWhatIsHandedIn) {
  const std::string value = "a \"b\\\" <u@h>";
  std::string text = value;
  ms node{text.data(), nullptr};
  Take(MimeBuildMessage(text.c_str(), &node, text.c_str(), &node, "text", "plain", &node, "7bit",
                        text.c_str(), text.c_str(), body_.c_str(), &node, 0));
  EXPECT_EQ(text, value);
}

TEST_F(BuildRules, ThreadsBuildAtOnceWithoutMeeting) {
  SetIni("LocalCharSet=ISO-2022-JP\n");
  std::vector<std::thread> threads;
  for (int number = 0; number < 6; ++number) {
    threads.emplace_back([this, number] {
      const std::string subject = "s" + std::to_string(number);
      const std::string body = spool_.File("body-" + subject, Times(5000, 'b') + subject);
      std::string japanese = "\x88\x9F <u@x.y>";
      ms to{japanese.data(), nullptr};
      for (int round = 0; round < 15; ++round) {
        EXPECT_EQ(
            Take(MimeBuildMessage(nullptr, &to, subject.c_str(), nullptr, "text", "plain", nullptr,
                                  "7bit", nullptr, nullptr, body.c_str(), nullptr, 2)),
            "To: \x1B$B0!\x1B(J <u@x.y>\r\nSubject: " + subject + "\r\n\r\n" + Times(5000, 'b') +
                subject);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(spool_.TempFiles().empty());
}

// ---- several parts

class BuildPartsRules : public BuildTest {
 protected:
  BuildPartsRules() {
    os::SetClock(+[] { return std::int64_t{0x5F000001}; });
    part_ = spool_.File("part", "A: b\r\n\r\ntext");
  }
  ~BuildPartsRules() override { os::SetClock(nullptr); }
  std::string Parts(const char* subject, const ms* cc = nullptr, int count = 1) {
    std::vector<const char*> files(static_cast<std::size_t>(count), part_.c_str());
    files.push_back(nullptr);
    return Take(MimeBuildMultipartMessage(nullptr, nullptr, subject, cc, files.data(), nullptr,
                                          nullptr, nullptr, 0));
  }
  static std::string BoundaryOf(const std::string& message) {
    const std::size_t at = message.find("boundary=\"") + 10;
    return message.substr(at, message.find('"', at) - at);
  }

  std::string part_;
};

TEST_F(BuildPartsRules, TheBoundaryIsMadeOfSecondAndThread) {
  char expected[64];
  std::snprintf(expected, sizeof expected, "QOB.Boundary.5F000001%08X", os::ThreadId());
  EXPECT_EQ(BoundaryOf(Parts("s")), expected);
}

TEST_F(BuildPartsRules, OneThreadWithinOneSecondHasOneBoundary) {
  EXPECT_EQ(BoundaryOf(Parts("s")), BoundaryOf(Parts("t")));
  os::SetClock(+[] { return std::int64_t{0x5F000002}; });
  EXPECT_NE(BoundaryOf(Parts("s")).find("5F000002"), std::string::npos);
}

TEST_F(BuildPartsRules, TwoPartsHaveTwoDelimitersAndAClosingOne) {
  const std::string message = Parts("s", nullptr, 2);
  const std::string delimiter = "\r\n--" + BoundaryOf(message);
  std::vector<std::string> behind;
  for (std::size_t at = message.find(delimiter); at != std::string::npos;
       at = message.find(delimiter, at + 1)) {
    behind.push_back(message.substr(at + delimiter.size(), 2));
  }
  EXPECT_EQ(behind, (std::vector<std::string>{"\r\n", "\r\n", "--"}));
  EXPECT_TRUE(message.ends_with(delimiter + "--\r\n"));
}

TEST_F(BuildPartsRules, OneGivenFieldIsEnoughForAPreamble) {
  List cc{"a@b.c"};
  EXPECT_NE(Parts(nullptr, cc).find("This is a Mime message"), std::string::npos);
  EXPECT_NE(Parts("").find("This is a Mime message"), std::string::npos);
  EXPECT_EQ(Parts(nullptr).find("This is a Mime message"), std::string::npos);
}

TEST_F(BuildPartsRules, APreambleThatVanishesLeavesTheHeadersEndToTheFirstDelimiter) {
  const std::string preamble = spool_.File("preamble", "Hello\r\n");
  SetIni("", "[Options]\nmimePreambleFile=" + preamble + "\n");
  ASSERT_NE(Parts("s").find("\r\n\r\nHello\r\n\r\n--"), std::string::npos);
  const CapturedLog quiet;
  const FailCalls fail(os::Call::kOpen, 1, Failing::kFromThenOn, ENOENT, "/preamble");
  const std::string message = Parts("s");
  const std::string boundary = BoundaryOf(message);
  EXPECT_EQ(message, "Subject: s\r\nContent-type: multipart/mixed; boundary=\"" + boundary +
                         "\"\r\n\r\n--" + boundary + "\r\nA: b\r\n\r\ntext\r\n--" + boundary +
                         "--\r\n");
}

TEST_F(BuildPartsRules, APartThatCannotBeReadFailsTheWhole) {
  const CapturedLog quiet;
  // The part is the last file that is read.
  for (std::uint64_t nth = 1;; ++nth) {
    const FailCalls fail(os::Call::kRead, nth, Failing::kOnce, EIO, "");
    const std::string message = Parts("s");
    EXPECT_TRUE(message == "<null>" ||
                message.ends_with("text\r\n--" + BoundaryOf(message) + "--\r\n"));
    EXPECT_TRUE(spool_.TempFiles().empty());
    if (!fail.triggered()) break;
  }
}

TEST_F(BuildPartsRules, PartsAreCopiedWithTheirNulsAndWithoutALineEnd) {
  const std::string bytes = std::string("A: b\r\n\r\n\0\n#F\r", 13) + Times(70000, 'z');
  part_ = spool_.File("part", bytes);
  const std::string message = Parts("s");
  EXPECT_NE(message.find("\r\n" + bytes + "\r\n--"), std::string::npos);
}

}  // namespace
}  // namespace qob::testing
