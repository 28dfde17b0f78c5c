// The profile layer: values, numbers, modes, fresh reads.
#include "frame/config.h"

#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>

#include "support/failing_allocator.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

class Profile : public ::testing::Test {
 protected:
  int Number(const std::string& value, int fallback = 77) {
    spool_.SetWholeIni("[S]\nK=" + value + "\n");
    return QOBGetPrivateProfileInt("S", "K", fallback, "twmta.ini");
  }
  std::string Text(const char* section, const char* key, const char* fallback,
                   std::uint32_t size = 100) {
    std::string buffer(size, '?');
    const std::uint32_t length =
        QOBGetPrivateProfileString(section, key, fallback, buffer.data(), size, "twmta.ini");
    EXPECT_EQ(std::strlen(buffer.c_str()), length);
    return buffer.c_str();
  }

  TempSpool spool_;
};

TEST_F(Profile, NumbersAreTheValuesLeadingDigits) {
  EXPECT_EQ(Number("42"), 42);
  EXPECT_EQ(Number(" 12abc"), 12);
  EXPECT_EQ(Number("\" 12abc\""), 12);
  EXPECT_EQ(Number("-17"), -17);
  EXPECT_EQ(Number("+17"), 17);
  EXPECT_EQ(Number("- 17"), 0);
  EXPECT_EQ(Number("TRUE"), 0);
  EXPECT_EQ(Number("YES"), 0);
  EXPECT_EQ(Number("0x10"), 0);
  EXPECT_EQ(Number(""), 0);
}

TEST_F(Profile, NumbersStopAtTheEndsOfTheirRange) {
  EXPECT_EQ(Number("2147483647"), INT_MAX);
  EXPECT_EQ(Number("2147483648"), INT_MAX);
  EXPECT_EQ(Number("99999999999999999999999999"), INT_MAX);
  EXPECT_EQ(Number("-2147483648"), INT_MIN);
  EXPECT_EQ(Number("-2147483649"), INT_MIN);
  EXPECT_EQ(Number("-99999999999999999999999999"), INT_MIN);
}

TEST_F(Profile, OnlySixtyThreeCharactersOfANumberAreLookedAt) {
  EXPECT_EQ(Number(std::string(62, '0') + "98"), 9);
}

TEST_F(Profile, AMissingNumberGivesTheDefaultEvenANegativeOne) {
  spool_.SetWholeIni("");
  for (const int fallback : {0, 5, -5, INT_MAX, INT_MIN}) {
    EXPECT_EQ(QOBGetPrivateProfileInt("S", "K", fallback, "twmta.ini"), fallback);
    EXPECT_EQ(QOBGetPrivateProfileInt("S", "K", fallback, "no-such.ini"), fallback);
  }
}

TEST_F(Profile, TextsComeFromFileOrDefault) {
  spool_.SetWholeIni("[S]\nK = some value \nEmpty=\n");
  EXPECT_EQ(Text("s", "k", "d"), "some value");
  EXPECT_EQ(Text("S", "Empty", "d"), "");
  EXPECT_EQ(Text("S", "Missing", "d"), "d");
  EXPECT_EQ(Text("S", "K", "d", 5), "some");
  EXPECT_EQ(Text("S", "Missing", "default", 5), "defa");
  EXPECT_EQ(Text("S", "Missing", nullptr), "");
  char untouched = '?';
  EXPECT_EQ(QOBGetPrivateProfileString("S", "K", "d", &untouched, 0, "twmta.ini"), 0U);
  EXPECT_EQ(untouched, '?');
  EXPECT_EQ(QOBGetPrivateProfileString("S", "K", "d", nullptr, 10, "twmta.ini"), 0U);
}

TEST_F(Profile, NullKeyAndSectionListNames) {
  spool_.SetWholeIni("[A]\nx=1\ny=2\n[B]\n");
  char list[32];
  EXPECT_EQ(QOBGetPrivateProfileString(nullptr, nullptr, "", list, sizeof list, "twmta.ini"), 4U);
  EXPECT_EQ(std::string(list, 5), std::string("A\0B\0\0", 5));
  EXPECT_EQ(QOBGetPrivateProfileString("A", nullptr, "", list, sizeof list, "twmta.ini"), 4U);
  EXPECT_EQ(std::string(list, 5), std::string("x\0y\0\0", 5));
}

