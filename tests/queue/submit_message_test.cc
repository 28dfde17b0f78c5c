// What becomes of the message's own bytes: dates of its header are rewritten, all else is kept.
#include "submit_support.h"

namespace qob::testing {
namespace {

using SubmitMessage = SubmitTest;

constexpr const char* kInvalidDate = "Received invalid date.  Adopting the current time instead.";
// A header with these lines gets nothing but Received: in front.
const std::string kRest = "Mime-version: 1.0\r\nMessage-ID: <own@a.example>\r\n";

TEST_F(SubmitMessage, AGoodDateIsBroughtToOneForm) {
  EXPECT_EQ(Queued(kRest + "date:14 Nov 26 01:02 PST\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02 -0800\r\n\r\n");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitMessage, AnUnparsableDateBecomesTheTimeNowWhichIsLogged) {
  EXPECT_EQ(Queued(kRest + "Date: some day\r\nTo: x\r\n\r\nbody\r\n"),
            kReceived + kRest + kDate + "To: x\r\n\r\nbody\r\n");
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{6, "submit", kInvalidDate}}));
}

TEST_F(SubmitMessage, AnEmptyDateBecomesTheTimeNow) {
  EXPECT_EQ(Queued(kRest + "Date:\r\n\r\n"), kReceived + kRest + kDate + "\r\n");
  EXPECT_TRUE(log_.Has(6, kInvalidDate));
}

TEST_F(SubmitMessage, AnImpossibleDayBecomesTheTimeNow) {
  EXPECT_EQ(Queued(kRest + "Date: 31 Feb 2026 10:00:00 +0000\r\n\r\n"),
            kReceived + kRest + kDate + "\r\n");
}

TEST_F(SubmitMessage, TheTimeNowOfARewrittenDateIsLocal) {
  Start("PST8PDT", kNames);
  const std::string queued = Queued(kRest + "Date: some day\r\n\r\n");
  EXPECT_NE(queued.find("\r\nDate: Sun, 15 Nov 2026 02:24:05 -0800\r\n"), std::string::npos)
      << queued;
}

TEST_F(SubmitMessage, TheTimeNowIsRightAlsoBehindTheYearsOfDateRecords) {
  g_moment = 4'102'444'799;
  const std::string queued = Queued(kRest + "Date: some day\r\n\r\n");
  EXPECT_NE(queued.find("\r\nDate: Thu, 31 Dec 2099 23:59:59 +0000\r\n"), std::string::npos)
      << queued;
}

TEST_F(SubmitMessage, ResentDateIsBroughtToOneForm) {
  EXPECT_EQ(Queued(kRest + "RESENT-DATE: 14 Nov 2026 01:02:03 +0900\r\n\r\n"),
            kReceived + kDate + kRest + "Resent-date: Sat, 14 Nov 2026 01:02:03 +0900\r\n\r\n");
}

TEST_F(SubmitMessage, AnUnparsableResentDateBecomesTheTimeNow) {
  EXPECT_EQ(Queued(kRest + "Resent-Date: ?\r\n\r\n"),
            kReceived + kDate + kRest + "Resent-date: Sun, 15 Nov 2026 10:24:05 +0000\r\n\r\n");
  EXPECT_EQ(log_.Count(6, kInvalidDate), 1u);
}

TEST_F(SubmitMessage, EveryDateOfTheHeaderIsRewritten) {
  EXPECT_EQ(Queued(kRest + "Date: 1 Jan 2026\r\nDate: 2 Jan 2026\r\n\r\n"),
            kReceived + kRest +
                "Date: Thu, 1 Jan 2026 00:00 +0000\r\n"
                "Date: Fri, 2 Jan 2026 00:00 +0000\r\n\r\n");
}

