// The builders, byte for byte.
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mimebuild.h>

#include "build_support.h"
#include "mime/header_values.h"
#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::CapturedLog;
using testing::List;
using testing::TempSpool;

constexpr char kConnection[] = "[Connection]\nGatewayHostName=host\nGatewayDomain=example.org\n";

class Build : public ::testing::Test {
 protected:
  Build() {
    SetIni("");
    body_ = spool_.File("body", "Hello\r\n");
  }
  ~Build() override { TerminateQOBDll(); }

  void SetIni(const std::string& more, const std::string& charset = "") {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.temp() + "\n" +
                       (charset.empty() ? "" : "LocalCharSet=" + charset + "\n") + kConnection +
                       more);
    InitQOBDll_NOMQ("test");
  }
  // What was built; "<null>" for null.
  std::string Take(char* path) {
    if (path == nullptr) return "<null>";
    std::string native = path;
    for (char& c : native) c = c == '\\' ? '/' : c;
    const std::string text = TempSpool::Read(native);
    std::filesystem::remove(native);
    std::free(path);
    return text;
  }
  void SetBody(std::string_view bytes) { body_ = spool_.File("body", bytes); }
  struct Given {
    const char* type = nullptr;
    const char* subtype = nullptr;
    ms* params = nullptr;
    const char* encoding = nullptr;
    int flags = 0;
  };
  std::string Part(const Given& given) {
    return Take(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, given.type, given.subtype,
                                 given.params, given.encoding, nullptr, nullptr, body_.c_str(),
                                 nullptr, given.flags));
  }
  // The header lines of a message to those recipients.
  std::string Addressed(ms* to) {
    const std::string message =
        Take(MimeBuildMessage(nullptr, to, nullptr, nullptr, "text", "plain", nullptr, "7bit",
                              nullptr, nullptr, body_.c_str(), nullptr, 2));
    return message.substr(0, message.find("\r\n\r\n") + 2);
  }

  TempSpool spool_;
  std::string body_;
};

TEST_F(Build, WritesEveryFieldInItsPlace) {
  List to{"a@example.org", "", "b"};
  List cc{"c@local"};
  List params{"charset=us-ascii", "name=report.txt"};
  List extra{"X-One: 1", "X-Two: 2\r\n", ""};
  EXPECT_EQ(Take(MimeBuildMessage("me", to, "Sub", cc, "text", "plain", params, nullptr, "<id@x>",
                                  "a text", body_.c_str(), extra, 0)),
            "From: me\r\n"
            "To: a@example.org, b@host.example.org\r\n"
            "Cc: c@local.example.org\r\n"
            "Subject: Sub\r\n"
            "X-One: 1\r\n"
            "X-Two: 2\r\n"
            "Content-type: text/plain; charset=\"us-ascii\"; name=\"report.txt\"\r\n"
            "Content-transfer-encoding: quoted-printable\r\n"
            "Content-description: a text\r\n"
            "Content-Id: <id@x>\r\n"
            "Content-disposition: inline; filename=\"report.txt\"\r\n"
            "\r\n"
            "Hello\r\n");
}

TEST_F(Build, TheBccListStandsBehindCc) {
  List cc{"c@x.y"};
  List bcc{"d@x.y"};
  EXPECT_EQ(Take(MimeBuildMessageWithBCC(nullptr, nullptr, "s", cc, bcc, "text", "plain", nullptr,
                                         "7bit", nullptr, nullptr, body_.c_str(), nullptr, 4)),
            "Cc: c@x.y\r\nBcc: d@x.y\r\nSubject: s\r\n\r\nHello\r\n");
}

TEST_F(Build, WhatIsNotGivenHasItsDefault) {
  EXPECT_EQ(Part({}),
            "Content-type: application/x-unknown\r\n"
            "Content-transfer-encoding: base64\r\n"
            "Content-disposition: attachment\r\n"
            "\r\n"
            "SGVsbG8NCg==\r\n");
  EXPECT_EQ(Part({"TEXT", "Plain"}),
            "Content-type: TEXT/Plain\r\n"
            "Content-transfer-encoding: quoted-printable\r\n"
            "Content-disposition: inline\r\n"
            "\r\n"
            "Hello\r\n");
}

TEST_F(Build, TheDispositionFollowsTheType) {
  const auto disposition = [&](const char* type, const char* subtype) {
    const std::string part = Part({type, subtype, nullptr, "7bit"});
    const std::size_t at = part.find("Content-disposition: ") + 21;
    return part.substr(at, part.find("\r\n", at) - at);
  };
  EXPECT_EQ(disposition("text", "plain"), "inline");
  EXPECT_EQ(disposition("text", "html"), "attachment");
  EXPECT_EQ(disposition("message", "rfc822"), "inline");
  EXPECT_EQ(disposition("MESSAGE", "partial"), "inline");
  EXPECT_EQ(disposition("image", "png"), "attachment");
}

