// The exported address and header calls of the shared library, from C and from C++.
#include <array>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

#include "rfc822/from_c.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

class Contract822 : public ::testing::Test {
 protected:
  Contract822() { InitQOBDll_NOMQ("contract"); }
  ~Contract822() override { TerminateQOBDll(); }
  TempSpool spool_;
};

std::string List(const char* list, int32_t count) {
  std::array<char, 4096> out{};
  EXPECT_EQ(DescribeListFromC(list, out.data(), out.size()), count);
  return out.data();
}

TEST_F(Contract822, ListsParseFromC) {
  EXPECT_EQ(List("John Smith <john.smith@x.example> (home), bad > one, joe", 2),
            "john.smith@x.example|john.smith|x.example|John Smith|home\njoe|joe|||\n");
  EXPECT_EQ(List("G: a@b, C <c@d>;, <@r:e@f>", 2), "G: a@b, c@d;|c|d|C|\n<@r:e@f>|e|f||\n");
  EXPECT_EQ(List("a@b, \"c", 0), "");
  EXPECT_EQ(List(" \t", 0), "");
}

TEST_F(Contract822, HandMadeTablesAreTakenFromC) { EXPECT_EQ(AppendToHandMadeTableFromC(), 2); }

TEST_F(Contract822, NullsGiveTheFailureValuesFromC) { EXPECT_EQ(NullsFromC(), 1); }

TEST_F(Contract822, HeadersParseFromC) {
  const std::string path = spool_.File(
      "m",
      "To: J <a@b>,\r\n c@d\r\nTO: e@f\r\nSubject: x\r\n y\r\nSubject: z\r\nSTATUS: RO\r\n"
      "Date: Sun, 15 Nov 2026 02:24:05 -0800\r\n\r\nbody\r\n");
  std::array<char, 4096> out{};
  EXPECT_EQ(DescribeHeaderFromC(path.c_str(), out.data(), out.size()), 1);
  EXPECT_STREQ(out.data(),
               "9 0\na@b|a|b|J|\nc@d|c|d||\ne@f|e|f||\nx\r\n\ty\nStatus: RO\n"
               "Sun, 15 Nov 2026 02:24:05 -0800");
}

TEST_F(Contract822, UnknownHandleFailsWithItsLine) {
  CapturedLog log;
  std::array<char, 64> out{};
  EXPECT_EQ(DescribeHeaderFromC("/no/such/file", out.data(), out.size()), 0);
  EXPECT_TRUE(log.Has(1, "getline failed."));
}

TEST_F(Contract822, DecoratedNamesWorkWithoutTheLocks) {
  RecipTbl table{};
  char list[] = "a@b, c@d";
  EXPECT_EQ(ST_RecipParse(list, &table, 1), 2);
  Clear_RT(&table);
  const int32_t file = fileopen(spool_.File("m", "Subject: x\r\n\r\n").c_str(), 0, 1);
  addr822 header{};
  int32_t lines = 0;
  EXPECT_EQ(ST_ParseHdr(file, &header, &lines, nullptr), 1);
  EXPECT_EQ(lines, 2);
  EXPECT_STREQ(header.subject, "x");
  Free822Header(&header);
  fileclose(file);
}

// What the library gives is released with free, and what a caller puts in its place is released by
// the library.
TEST_F(Contract822, StringsAreMallocs) {
  RecipTbl table{};
  char list[] = "a@b";
  RecipParse(list, &table, 1);
  std::free(table.head->address);
  table.head->address = strdup("other");
  std::free(table.head->comment);
  table.head->comment = nullptr;
  Clear_RT(&table);
}

TEST_F(Contract822, ParsingBesideRepeatedStartAndStop) {
  InitQOBDll_NOMQ("again");
  EXPECT_EQ(List("a@b", 1), "a@b|a|b||\n");
  Terminate822Parser();
  Terminate822Parser();
  Init822Parser();
  EXPECT_EQ(List("a@b", 1), "a@b|a|b||\n");
}

}  // namespace
}  // namespace qob::testing
