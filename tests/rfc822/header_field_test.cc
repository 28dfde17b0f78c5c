// Where each header field goes and what becomes of its value.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/process.h"
#include "rfc822/header_field.h"
#include "rfc822/header_support.h"

namespace qob::testing {
namespace {

using Strings = std::vector<std::string>;

class HeaderField : public ::testing::Test {
 protected:
  ~HeaderField() override { Free822Header(&record_); }
  // The code of the field when it is filed.
  int File(std::string_view field) { return static_cast<int>(HeaderFiler(&record_).File(field)); }
  addr822 record_{};
};

struct Row {
  const char* name;
  int code;
  char* addr822::*text;
};

TEST_F(HeaderField, TextFieldsHaveTheirSlotsAndCodes) {
  const Row rows[] = {{"Subject", 11, &addr822::subject},
                      {"Sender", 13, &addr822::sender},
                      {"Message-ID", 14, &addr822::messageId},
                      {"Resent-Message-Id", 18, &addr822::resentMessageId},
                      {"In-Reply-To", 15, &addr822::inReplyTo},
                      {"REFERENCES", 16, &addr822::references},
                      {"return-path", 17, &addr822::returnPath},
                      {"MIME-Version", 22, &addr822::mimeVersion},
                      {"Content-Type", 23, &addr822::contentType},
                      {"Content-Transfer-Encoding", 24, &addr822::contentTransferEncoding},
                      {"Content-ID", 25, &addr822::contentId},
                      {"Content-Description", 26, &addr822::contentDescription}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(File(std::string(row.name) + ": \t value of it"), row.code);
    EXPECT_EQ(Text(record_.*row.text), "value of it");
    EXPECT_EQ(File(std::string(row.name) + ": second"), row.code);
    EXPECT_EQ(Text(record_.*row.text), "value of it");
  }
  EXPECT_EQ(record_.otherHeaders, nullptr);
}

struct AddressRow {
  const char* name;
  int code;
  HeaderAddressList* addr822::*list;
};

TEST_F(HeaderField, AddressFieldsHaveTheirTablesAndCodes) {
  const AddressRow rows[] = {{"To", 1, &addr822::to},
                             {"Resent-To", 5, &addr822::resentTo},
                             {"Cc", 3, &addr822::cc},
                             {"Resent-CC", 6, &addr822::resentCc},
                             {"Bcc", 4, &addr822::bcc},
                             {"Resent-Bcc", 7, &addr822::resentBcc},
                             {"From", 2, &addr822::from},
                             {"Resent-From", 27, &addr822::resentFrom},
                             {"Reply-To", 9, &addr822::replyTo},
                             {"Return-Receipt-To", 10, &addr822::returnReceiptTo}};
  for (const AddressRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(File(std::string(row.name) + ": a@b, bad one, c@d"), row.code);
    EXPECT_EQ(File(std::string(row.name) + ": e@f"), row.code);
    EXPECT_EQ(AddressesOf(record_.*row.list), (Strings{"a@b", "c@d", "e@f"}));
    EXPECT_EQ((record_.*row.list)->table->count, 3U);
    EXPECT_EQ((record_.*row.list)->text, nullptr);
    EXPECT_EQ((record_.*row.list)->next, nullptr);
  }
}

TEST_F(HeaderField, ToInTwoSpellingsFillsOneTable) {
  File("To: a@b");
  File("TO: c@d");
  EXPECT_EQ(AddressesOf(record_.to), (Strings{"a@b", "c@d"}));
}

TEST_F(HeaderField, AddressFieldWithoutValueHasAnEmptyTable) {
  EXPECT_EQ(File("Cc:"), 3);
  ASSERT_NE(record_.cc, nullptr);
  EXPECT_EQ(record_.cc->table->count, 0U);
  EXPECT_EQ(record_.cc->table->head, nullptr);
}

TEST_F(HeaderField, EmptySubjectIsTheFirstSubject) {
  EXPECT_EQ(File("Subject:"), 11);
  EXPECT_EQ(File("Subject: later"), 11);
  EXPECT_EQ(Text(record_.subject), "");
  EXPECT_EQ(record_.otherHeaders, nullptr);
}

TEST_F(HeaderField, ReceivedFieldsAreKeptInOrder) {
  for (const char* hop : {"one", "two", "three"}) {
    EXPECT_EQ(File(std::string("Received: by ") + hop), 8);
  }
  EXPECT_EQ(Texts(record_.received), (Strings{"by one", "by two", "by three"}));
}

TEST_F(HeaderField, UnknownFieldsAreKeptWithTheirName) {
  EXPECT_EQ(File("X-Foo: bar"), 29);
  EXPECT_EQ(File("X-MAILER:abc"), 29);
  EXPECT_EQ(File("other: x"), 29);
  EXPECT_EQ(File("8-bit\xC4: y"), 29);
  EXPECT_EQ(File(":z"), 29);
  EXPECT_EQ(Texts(record_.otherHeaders),
            (Strings{"X-foo: bar", "X-mailer: abc", "Other: x", "8-bit\xC4: y", ": z"}));
}

TEST_F(HeaderField, AppendsToListsThatAreThereAlready) {
  File("X-a: 1");
  File("Received: r1");
  HeaderFiler filer(&record_);
  filer.File("X-b: 2");
  filer.File("X-c: 3");
  filer.File("Received: r2");
  EXPECT_EQ(Texts(record_.otherHeaders), (Strings{"X-a: 1", "X-b: 2", "X-c: 3"}));
  EXPECT_EQ(Texts(record_.received), (Strings{"r1", "r2"}));
}

TEST_F(HeaderField, SeparatorLineAndFromFieldAreTwoThings) {
  EXPECT_EQ(File("From joe@x Sun Nov 15 02:24:05 2026"), 19);
  EXPECT_EQ(File("From: a@b"), 2);
  EXPECT_EQ(Text(record_.fromLine), "joe@x Sun Nov 15 02:24:05 2026");
  EXPECT_EQ(AddressesOf(record_.from), Strings{"a@b"});
}

TEST_F(HeaderField, SeparatorLineMayHaveATab) {
  EXPECT_EQ(File("From\tx"), 19);
  EXPECT_EQ(Text(record_.fromLine), "x");
}

TEST_F(HeaderField, SeparatorLineMayEndBehindItsName) {
  EXPECT_EQ(File("From"), 19);
  EXPECT_EQ(Text(record_.fromLine), "");
}

TEST_F(HeaderField, StatusFieldIsAnOrdinaryOne) {
  EXPECT_EQ(File("Status: RO"), 29);
  EXPECT_EQ(record_.status, nullptr);
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"Status: RO"});
}

