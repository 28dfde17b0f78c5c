// The date calls from C, through the shared library.
#include <gtest/gtest.h>

#include <cstdint>

extern "C" {
int DateRoundTrip(const char* text, char* written);
int DateFromCtime(const char* text, std::int32_t* year, std::int32_t* flags);
int DateRecordIsNineWords(void);
}

namespace {

TEST(DatesContract, ReadsAndWritesFromC) {
  char text[40];
  EXPECT_EQ(DateRoundTrip("Sun, 15 Nov 2026 02:24:05 -0800", text), 1);
  EXPECT_STREQ(text, "Sun, 15 Nov 2026 02:24:05 -0800");
  EXPECT_EQ(DateRoundTrip("29 Feb 2001", text), -1);
}

TEST(DatesContract, ReadsCtimeFromC) {
  std::int32_t year = 0;
  std::int32_t flags = 0;
  EXPECT_EQ(DateFromCtime("Sun Nov 15 02:24:05 2026\n", &year, &flags), 1);
  EXPECT_EQ(year, 2026);
  EXPECT_EQ(flags, 3);
  EXPECT_EQ(DateFromCtime("Sun Nov 15 02:24:05\n", &year, &flags), 0);
}

TEST(DatesContract, KeepsTheRecordsLayout) { EXPECT_EQ(DateRecordIsNineWords(), 1); }

}  // namespace