TEST_F(Build, ParametersAreQuotedAndEscaped) {
  SetBody("");
  List params{"name=\"a b.txt\"", "note=say \"hi\" \\o/", "plain", "bare=\"", "cut=\"ab"};
  const std::string part = Part({"text", "plain", params, "7bit"});
  EXPECT_EQ(part.substr(0, part.find("\r\n")),
            "Content-type: text/plain; name=\"a b.txt\"; note=\"say \\\"hi\\\" \\\\o/\"; plain; "
            "bare=\"\"; cut=\"a\"");
}

TEST_F(Build, TheLastNameIsTheFilesName) {
  List params{"name=first", "NAME=\"second.bin\""};
  EXPECT_NE(Part({nullptr, nullptr, params})
                .find("Content-disposition: attachment; "
                      "fileNAME=\"second.bin\"\r\n"),
            std::string::npos);
}

TEST_F(Build, ALongAddressListIsFoldedBehindTheComma) {
  const std::string a = std::string(30, 'a') + "@x.org";  // 36 characters
  List two{a.c_str(), a.c_str()};
  // 4, +38 = 42, +2 +38 = 82: a fold before the second.
  EXPECT_EQ(Addressed(two), "To: " + a + ", \r\n   " + a + "\r\n");
  // Behind a fold the address itself is not counted: 3 +2 +38 = 43, then 83.
  List four{a.c_str(), a.c_str(), a.c_str(), a.c_str()};
  EXPECT_EQ(Addressed(four), "To: " + a + ", \r\n   " + a + ", " + a + ", \r\n   " + a + "\r\n");
}

TEST_F(Build, TheFoldComesAtEightyAndNotBefore) {
  const std::string short_of = std::string(67, 'a') + "@x.org";  // 4 + 73 + 2 = 79
  const std::string reaches = std::string(68, 'a') + "@x.org";
  List one{short_of.c_str()};
  EXPECT_EQ(Addressed(one), "To: " + short_of + "\r\n");
  List other{reaches.c_str()};
  EXPECT_EQ(Addressed(other), "To: \r\n   " + reaches + "\r\n");
}

TEST_F(Build, AListWithoutAnAddressEndsTheHeaderEarly) {
  List empty{""};
  EXPECT_EQ(Take(MimeBuildMessage("me@x.y", empty, "s", nullptr, "text", "plain", nullptr, "7bit",
                                  nullptr, nullptr, body_.c_str(), nullptr, 2)),
            "From: me@x.y\r\n\r\nSubject: s\r\n\r\nHello\r\n");
}

struct Recipient {
  const char* name;
  const char* ini;
  const char* given;
  const char* written;
};
void PrintTo(const Recipient& row, std::ostream* out) { *out << row.name; }

class BuildRecipient : public Build, public ::testing::WithParamInterface<Recipient> {};

TEST_P(BuildRecipient, GetsTheHostPartItLacks) {
  SetIni(GetParam().ini);
  List to{GetParam().given};
  EXPECT_EQ(Addressed(to), "To: " + std::string(GetParam().written) + "\r\n");
}