TEST_F(HeaderField, LinesThatAreNoFieldsAreNotFiled) {
  for (const char* line : {"status RO", "recvdate today", "Hello world", "NoColon", "Subject : x",
                           "to a@b", "", "\r\n\tfolded: x", "other "}) {
    EXPECT_EQ(File(line), -1) << line;
  }
  EXPECT_EQ(record_.status, nullptr);
  EXPECT_EQ(record_.otherHeaders, nullptr);
  EXPECT_EQ(record_.subject, nullptr);
}

TEST_F(HeaderField, CarriageReturnIsPartOfAName) {
  EXPECT_EQ(File("Subject\r: x"), 29);
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"Subject\r: x"});
}

// Fields of the address kind have their folds made blank, the others keep them.
TEST_F(HeaderField, FoldsBecomeBlanksByClass) {
  File("Sender: a\r\n\tb\r\n\tc");
  File("Subject: a\r\n\tb");
  File("Received: a\r\n\tb");
  File("Content-Type: a\r\n\tb");
  File("X-y: a\r\n\tb");
  File("To: J\r\n\tDoe <a@b>");
  File("Reply-To: J\r\n\tDoe <a@b>");
  File("Return-Receipt-To: J\r\n\tDoe <a@b>");
  EXPECT_EQ(Text(record_.sender), "a\r b\r c");
  EXPECT_EQ(Text(record_.subject), "a\r\n\tb");
  EXPECT_EQ(Texts(record_.received), Strings{"a\r\n\tb"});
  EXPECT_EQ(Text(record_.contentType), "a\r\n\tb");
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"X-y: a\r\n\tb"});
  EXPECT_EQ(Entries(*record_.to->table)[0].raw_text, "J\r Doe <a@b>");
  EXPECT_EQ(Entries(*record_.replyTo->table)[0].raw_text, "J\r Doe <a@b>");
  EXPECT_EQ(Entries(*record_.returnReceiptTo->table)[0].raw_text, "J\r\n\tDoe <a@b>");
  EXPECT_EQ(Entries(*record_.to->table)[0].phrase, "J Doe");
}

TEST_F(HeaderField, FoldsBeforeTheValueAreSkipped) {
  File("Subject:\r\n\t\r\n\tx");
  EXPECT_EQ(Text(record_.subject), "x");
}

// ---- dates

std::int64_t g_now = 0;

class HeaderDates : public HeaderField {
 protected:
  HeaderDates() {
    os::SetClock([] { return g_now; });
    SetZone("UTC0");
  }
  ~HeaderDates() override {
    os::SetClock(nullptr);
    SetZone("");
  }
  static void SetZone(const char* zone) {
    os::SetEnvironment("TZ", zone);
    os::RefreshTimeZone();
  }
};

