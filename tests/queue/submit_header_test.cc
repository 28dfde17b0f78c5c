// The lines that submission writes in front of a message, byte for byte.
#include "submit_support.h"

namespace qob::testing {
namespace {

using SubmitHeader = SubmitTest;

TEST_F(SubmitHeader, WritesAllThatABareMessageLacks) {
  EXPECT_EQ(Queued("Subject: x\r\n\r\nbody\r\n"), kInFront + "Subject: x\r\n\r\nbody\r\n");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitHeader, WritesOnlyReceivedBeforeACompleteHeader) {
  const std::string message =
      "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\nMessage-ID: <own@a.example>\r\n"
      "Mime-version: 1.0\r\n\r\nbody\r\n";
  EXPECT_EQ(Queued(message), kReceived + message);
}

TEST_F(SubmitHeader, KnowsTheFieldsInAnyCase) {
  const std::string message = "mESSAGE-id: <own@a.example>\r\nMIME-VERSION: 1.0\r\n\r\n";
  EXPECT_EQ(Queued(message), kReceived + kDate + message);
}

TEST_F(SubmitHeader, AFieldWithoutValueIsThere) {
  const std::string message = "Message-ID:\r\nMime-version:\r\n\r\n";
  EXPECT_EQ(Queued(message), kReceived + kDate + message);
}

TEST_F(SubmitHeader, ANameWithABlankBeforeTheColonIsNoField) {
  const std::string message = "Message-ID : <own@a.example>\r\nDate : today\r\n\r\n";
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitHeader, AContinuationLineIsNoField) {
  const std::string message = "Subject: x\r\n Message-ID: <a@b>\r\n\tMime-version: 1.0\r\n\r\n";
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitHeader, TheMiddleOfALongLineIsNoField) {
  const std::string message = std::string(1024, 'x') + "Message-ID: <a@b>\r\n\r\n";
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitHeader, FieldsOfTheBodyDoNotCount) {
  const std::string message = "Subject: x\r\n\r\nMessage-ID: <a@b>\r\nMime-version: 1.0\r\n";
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitHeader, LeavesMimeVersionOutWhenToldTo) {
  Call call;
  call.no_mime_version = 1;
  EXPECT_EQ(Queued("\r\n", call), kReceived + kDate + kMessageId + "\r\n");
}

TEST_F(SubmitHeader, TakesTheDateThatIsGiven) {
  Call call;
  call.date = "Mon, 16 Nov 2026 00:00:00 +0900";
  EXPECT_EQ(Queued("\r\n", call),
            kReceived + kMime + "Date: Mon, 16 Nov 2026 00:00:00 +0900\r\n" + kMessageId + "\r\n");
}

TEST_F(SubmitHeader, AnEmptyDateIsTheTimeNow) {
  Call call;
  call.date = "";
  EXPECT_EQ(Queued("\r\n", call), kInFront + "\r\n");
}

TEST_F(SubmitHeader, TheMessagesOwnDateGoesBeforeTheGivenOne) {
  Call call;
  call.date = "Mon, 16 Nov 2026 00:00:00 +0900";
  const std::string message = "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\n\r\n";
  EXPECT_EQ(Queued(message, call), kReceived + kMime + kMessageId + message);
}

TEST_F(SubmitHeader, ResentDateAloneStillGetsADate) {
  const std::string message = "Resent-date: Sat, 14 Nov 2026 01:02:03 +0100\r\n\r\n";
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitHeader, AsksForAReceiptUnderTheUsualName) {
  Call call;
  call.receipt = 1;
  EXPECT_EQ(Queued("\r\n", call), kInFront + "Return-Receipt-To: ann@a.example\r\n\r\n");
}

TEST_F(SubmitHeader, AsksForAReceiptUnderTheSitesName) {
  Start("UTC0", std::string(kNames) + "[Options]\nrrqHeader=Disposition-Notification-To\n");
  Call call;
  call.receipt = -1;
  call.sender = "Ann <ann@a.example>";
  EXPECT_EQ(Queued("\r\n", call),
            kInFront + "Disposition-Notification-To: Ann <ann@a.example>\r\n\r\n");
}

TEST_F(SubmitHeader, CutsTheReceiptNameTo127Bytes) {
  Start("UTC0", std::string(kNames) + "[Options]\nrrqHeader=" + std::string(200, 'R') + "\n");
  Call call;
  call.receipt = 1;
  EXPECT_EQ(Queued("\r\n", call), kInFront + std::string(127, 'R') + ": ann@a.example\r\n\r\n");
}

TEST_F(SubmitHeader, CutsHostAndDomainTo127Bytes) {
  Start("UTC0", "[Connection]\nGatewayHostName=" + std::string(200, 'h') +
                    "\nGatewayDomain=" + std::string(200, 'd') + "\n");
  const std::string name = std::string(127, 'h') + "." + std::string(127, 'd');
  const std::string queued = Queued("\r\n");
  EXPECT_TRUE(queued.starts_with("Received: From " + name + " by " + name + "\r\n")) << queued;
}

TEST_F(SubmitHeader, NamesOfAnUnconfiguredSiteAreADot) {
  Start("UTC0", "");
  Call call;
  call.sender = "ann";
  EXPECT_EQ(Queued("\r\n", call),
            "Received: From . by .\r\n"
            "  (QOB Tarrow 5.1) id 00000000; Sun, 15 Nov 2026 10:24:05 +0000\r\n" +
                kMime + kDate + "Message-ID: <00000000.site7@.>\r\n\r\n");
}

TEST_F(SubmitHeader, ReadsTheNamesAnewForEachMessage) {
  Queued("\r\n");
  SetIni("[Connection]\nGatewayHostName=other\nGatewayDomain=x.example\n");
  EXPECT_TRUE(Queued("\r\n").starts_with("Received: From other.x.example by other.x.example\r\n"));
}

std::string MessageIdDomain(const std::string& queued) {
  const std::size_t at = queued.find("Message-ID: <00000000.site7@");
  if (at == std::string::npos) return "no Message-ID: " + queued;
  const std::size_t begin = at + std::string_view("Message-ID: <00000000.site7@").size();
  return queued.substr(begin, queued.find('>', begin) - begin);
}

TEST_F(SubmitHeader, MessageIdBearsTheSendersDomain) {
  Call call;
  call.sender = "Ann (of sales) <@relay.example:ann@mail.a.example>";
  EXPECT_EQ(MessageIdDomain(Queued("\r\n", call)), "mail.a.example");
}

TEST_F(SubmitHeader, MessageIdBearsTheSitesNameForASenderWithoutDomain) {
  Call call;
  call.sender = "ann";
  EXPECT_EQ(MessageIdDomain(Queued("\r\n", call)), "gw.gate.example");
}

TEST_F(SubmitHeader, MessageIdBearsTheSitesNameForNoSender) {
  Call call;
  call.sender = "<>";
  EXPECT_EQ(MessageIdDomain(Queued("\r\n", call)), "gw.gate.example");
}

TEST_F(SubmitHeader, CutsTheMessageIdDomainTo256Bytes) {
  const std::string sender = "ann@" + std::string(300, 'd');
  Call call;
  call.sender = sender.c_str();
  EXPECT_EQ(MessageIdDomain(Queued("\r\n", call)), std::string(256, 'd'));
}

TEST_F(SubmitHeader, AnEmptyInstallationIsUnknown) {
  SetIni(kNames, "");
  TerminateQOBDll();
  ASSERT_EQ(InitQOBDll("submit"), 1);
  EXPECT_NE(Queued("\r\n").find("Message-ID: <00000000.unknown@a.example>\r\n"), std::string::npos);
}

TEST_F(SubmitHeader, AnInstallationKeepsOnlyWhatMayStandInAnAddress) {
  SetIni(kNames, "our <site> @ \"7\"");
  TerminateQOBDll();
  ASSERT_EQ(InitQOBDll("submit"), 1);
  EXPECT_NE(Queued("\r\n").find("Message-ID: <00000000.oursite7@a.example>\r\n"),
            std::string::npos);
}

TEST_F(SubmitHeader, TheInstallationIsHeldFromStartUp) {
  SetIni(kNames, "changed");
  EXPECT_NE(Queued("\r\n").find("Message-ID: <00000000.site7@"), std::string::npos);
}

TEST_F(SubmitHeader, AMachineNamesItselfInHexadecimalDigits) {
  SetIni(kNames, "*");
  TerminateQOBDll();
  ASSERT_EQ(InitQOBDll("submit"), 1);
  const std::string queued = Queued("\r\n");
  const std::size_t at = queued.find("Message-ID: <00000000.");
  ASSERT_NE(at, std::string::npos);
  const std::string id = queued.substr(at + 22, 16);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
  EXPECT_EQ(queued[at + 22 + 16], '@');
}

TEST_F(SubmitHeader, TheNameIsTheLastComponentWithoutExtension) {
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  const TextPtr path = call.Send();
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(std::string(path.get()), spool_.queue() + "\\00000000");
  const std::string queued = TempSpool::Read(std::string(path.get()) + ".msg");
  EXPECT_NE(queued.find(") id 00000000; "), std::string::npos) << queued;
}

TEST_F(SubmitHeader, TellsTheLocalTimeInWinter) {
  Start("PST8PDT", kNames);
  const std::string queued = Queued("\r\n");
  EXPECT_NE(queued.find(" id 00000000; Sun, 15 Nov 2026 02:24:05 -0800\r\n"), std::string::npos);
  EXPECT_NE(queued.find("\r\nDate: Sun, 15 Nov 2026 02:24:05 -0800\r\n"), std::string::npos);
}

TEST_F(SubmitHeader, TellsTheLocalTimeInSummer) {
  Start("PST8PDT", kNames);
  g_moment = 1'783'000'800;  // Thu, 2 Jul 2026 14:00:00 UTC
  const std::string queued = Queued("\r\n");
  EXPECT_NE(queued.find(" id 00000000; Thu, 2 Jul 2026 07:00:00 -0700\r\n"), std::string::npos);
  EXPECT_NE(queued.find("\r\nDate: Thu, 2 Jul 2026 07:00:00 -0700\r\n"), std::string::npos);
}

TEST_F(SubmitHeader, EachMessageHasItsOwnName) {
  Queued("\r\n");
  const std::string second = Queued("\r\n");
  EXPECT_NE(second.find(") id 00000001; "), std::string::npos);
  EXPECT_NE(second.find("Message-ID: <00000001.site7@a.example>"), std::string::npos);
}

// Texts of the caller are written as they stand: who takes them from strangers looks at them first.
TEST_F(SubmitHeader, WritesTheCallersTextsAsTheyStand) {
  Call call;
  call.date = "now\r\nX-Two: 2";
  EXPECT_EQ(Queued("\r\n", call),
            kReceived + kMime + "Date: now\r\nX-Two: 2\r\n" + kMessageId + "\r\n");
}

}  // namespace
}  // namespace qob::testing
