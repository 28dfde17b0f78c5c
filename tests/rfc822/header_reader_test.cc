// The header block: lines to fields, where it ends, what is counted, what a long line or field
// does.
#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rfc822/header_reader.h"
#include "rfc822/header_support.h"

namespace qob::testing {
namespace {

using Strings = std::vector<std::string>;

class HeaderReader : public HeaderTest {};

TEST_F(HeaderReader, ReadsToTheBlankLineAndCountsIt) {
  EXPECT_EQ(Read("From: a@b\r\nTo: c@d\r\nSubject: hello\r\n\r\nSubject: body\r\n"), 1);
  EXPECT_EQ(count_, 4);
  EXPECT_EQ(status_line_, 0);
  EXPECT_EQ(Text(record_.subject), "hello");
  EXPECT_EQ(AddressesOf(record_.from), Strings{"a@b"});
  char* line = nullptr;
  EXPECT_EQ(QOB_getline(file_, &line), 1);
  EXPECT_STREQ(line, "Subject: body\r\n");
}

TEST_F(HeaderReader, EndOfFileIsNotCountedAndFilesTheLastField) {
  EXPECT_EQ(Read("From: a@b\r\nSubject: last"), 1);
  EXPECT_EQ(count_, 2);
  EXPECT_EQ(Text(record_.subject), "last");
}

TEST_F(HeaderReader, EmptyFileIsAnEmptyHeader) {
  EXPECT_EQ(Read(""), 1);
  EXPECT_EQ(count_, 0);
  EXPECT_EQ(record_.otherHeaders, nullptr);
}

TEST_F(HeaderReader, BlankLineAtOnceIsAnEmptyHeader) {
  EXPECT_EQ(Read("\r\nSubject: body\r\n"), 1);
  EXPECT_EQ(count_, 1);
  EXPECT_EQ(record_.subject, nullptr);
}

TEST_F(HeaderReader, BareLineFeedsEndLinesToo) {
  EXPECT_EQ(Read("Subject: a\n b\n\nTo: c@d\n"), 1);
  EXPECT_EQ(count_, 3);
  EXPECT_EQ(Text(record_.subject), "a\r\n\tb");
  EXPECT_EQ(record_.to, nullptr);
}

TEST_F(HeaderReader, EveryFoldIsKeptAsCrLfTab) {
  Read("Subject: one\r\n two\r\n\t \t three\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), "one\r\n\ttwo\r\n\tthree");
}

TEST_F(HeaderReader, LineOfWhiteSpaceIsAContinuation) {
  Read("Subject: one\r\n   \r\n\r\r\n\vtwo\r\nTo: a@b\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), "one\r\n\t\r\n\t\r\n\ttwo");
  EXPECT_EQ(AddressesOf(record_.to), Strings{"a@b"});
  EXPECT_EQ(count_, 6);
}

TEST_F(HeaderReader, LineIsCutAtItsLastCarriageReturn) {
  Read("Subject: a\rb\nX-y: c\rd\r\nX-z: e\n\n");
  EXPECT_EQ(Text(record_.subject), "a");
  EXPECT_EQ(Texts(record_.otherHeaders), (Strings{"X-y: c\rd", "X-z: e"}));
}

TEST_F(HeaderReader, LineCutToNothingEndsTheHeader) {
  Read("Subject: a\r\n\rX-y: b\nX-z: c\r\n\r\n");
  EXPECT_EQ(count_, 2);
  EXPECT_EQ(record_.otherHeaders, nullptr);
}

TEST_F(HeaderReader, LinesThatAreNoFieldsAreSkippedWithTheirContinuations) {
  EXPECT_EQ(
      Read(" leading: x\r\nno field\r\n To: a@b\r\nstatus RO\r\nrecvdate x\r\nX-y: z\r\n\r\n"), 1);
  EXPECT_EQ(record_.to, nullptr);
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"X-y: z"});
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HeaderReader, SecondBlockAddsToTheRecord) {
  Read("To: a@b\r\nSubject: one\r\nX-a: 1\r\nReceived: r1\r\n\r\n");
  Read("To: c@d\r\nSubject: two\r\nX-b: 2\r\nReceived: r2\r\n\r\n");
  EXPECT_EQ(AddressesOf(record_.to), (Strings{"a@b", "c@d"}));
  EXPECT_EQ(Text(record_.subject), "one");
  EXPECT_EQ(Texts(record_.otherHeaders), (Strings{"X-a: 1", "X-b: 2"}));
  EXPECT_EQ(Texts(record_.received), (Strings{"r1", "r2"}));
}

TEST_F(HeaderReader, AllThreeNamesDoTheSame) {
  for (auto* parse : {&ParseHdr, &QOB_ParseHdr, &ST_ParseHdr}) {
    Open("Subject: x\r\n\r\n");
    EXPECT_EQ(parse(file_, &record_, &count_, &status_line_), 1);
    EXPECT_EQ(count_, 2);
    EXPECT_EQ(Text(record_.subject), "x");
    Free822Header(&record_);
    EXPECT_EQ(record_.subject, nullptr);
  }
}

TEST_F(HeaderReader, NullPointersForTheNumbersAreLeftOut) {
  EXPECT_EQ(ParseHdr(Open("Subject: x\r\n\r\n"), &record_, nullptr, nullptr), 1);
  EXPECT_EQ(Text(record_.subject), "x");
}

TEST_F(HeaderReader, NullRecordFailsQuietlyWithZeroes) {
  EXPECT_EQ(ParseHdr(Open("Subject: x\r\n\r\n"), nullptr, &count_, &status_line_), 0);
  EXPECT_EQ(count_, 0);
  EXPECT_EQ(status_line_, 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HeaderReader, UnknownHandleIsAReadError) {
  EXPECT_EQ(ParseHdr(12345, &record_, &count_, &status_line_), 0);
  EXPECT_EQ(count_, 0);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseHdr", "getline failed."}}));
}

// ---- lines longer than a piece of getline

std::string Fill(std::string text, std::size_t size) {
  return text.append(size - text.size(), 'x');
}

TEST_F(HeaderReader, LongLineIsOneLine) {
  const std::string long_line = Fill("Subject: ", 1024) + "Bcc: hidden@x";
  Read(long_line + "\r\nTo: a@b\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), long_line.substr(9));
  EXPECT_EQ(record_.bcc, nullptr);
  EXPECT_EQ(AddressesOf(record_.to), Strings{"a@b"});
  EXPECT_EQ(count_, 4);  // two pieces
}

TEST_F(HeaderReader, LineEndInAPieceOfItsOwnIsNoBlankLine) {
  for (const std::size_t size : {1023U, 1024U, 2048U}) {
    SCOPED_TRACE(size);
    Free822Header(&record_);
    const std::string line = Fill("Subject: ", size);
    Read(line + "\r\nTo: a@b\r\n\r\n");
    EXPECT_EQ(Text(record_.subject), line.substr(9));
    EXPECT_EQ(AddressesOf(record_.to), Strings{"a@b"});
  }
}

TEST_F(HeaderReader, LongContinuationIsOneContinuation) {
  const std::string rest = Fill("", 1500);
  Read("Subject: a\r\n \t" + rest + "\r\n b\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), "a\r\n\t" + rest + "\r\n\tb");
}

TEST_F(HeaderReader, LongContinuationBehindABareLineFeedLosesNothing) {
  const std::string rest = Fill("", 1500);
  Read("Subject: a\n " + rest + "\n b\n\n");
  EXPECT_EQ(Text(record_.subject), "a\r\n\t" + rest + "\r\n\tb");
}

TEST_F(HeaderReader, LongLineKeepsItsWhiteSpaceWherePiecesMeet) {
  const std::string line = Fill("Subject: ", 1022) + " \t \tend";
  Read(line + "\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), line.substr(9));
}

TEST_F(HeaderReader, LongLineIsCutAtItsLastCarriageReturnAsAWhole) {
  const std::string head = Fill("Subject: ", 1000);
  Read(head + "\r" + std::string(23, 'y') + "end\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), (head + "\r" + std::string(23, 'y') + "end").substr(9));
  Free822Header(&record_);
  Read(head + "\r" + std::string(23, 'y') + "end\n\n");
  EXPECT_EQ(Text(record_.subject), head.substr(9));
  Free822Header(&record_);
  Read(Fill("Subject: ", 1023) + "\r\nTo: a@b\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), Fill("Subject: ", 1023).substr(9));
  Free822Header(&record_);
  Read("Subject: a\r\n " + head + "\r" + std::string(100, 'y') + "\n\n");
  EXPECT_EQ(Text(record_.subject), "a\r\n\t" + head);
}

TEST_F(HeaderReader, LongLineMayEndWithTheFile) {
  const std::string line = Fill("Subject: ", 1024);
  Read(line);
  EXPECT_EQ(Text(record_.subject), line.substr(9));
  EXPECT_EQ(count_, 1);
  Free822Header(&record_);
  Read(Fill("Subject: ", 1023) + "\r");
  EXPECT_EQ(Text(record_.subject), Fill("Subject: ", 1023).substr(9));
}

// A NUL hides the rest of a piece; whether the line goes on must not depend on it.
TEST_F(HeaderReader, NulDoesNotTurnThePieceBehindItIntoAField) {
  std::string line = Fill("Subject: ", 1024);
  line[100] = '\0';
  Read(line + "Bcc: hidden@x\r\nTo: a@b\r\n\r\n");
  EXPECT_EQ(Text(record_.subject), std::string(91, 'x') + "Bcc: hidden@x");
  EXPECT_EQ(record_.bcc, nullptr);
  EXPECT_EQ(AddressesOf(record_.to), Strings{"a@b"});
}

TEST_F(HeaderReader, NulHidesTheRestOfAShortLineOnly) {
  using std::string_literals::operator""s;
  Read("Subject: a\0b\r\nTo: a@b\r\nX-y: \0\r\n\0\r\nCc: c@d\r\n"s);
  EXPECT_EQ(Text(record_.subject), "a");
  EXPECT_EQ(AddressesOf(record_.to), Strings{"a@b"});
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"X-y: "});
  EXPECT_EQ(count_, 4);  // the line that begins with a NUL reads as blank
  EXPECT_EQ(record_.cc, nullptr);
}

// ---- the limit of a field

TEST_F(HeaderReader, FieldOf64KiBEndsTheHeaderAndTheRestStaysUnread) {
  std::string header = "To: a@b\r\nSubject: s\r\n";
  const std::string fold = " " + std::string(97, 'f') + "\r\n";
  for (int i = 0; i < 700; ++i) header += fold;
  header += "Cc: c@d\r\n\r\nbody\r\n";
  EXPECT_EQ(Read(header), 1);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseHdr", "too many headers to parse."}}));
  // "Subject: s" and n folds of 100 bytes: 10 + 100 * n + 97 + 4 > 64512 for n = 645.
  std::string expected = "s";
  for (int i = 0; i < 645; ++i) expected += "\r\n\t" + std::string(97, 'f');
  EXPECT_EQ(Text(record_.subject), expected);
  EXPECT_EQ(record_.cc, nullptr);
  EXPECT_EQ(count_, 2 + 646);
  EXPECT_EQ(getfpos(file_), 9 + 12 + 646 * 100);
}

TEST_F(HeaderReader, LargestFieldIsOf64512Bytes) {
  const std::string first = Fill("Subject: ", 512);
  for (const std::size_t last : {508U, 509U}) {
    SCOPED_TRACE(last);
    Free822Header(&record_);
    log_.Clear();
    std::string header = first + "\r\n";
    std::size_t size = first.size();
    for (int i = 0; i < 63; ++i, size += 3 + 1000) header += " " + std::string(1000, 'f') + "\r\n";
    const std::size_t room = 64512 - 4 - size;
    header += " " + std::string(room - 508 + last, 'l') + "\r\nTo: a@b\r\n\r\n";
    Read(header);
    EXPECT_EQ(log_.Has(1, "too many headers to parse."), last == 509);
    EXPECT_EQ(record_.to == nullptr, last == 509);
  }
}

TEST_F(HeaderReader, LongLineCountsAgainstTheLimitToo) {
  EXPECT_EQ(Read(Fill("Subject: ", 200000) + "\r\nTo: a@b\r\n\r\n"), 1);
  EXPECT_TRUE(log_.Has(1, "too many headers to parse."));
  EXPECT_EQ(Text(record_.subject).size(), 62U * 1024 - 9);
  EXPECT_EQ(record_.to, nullptr);
  EXPECT_EQ(getfpos(file_), 63 * 1024);
}

TEST_F(HeaderReader, HeaderOfManyFieldsHasNoLimit) {
  std::string header;
  for (int i = 0; i < 20000; ++i) header += "X-a: " + std::to_string(i) + "\r\n";
  EXPECT_EQ(Read(header + "\r\n"), 1);
  EXPECT_EQ(count_, 20001);
  EXPECT_EQ(Texts(record_.otherHeaders).size(), 20000U);
  EXPECT_EQ(Texts(record_.otherHeaders).back(), "X-a: 19999");
}

// ---- the status line

const Keyword kWithStatus[] = {{"status:", HeaderCode::kStatus, 0},
                               {"other:", HeaderCode::kOther, 1}};

// No row of the standard table gives the status code, so the count is watched with a table in which
// one does.
TEST_F(HeaderReader, StatusLineIsTheLineBehindTheField) {
  HeaderLines lines;
  EXPECT_TRUE(ReadHeader(Open("X-a: 1\r\nStatus: RO\r\n folded\r\nX-b: 2\r\n\r\n"), &record_,
                         &lines, kWithStatus));
  EXPECT_EQ(lines.status_line, 4);
  EXPECT_EQ(lines.count, 5);
  EXPECT_EQ(Text(record_.status), "RO\r\n\tfolded");
}

TEST_F(HeaderReader, StatusLineBeforeTheBlankLineDoesNotCountThatLine) {
  HeaderLines lines;
  EXPECT_TRUE(ReadHeader(Open("X-a: 1\r\nStatus: RO\r\n\r\n"), &record_, &lines, kWithStatus));
  EXPECT_EQ(lines.status_line, 2);
  EXPECT_EQ(lines.count, 3);
}

TEST_F(HeaderReader, StatusLineAtTheEndOfTheFileIsNotSet) {
  HeaderLines lines;
  EXPECT_TRUE(ReadHeader(Open("X-a: 1\r\nStatus: RO\r\n"), &record_, &lines, kWithStatus));
  EXPECT_EQ(lines.status_line, 0);
  EXPECT_EQ(Text(record_.status), "RO");
}

// ---- the record

TEST(HeaderRecord, NewIsEmptyAndFreedTwiceIsHarmless) {
  addr822* record = New822Header();
  ASSERT_NE(record, nullptr);
  const addr822 empty{};
  EXPECT_EQ(std::memcmp(record, &empty, sizeof empty), 0);
  Free822Header(record);
  Free822Header(record);
  Free822Header(nullptr);
  std::free(record);
}

TEST_F(HeaderReader, FreeSetsEveryFieldToNull) {
  std::string header = "From line\r\n";
  for (const char* name :
       {"To",          "Resent-To",           "Cc",           "Resent-Cc",
        "Bcc",         "Resent-Bcc",          "From",         "Resent-From",
        "Reply-To",    "Return-Receipt-To",   "Subject",      "Sender",
        "Message-ID",  "Resent-Message-ID",   "In-Reply-To",  "References",
        "Return-Path", "MIME-Version",        "Content-Type", "Content-Transfer-Encoding",
        "Content-ID",  "Content-Description", "Received",     "X-other",
        "Date"}) {
    header += std::string(name) + ": a@b\r\n";
  }
  Read(header + "\r\n");
  record_.status = strdup("by hand");
  record_.to->text = strdup("by hand");
  record_.to->next = static_cast<HeaderAddressList*>(std::calloc(1, sizeof(HeaderAddressList)));
  std::vector<void*> fields(sizeof record_ / sizeof(void*));
  std::memcpy(fields.data(), &record_, sizeof record_);
  EXPECT_EQ(std::count(fields.begin(), fields.end(), nullptr), 0);
  Free822Header(&record_);
  std::memcpy(fields.data(), &record_, sizeof record_);
  EXPECT_EQ(std::count(fields.begin(), fields.end(), nullptr), 27);
}

// ---- any bytes

TEST_F(HeaderReader, HeaderOfTenMegabytes) {
  std::string header;
  while (header.size() < 10'000'000) {
    header += "To: " + std::string(50, 't') +
              "@x.example, \"odd\r\nX-long: " + std::string(3000, 'l') + "\r\n\tfold\r\n(: y\r\n";
  }
  EXPECT_EQ(Read(header), 1);
  EXPECT_EQ(record_.to->table->count, 0U);
  EXPECT_EQ(Texts(record_.otherHeaders).size() % 2, 0U);
  EXPECT_EQ(getfpos(file_), static_cast<int32_t>(header.size()));
}

TEST_F(HeaderReader, SurvivesEveryTruncation) {
  using std::string_literals::operator""s;
  const std::string header =
      "From x\r\nTo: \"J \\\"D\\\"\" <a@b>,\r\n\tG: c@d, e@f; (x\r\nDate: Sun, 15 Nov 2026 "
      "02:24:05 -0800\r\n"
      "Subject: \0hidden\r\n bare\rreturn\nX: \xFF\xFE\r\n\r\n"s;
  for (std::size_t size = 0; size <= header.size(); ++size) {
    EXPECT_EQ(Read(header.substr(0, size)), 1);
    Free822Header(&record_);
  }
}

}  // namespace
}  // namespace qob::testing