TEST_F(HeaderDates, DateIsBroughtToOneForm) {
  EXPECT_EQ(File("Date:  Sun, 15 Nov 26 02:24:05 PST"), 12);
  ASSERT_NE(record_.date, nullptr);
  EXPECT_EQ(Text(record_.date->text), "Sun, 15 Nov 2026 02:24:05 -0800");
  EXPECT_EQ(record_.date->utc, 1794738245);  // date -d '2026-11-15 10:24:05 UTC' +%s
}

TEST_F(HeaderDates, DateWithoutZoneCountsAsUtc) {
  File("Date: 1 Jan 2000 00:00");
  EXPECT_EQ(Text(record_.date->text), "Sat, 1 Jan 2000 00:00 +0000");
  EXPECT_EQ(record_.date->utc, 946684800);
}

TEST_F(HeaderDates, FirstDateFieldMetWins) {
  EXPECT_EQ(File("Resent-Date: 2 Jan 2000 00:00:00 GMT"), 28);
  EXPECT_EQ(File("Date: 1 Jan 2000 00:00:00 GMT"), 12);
  EXPECT_EQ(Text(record_.date->text), "Sun, 2 Jan 2000 00:00:00 +0000");
}

TEST_F(HeaderDates, UnparsableDateBecomesTheCurrentTime) {
  g_now = 1700000000;
  EXPECT_EQ(File("Date: yesterday"), 12);
  EXPECT_EQ(Text(record_.date->text), "Tue, 14 Nov 2023 22:13:20 +0000");
  EXPECT_EQ(record_.date->utc, 1700000000);
}

TEST_F(HeaderDates, CurrentTimeIsRightInDaylightTimeToo) {
  SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
  g_now = 1689336000;
  File("Date:");
  EXPECT_EQ(Text(record_.date->text), "Fri, 14 Jul 2023 14:00:00 +0200");
  EXPECT_EQ(record_.date->utc, 1689336000);
  Free822Header(&record_);
  g_now = 1700000000;
  File("Date: 31 Feb 2020");
  EXPECT_EQ(Text(record_.date->text), "Tue, 14 Nov 2023 23:13:20 +0100");
  EXPECT_EQ(record_.date->utc, 1700000000);
}

TEST_F(HeaderDates, LastSecondThatFits) {
  File("Date: 31 Dec 2037 23:59:59 +0000");
  EXPECT_EQ(record_.date->utc, 2145916799);
  Free822Header(&record_);
  File("Date: 31 Dec 2037 23:59:59 -\xFF\xFF\xFF\xFF");  // an offset of 2311 hours and more
  EXPECT_EQ(record_.date->utc, 2147483647);
}

TEST_F(HeaderDates, ClockBehindTheLastYearLeavesTheDateEmpty) {
  g_now = 4102444800;  // 2100
  EXPECT_EQ(File("Date: never"), 12);
  EXPECT_EQ(Text(record_.date->text), "");
  EXPECT_EQ(record_.date->utc, 0);
}

// ---- the table

TEST(KeywordTable, RowsWithoutTerminatorAreNeverFound) {
  for (const char* name : {"status:", "recvdate:"}) {
    EXPECT_EQ(FindKeyword(StandardKeywords(), name)->code, HeaderCode::kOther);
  }
  for (const char* name : {"status ", "recvdate "}) {
    EXPECT_EQ(FindKeyword(StandardKeywords(), name), nullptr);
  }
}

TEST(KeywordTable, HasItsRowsInOrder) {
  const struct {
    const char* name;
    int code;
    unsigned field_class;
  } rows[] = {{"to:", 1, 7},
              {"resent-to:", 5, 7},
              {"cc:", 3, 7},
              {"resent-cc:", 6, 7},
              {"bcc:", 4, 7},
              {"resent-bcc:", 7, 7},
              {"from:", 2, 7},
              {"resent-from:", 27, 7},
              {"resent-date:", 28, 7},
              {"received:", 8, 1},
              {"reply-to:", 9, 6},
              {"return-receipt-to:", 10, 4},
              {"subject:", 11, 0},
              {"date:", 12, 0},
              {"sender:", 13, 6},
              {"message-id:", 14, 0},
              {"resent-message-id:", 18, 0},
              {"in-reply-to:", 15, 0},
              {"references:", 16, 0},
              {"return-path:", 17, 0},
              {"from ", 19, 0},
              {"status", 20, 0},
              {"recvdate", 21, 0},
              {"mime-version:", 22, 0},
              {"content-type:", 23, 1},
              {"content-transfer-encoding:", 24, 1},
              {"content-id:", 25, 1},
              {"content-description:", 26, 1},
              {"other:", 29, 1}};
  const KeywordTable table = StandardKeywords();
  ASSERT_EQ(table.size(), std::size(rows));
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(table[i].name, rows[i].name);
    EXPECT_EQ(static_cast<int>(table[i].code), rows[i].code);
    EXPECT_EQ(table[i].field_class, rows[i].field_class);
  }
}

}  // namespace
}  // namespace qob::testing