constexpr char kRelay[] = "[Routing]\nPrimaryRelayHostName=relay.net\n";
constexpr char kKeep[] = "[Options]\nQualifyRecipientHosts=no\n";
INSTANTIATE_TEST_SUITE_P(
    Rules, BuildRecipient,
    ::testing::Values(Recipient{"whole", "", "u@a.b", "u@a.b"},
                      Recipient{"bare", "", "u", "u@host.example.org"},
                      Recipient{"bare_by_relay", kRelay, "u", "u@relay.net"},
                      Recipient{"short_domain", "", "u@a", "u@a.example.org"},
                      Recipient{"short_domain_by_relay", kRelay, "u@a", "u@a.example.org"},
                      Recipient{"short_domain_kept", kKeep, "u@a", "u@a"},
                      Recipient{"bare_all_the_same", kKeep, "u", "u@host.example.org"},
                      Recipient{"inside_brackets", "", "N <u@a>", "N <u@a.example.org>"},
                      Recipient{"bare_in_brackets", "", "N <u>", "N <u@host.example.org>"},
                      Recipient{"null", "", "<>", "<>"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Build, ASenderIsNeverQualified) {
  EXPECT_EQ(Take(MimeBuildMessage("u", nullptr, nullptr, nullptr, "text", "plain", nullptr, "7bit",
                                  nullptr, nullptr, body_.c_str(), nullptr, 2)),
            "From: u\r\n\r\nHello\r\n");
}

TEST_F(Build, EightBitTextsBecomeEncodedWords) {
  SetIni("", "ISO-8859-1");
  List to{"J\xFCrgen <j@a.b>"};
  EXPECT_EQ(Take(MimeBuildMessage(nullptr, to, "\xFC", nullptr, "text", "plain", nullptr, "7bit",
                                  nullptr, nullptr, body_.c_str(), nullptr, 2)),
            "To: =?ISO-8859-1?Q?J=FCrgen?= <j@a.b>\r\n"
            "Subject: =?ISO-8859-1?Q?=FC?=\r\n\r\nHello\r\n");
}

TEST_F(Build, AJapaneseSiteConvertsAddressesButNoSubject) {
  SetIni("", "iso-2022-jp");
  List to{"a\x88\x9F <j@a.b>"};
  const std::string header = Addressed(to);
  EXPECT_NE(header.find("j@a.b"), std::string::npos);
  EXPECT_EQ(header.find('\x88'), std::string::npos);
  // The text in front of the address was ISO-2022-JP before it was encoded.
  const std::string converted =
      EncodedHeader("a\x1B$B0!\x1B(J <j@a.b>", ReadBuildSettings().encoding);
  EXPECT_EQ(header, "To: " + converted + "\r\n");
  SetIni("[Options]\nDisableJISinHeaders=YES\n", "ISO-2022-JP");
  EXPECT_EQ(Addressed(to),
            "To: " + EncodedHeader("a\x88\x9F <j@a.b>", ReadBuildSettings().encoding) + "\r\n");
}

TEST_F(Build, ASubjectIsNeverFolded) {
  const std::string subject(300, 's');
  EXPECT_EQ(Take(MimeBuildMessage(nullptr, nullptr, subject.c_str(), nullptr, "text", "plain",
                                  nullptr, "7bit", nullptr, nullptr, body_.c_str(), nullptr, 2)),
            "Subject: " + subject + "\r\n\r\nHello\r\n");
}

TEST_F(Build, FlagOneMeansUuencodeAndNoContentHeader) {
  SetBody("abc");
  EXPECT_EQ(Part({nullptr, nullptr, nullptr, nullptr, 1}),
            "\r\nbegin 666 unknown.dat \r\n#86)C\r\n`\r\nend\r\n\r\n");
  List params{"name= \"my file\""};
  EXPECT_EQ(Part({"text", "plain", params, nullptr, 1}),
            "\r\nbegin 666 my file \r\n#86)C\r\n`\r\nend\r\n\r\n");
}

TEST_F(Build, OtherFlagsOnlyLeaveTheContentHeaderOut) {
  EXPECT_EQ(Part({nullptr, nullptr, nullptr, nullptr, 2}), "\r\nSGVsbG8NCg==\r\n");
  EXPECT_EQ(Part({"text", "plain", nullptr, "7bit", 1}), "\r\nHello\r\n");
}

TEST_F(Build, UuencodeLinesHold45Bytes) {
  SetBody(std::string(46, '\0') + "a");
  EXPECT_EQ(
      Part({"a", "b", nullptr, "X-UUencode", 2}),
      "\r\nbegin 666 unknown.dat \r\nM" + std::string(60, '`') + "\r\n\"`&$`\r\n`\r\nend\r\n\r\n");
}

TEST_F(Build, AnyOtherEncodingFailsAndTells) {
  for (const char* encoding : {"binary", "8bit", ""}) {
    CapturedLog log;
    EXPECT_EQ(Part({"text", "plain", nullptr, encoding}), "<null>");
    EXPECT_TRUE(log.Has(1, "Cannot send unencoded binary via Mime."));
    EXPECT_TRUE(spool_.TempFiles().empty());
  }
}

TEST_F(Build, AMessageLosesItsEnvelopeLinesAtTheStartOnly) {
  SetBody("#F<a>\r\n#r<b>\r\n#D" + std::string(3000, 'd') + "\r\nSubject: x\r\n#F stays\r\n");
  EXPECT_EQ(Part({"message", "rfc822", nullptr, "7bit", 2}), "\r\nSubject: x\r\n#F stays\r\n");
  SetBody("#F<a>\r\nrest");
  EXPECT_EQ(Part({"text", "plain", nullptr, "7bit", 2}), "\r\n#F<a>\r\nrest");
  SetBody("#F" + std::string(70000, 'x'));
  EXPECT_EQ(Part({"message", "RFC822", nullptr, "7bit", 2}), "\r\n");
}

TEST_F(Build, ATextIsCopiedWithItsNulsAndItsLastPiece) {
  const std::string body = std::string("a\0b", 3) + "\r\n" + std::string(4096, 'c') + "end";
  SetBody(body);
  EXPECT_EQ(Part({"text", "plain", nullptr, "7bit", 2}), "\r\n" + body);
}

TEST_F(Build, AJapaneseBodyIsConverted) {
  SetBody("\x88\x9F\xFF\r\n");
  List params{"charset=\"iso-2022-jp\""};
  CapturedLog log;
  EXPECT_EQ(Part({"text", "plain", params, "7bit", 2}), "\r\n\x1B$B0!\x1B(J\xFF\r\n");
  EXPECT_TRUE(log.Has(6, "Attempting to convert text file in ShiftJIS format."));
  EXPECT_TRUE(log.Has(6, "...Done."));
  SetIni("[Options]\nInvalidCharacterMark=?\n");
  EXPECT_EQ(Part({"text", "plain", params, "7bit", 2}), "\r\n\x1B$B0!\x1B(J?\r\n");
}

TEST_F(Build, AMissingBodyLeavesNothing) {
  body_ = spool_.path("none");
  EXPECT_EQ(Part({}), "<null>");
  EXPECT_EQ(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, 0),
            nullptr);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(Build, TheSecondFormPutsFieldsInFrontOfAPart) {
  SetBody("Content-type: text/plain\r\n\r\ntext\r\n");
  List to{"a@b.c"};
  char from[] = "me";
  char subject[] = "s";
  char unused[] = "binary";
  EXPECT_EQ(Take(MimeBuildMessageV2(from, to, subject, nullptr, unused, unused, to, unused, unused,
                                    unused, body_.data(), to, 1)),
            "From: me\r\nTo: a@b.c\r\nSubject: s\r\nContent-type: text/plain\r\n\r\ntext\r\n");
}

// ---- several parts

class BuildMulti : public Build {
 protected:
  BuildMulti() {
    SetClock(+[] { return std::int64_t{0x5F000001}; });
    one_ = spool_.File("one", "Content-type: text/plain\r\n\r\nfirst");
    two_ = spool_.File("two", "Content-type: text/html\r\n\r\nsecond\r\n");
    char text[64];
    std::snprintf(text, sizeof text, "QOB.Boundary.5F000001%08X", os::ThreadId());
    boundary_ = text;
  }
  ~BuildMulti() override { os::SetClock(nullptr); }
  static void SetClock(os::ClockFunction clock) { os::SetClock(clock); }
  std::string Multi(const char* subject, std::vector<const char*> files, int flags = 0,
                    ms* params = nullptr, const char* subtype = nullptr) {
    files.push_back(nullptr);
    return Take(MimeBuildMultipartMessage(nullptr, nullptr, subject, nullptr, files.data(), subtype,
                                          params, nullptr, flags));
  }

  std::string one_;
  std::string two_;
  std::string boundary_;
  const std::string preamble_ =
      "This is a Mime message, which your current mail reader\r\n"
      "may not understand. Parts of the message will appear as\r\n"
      "text. To process the remainder, you will need to use a Mime\r\n"
      "compatible mail reader. Contact your vendor for details.\r\n";
};

TEST_F(BuildMulti, DividesItsPartsByOneBoundary) {
  List params{"report-type=delivery-status"};
  EXPECT_EQ(Multi("s", {one_.c_str(), two_.c_str()}, 0, params, "report"),
            "Subject: s\r\nContent-type: multipart/report; boundary=\"" + boundary_ +
                "\"; report-type=\"delivery-status\"\r\n\r\n" + preamble_ + "\r\n--" + boundary_ +
                "\r\nContent-type: text/plain\r\n\r\nfirst\r\n--" + boundary_ +
                "\r\nContent-type: text/html\r\n\r\nsecond\r\n\r\n--" + boundary_ + "--\r\n");
}

TEST_F(BuildMulti, WithoutPartsTheClosingDelimiterFollowsThePreamble) {
  const std::string expected = "Subject: s\r\nContent-type: multipart/mixed; boundary=\"" +
                               boundary_ + "\"\r\n\r\n" + preamble_ + "\r\n--" + boundary_ +
                               "--\r\n";
  EXPECT_EQ(Multi("s", {}), expected);
  EXPECT_EQ(Take(MimeBuildMultipartMessage(nullptr, nullptr, "s", nullptr, nullptr, nullptr,
                                           nullptr, nullptr, 0)),
            expected);
}

TEST_F(BuildMulti, WithoutAddressesAndSubjectTheFirstDelimiterEndsTheHeader) {
  EXPECT_EQ(Multi(nullptr, {one_.c_str()}),
            "Content-type: multipart/mixed; boundary=\"" + boundary_ + "\"\r\n\r\n--" + boundary_ +
                "\r\nContent-type: text/plain\r\n\r\nfirst\r\n--" + boundary_ + "--\r\n");
  List bcc{"a@b.c"};
  List extra{"X: y"};
  const char* none[] = {nullptr};
  EXPECT_EQ(Take(MimeBuildMultipartMessageWithBCC(nullptr, nullptr, nullptr, nullptr, bcc, none,
                                                  nullptr, nullptr, extra, 0)),
            "Bcc: a@b.c\r\nX: y\r\nContent-type: multipart/mixed; boundary=\"" + boundary_ +
                "\"\r\n\r\n--" + boundary_ + "--\r\n");
}

TEST_F(BuildMulti, FlagsGiveThePartsOneAfterAnother) {
  EXPECT_EQ(Multi("s", {one_.c_str(), two_.c_str()}, 4),
            "Subject: s\r\nContent-type: text/plain\r\n\r\nfirst"
            "Content-type: text/html\r\n\r\nsecond\r\n");
}

TEST_F(BuildMulti, ThePreambleMayComeFromAFile) {
  const std::string file = spool_.File("preamble", "Hello there\r\n");
  SetIni("[Options]\nmimePreambleFile=" + file + "\n");
  EXPECT_EQ(Multi("s", {}), "Subject: s\r\nContent-type: multipart/mixed; boundary=\"" + boundary_ +
                                "\"\r\n\r\nHello there\r\n\r\n--" + boundary_ + "--\r\n");
  SetIni("[Options]\nmimePreambleFile=" + spool_.path("nothing") + "\n");
  EXPECT_NE(Multi("s", {}).find(preamble_), std::string::npos);
  SetIni("[Options]\nmimePreambleFile=NONE\n");
  EXPECT_NE(Multi("s", {}).find(preamble_), std::string::npos);
}

TEST_F(BuildMulti, AMissingPartFailsTheWhole) {
  EXPECT_EQ(Multi("s", {one_.c_str(), spool_.path("none").c_str()}), "<null>");
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(BuildMulti, ThreadsHaveBoundariesOfTheirOwn) {
  const std::string mine = Multi("s", {});
  std::string other;
  std::thread([&] { other = Multi("s", {}); }).join();
  EXPECT_NE(mine, other);
}

// ---- failures

TEST_F(BuildMulti, EveryFailureLeavesNoFile) {
  List to{"J\xFCrgen <j@a>", "b"};
  List params{"name=x", "charset=iso-2022-jp"};
  const std::string expected = Take(MimeBuildMessage("me", to, "s", to, "text", "plain", params,
                                                     "7bit", "i", "d", body_.c_str(), to, 0));
  char* path = nullptr;
  const auto attempt = [&] {
    path = MimeBuildMessage("me", to, "s", to, "text", "plain", params, "7bit", "i", "d",
                            body_.c_str(), to, 0);
  };
  const auto check = [&](bool triggered) {
    if (path == nullptr) {
      EXPECT_TRUE(triggered);
    } else {
      Take(path);  // a setting that could not be read has its default
    }
    EXPECT_TRUE(spool_.TempFiles().empty());
  };
  CapturedLog log;
  testing::FailEachAllocation(attempt, check);
  for (const os::Call call : {os::Call::kOpen, os::Call::kRead, os::Call::kWrite}) {
    testing::FailEachCall(call, attempt, check);
  }
  EXPECT_NE(expected, "<null>");
}

TEST_F(BuildMulti, EveryFailureOfSeveralPartsLeavesNoFile) {
  char* path = nullptr;
  const char* files[] = {one_.c_str(), two_.c_str(), nullptr};
  const auto attempt = [&] {
    path =
        MimeBuildMultipartMessage("me", nullptr, "s", nullptr, files, nullptr, nullptr, nullptr, 0);
  };
  const auto check = [&](bool triggered) {
    EXPECT_TRUE(path != nullptr || triggered);
    Take(path);
    EXPECT_TRUE(spool_.TempFiles().empty());
  };
  CapturedLog log;
  testing::FailEachAllocation(attempt, check);
  for (const os::Call call : {os::Call::kOpen, os::Call::kRead, os::Call::kWrite}) {
    testing::FailEachCall(call, attempt, check);
  }
}

}  // namespace
}  // namespace qob