TEST_F(Profile, BothModesReadAndWriteTheFile) {
  spool_.SetWholeIni("[S]\nK=1\n");
  UseConfigAPI();
  EXPECT_EQ(Text("S", "K", ""), "1");
  EXPECT_NE(QOBWritePrivateProfileString("S", "K", "2", "twmta.ini"), 0);
  UseINI();
  EXPECT_EQ(Text("S", "K", ""), "2");
  EXPECT_NE(QOBWritePrivateProfileString("S", "K", nullptr, "twmta.ini"), 0);
  EXPECT_EQ(Text("S", "K", "gone"), "gone");
  EXPECT_EQ(QOBWritePrivateProfileString(nullptr, "K", "2", "twmta.ini"), 0);
  EXPECT_EQ(QOBWritePrivateProfileString("S", "K", "2", nullptr), 0);
  EXPECT_EQ(QOBWritePrivateProfileString("S", "K", "a\nb", "twmta.ini"), 0);
}

TEST_F(Profile, AnyOtherModeGivesNothing) {
  spool_.SetWholeIni("[S]\nK=1\n");
  SetProfileMode(2);
  char buffer[8] = "?";
  EXPECT_EQ(QOBGetPrivateProfileString("S", "K", "d", buffer, sizeof buffer, "twmta.ini"), 0U);
  EXPECT_STREQ(buffer, "?");
  EXPECT_EQ(QOBGetPrivateProfileInt("S", "K", 9, "twmta.ini"), 0);
  EXPECT_EQ(QOBWritePrivateProfileString("S", "K", "2", "twmta.ini"), 0);
  UseINI();
  EXPECT_EQ(Text("S", "K", ""), "1");
}

TEST_F(Profile, EveryRewriteIsSeenAtOnce) {
  for (int i = 0; i < 1000; ++i) {
    const std::string value = i % 2 == 0 ? "aaa" : "bbb";
    spool_.SetWholeIni("[S]\nK=" + value + "\n");
    ASSERT_EQ(Text("S", "K", ""), value) << i;
  }
}

TEST_F(Profile, SettingsOfTheLibraryComeFromItsFile) {
  spool_.SetWholeIni("[S]\nK=Yes\nN=-3\nLong=0123456789abcdef\n");
  EXPECT_EQ(ConfigText("S", "Long", "", 10), "012345678");
  EXPECT_EQ(ConfigText("S", "Missing", "fallback", 5), "fall");
  EXPECT_TRUE(ConfigIs("S", "K", "NO", 10, "YES"));
  EXPECT_FALSE(ConfigIs("S", "K", "NO", 10, "YE"));
  EXPECT_FALSE(ConfigIs("S", "K", "NO", 3, "YES"));
  EXPECT_TRUE(ConfigIs("S", "Missing", "yes", 10, "YES"));
  EXPECT_EQ(ConfigInt("S", "N", 5), -3);
  EXPECT_EQ(ConfigInt("S", "Missing", 5), 5);
}

// Reading settings never fails: what memory cannot hold is taken as not set.
TEST_F(Profile, WithoutMemoryTheDefaultIsTheValue) {
  spool_.SetWholeIni("[S]\nK=value\n");
  char buffer[16];
  std::uint32_t length = 0;
  FailEachAllocation(
      [&] {
        length = QOBGetPrivateProfileString("S", "K", "def  ", buffer, sizeof buffer, "twmta.ini");
      },
      [&](bool failed) {
        EXPECT_EQ(std::strlen(buffer), length);
        EXPECT_TRUE(std::string(buffer) == "value" || (failed && std::string(buffer) == "def"))
            << buffer;
      });
  FailAllocations fail(1, Failing::kFromThenOn);
  EXPECT_GE(QOBWritePrivateProfileString("S", "K", "x", "twmta.ini"), 0);
}

TEST(LeadingNumber, SkipsWhiteSpaceOfAnyKind) {
  EXPECT_EQ(LeadingNumber(" \t\r\n\v\f7"), 7);
  EXPECT_EQ(LeadingNumber("+"), 0);
  EXPECT_EQ(LeadingNumber("--1"), 0);
  EXPECT_EQ(LeadingNumber("\xB9"), 0);
}

TEST(Directories, AreEmptyBeforeStart) {
  EXPECT_STREQ(GetQueueDir(), "");
  EXPECT_STREQ(GetTempDir(), "");
  EXPECT_STREQ(GetInstallDir(), "");
  EXPECT_STREQ(ClientName(), "");
}

}  // namespace
}  // namespace qob::testing