TEST_F(SubmitMessage, AFoldedDateIsReadWholeAndItsContinuationGoes) {
  EXPECT_EQ(Queued(kRest + "Date: Sat,\r\n 14 Nov 2026\r\n\t01:02:03\r\n +0100\r\nTo: x\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\nTo: x\r\n\r\n");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitMessage, ADateOnItsContinuationLineIsRead) {
  EXPECT_EQ(Queued(kRest + "Date:\r\n 14 Nov 2026 01:02:03 +0100\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\n\r\n");
}

TEST_F(SubmitMessage, ABlankLineOfSpacesBelongsToTheDate) {
  EXPECT_EQ(Queued(kRest + "Date: 14 Nov 2026 01:02:03 +0100\r\n  \r\nTo: x\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\nTo: x\r\n\r\n");
}

TEST_F(SubmitMessage, ADateAtTheEndOfTheFileGetsItsLineEnd) {
  EXPECT_EQ(Queued(kRest + "Date: 14 Nov 2026 01:02:03 +0100"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\n");
}

TEST_F(SubmitMessage, WhatFollowsADateIsDropped) {
  EXPECT_EQ(Queued(kRest + "Date: 14 Nov 2026 01:02:03 +0100 (CET)\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\n\r\n");
}

TEST_F(SubmitMessage, ALongDateLineIsOneField) {
  const std::string blanks(3000, ' ');
  EXPECT_EQ(Queued(kRest + "Date:" + blanks + "14 Nov 2026 01:02:03 +0100" + blanks +
                   "\r\nTo: x\r\n\r\n"),
            kReceived + kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\nTo: x\r\n\r\n");
}

TEST_F(SubmitMessage, AnEndlessDateLineIsNoDateAndGoes) {
  EXPECT_EQ(Queued(kRest + "Date:" + std::string(300'000, ' ') + "14 Nov 2026\r\nTo: x\r\n\r\n"),
            kReceived + kRest + kDate + "To: x\r\n\r\n");
}

TEST_F(SubmitMessage, ADateOfTheBodyIsCopied) {
  const std::string message =
      kRest + "Date: Sat, 14 Nov 2026 01:02:03 +0100\r\n\r\nDate: some day\r\nResent-date: ?\r\n";
  EXPECT_EQ(Queued(message), kReceived + message);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitMessage, OtherNamesWithDateAreCopied) {
  const std::string message = kRest + "X-Date: some day\r\nDates: ?\r\n Date: ?\r\n\r\n";
  EXPECT_EQ(Queued(message), kReceived + kDate + message);
}

TEST_F(SubmitMessage, DateInTheMiddleOfALongLineIsCopied) {
  const std::string message = kRest + std::string(1024, 'x') + "Date: some day\r\n\r\n";
  EXPECT_EQ(Queued(message), kReceived + kDate + message);
}

TEST_F(SubmitMessage, ALineEndBehind1024BytesIsNoEmptyLine) {
  const std::string line = "X: " + std::string(1021, 'x') + "\r\n";
  EXPECT_EQ(Queued(kRest + line + "Date: 1 Jan 2026\r\n\r\n"),
            kReceived + kRest + line + "Date: Thu, 1 Jan 2026 00:00 +0000\r\n\r\n");
}

// A lone line feed ends no header here; what is missing is judged by the header reader's rule.
TEST_F(SubmitMessage, LinesWithLoneLineFeedsAreOneHeader) {
  EXPECT_EQ(Queued("Subject: x\nDate: 1 Jan 2026\n\nbody\nDate: 2 Jan 2026\n"),
            kReceived + kMime + kMessageId +
                "Subject: x\nDate: Thu, 1 Jan 2026 00:00 +0000\r\n\nbody\n"
                "Date: Fri, 2 Jan 2026 00:00 +0000\r\n");
}

TEST_F(SubmitMessage, ADateBehindALoneLineFeedIsNotTheMessagesOwn) {
  EXPECT_EQ(Queued("Subject: x\n\nDate: 1 Jan 2026\n"),
            kInFront + "Subject: x\n\nDate: Thu, 1 Jan 2026 00:00 +0000\r\n");
}

TEST_F(SubmitMessage, AnEmptyFileIsAMessage) { EXPECT_EQ(Queued(""), kInFront); }

TEST_F(SubmitMessage, AHeaderWithoutEndIsCopied) {
  EXPECT_EQ(Queued("Subject: x"), kInFront + "Subject: x");
}

TEST_F(SubmitMessage, NulBytesAnd8BitBytesAreCopied) {
  using namespace std::string_literals;
  const std::string message =
      "X: a\0b\r\n\xff\xfe\0: y\r\nSubject: \x93\xfa\x96\x7b\r\n\r\n\0\0body\0\r\n\x80\r.\n\0"s;
  EXPECT_EQ(Queued(message), kInFront + message);
}

TEST_F(SubmitMessage, ANulInADateEndsIt) {
  using namespace std::string_literals;
  EXPECT_EQ(Queued(kRest + "Date: 1 Jan 2026\0 10:00:00 +0100\r\n\r\n"s),
            kReceived + kRest + "Date: Thu, 1 Jan 2026 00:00 +0000\r\n\r\n");
}

TEST_F(SubmitMessage, AHugeHeaderLineIsCopied) {
  const std::string message = "X: " + std::string(3'000'000, 'x') + "\r\nMessage-ID: <own@a>\r\n" +
                              "Mime-version: 1.0\r\nDate: 1 Jan 2026\r\n\r\n" + "body\r\n";
  std::string wanted = message;
  wanted.replace(wanted.find("Date: 1 Jan 2026"), 16, "Date: Thu, 1 Jan 2026 00:00 +0000");
  EXPECT_TRUE(Queued(message) == kReceived + wanted);
}

TEST_F(SubmitMessage, AHeaderOfManyLinesIsCopied) {
  std::string message;
  for (int i = 0; i < 100'000; ++i) message += "X-" + std::to_string(i) + ": value\r\n";
  message += "\r\nbody\r\n";
  EXPECT_TRUE(Queued(message) == kInFront + message);
}

TEST_F(SubmitMessage, ABodyOfFiveMegabytesIsCopied) {
  std::string body;
  std::uint32_t next = 1;
  while (body.size() < 5'000'000)
    body += static_cast<char>((next = next * 1664525 + 1013904223) >> 24);
  const std::string message = "Subject: x\r\n\r\n" + body;
  EXPECT_TRUE(Queued(message) == kInFront + message);
}

// Sizes at which blocks and lines end together.
TEST_F(SubmitMessage, EverySizeAroundABlockIsCopiedWhole) {
  for (const std::size_t size : {4095u, 4096u, 4097u, 8192u, 65535u, 65536u, 65537u, 131072u}) {
    std::string message = "Subject: x\r\nMime-version: 1.0\r\n\r\n";
    message.resize(size, 'b');
    const std::string queued = Queued(message);
    ASSERT_TRUE(queued.ends_with(message)) << size;
  }
}

}  // namespace
}  // namespace qob::testing
