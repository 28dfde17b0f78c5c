// The exported date calls: pointers, ownership, exhausted memory.
#include <qob3xapi/dates.h>

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/failing_allocator.h"

namespace qob {
namespace {

TEST(DatesApi, GivesANewRecord) {
  UtcDate* date = nullptr;
  ASSERT_EQ(rfc2UTC("Sun, 15 Nov 2026 02:24:05 -0800", &date), 1);
  ASSERT_NE(date, nullptr);
  EXPECT_EQ(date->year, 2026);
  EXPECT_EQ(date->reserved, 0);
  char text[40];
  EXPECT_EQ(UTC2rfc(date, text), 1);
  EXPECT_STREQ(text, "Sun, 15 Nov 2026 02:24:05 -0800");
  std::free(date);
}

TEST(DatesApi, SetsTheResultToNullOnFailure) {
  UtcDate other{};
  for (const char* text : {static_cast<const char*>(nullptr), "", "15 NOV 2026"}) {
    UtcDate* date = &other;
    EXPECT_EQ(rfc2UTC(text, &date), 0);
    EXPECT_EQ(date, nullptr);
    date = &other;
    EXPECT_EQ(ctime2UTC(text, &date), 0);
    EXPECT_EQ(date, nullptr);
  }
}

TEST(DatesApi, TakesNullPointers) {
  EXPECT_EQ(rfc2UTC("15 Nov 2026", nullptr), 0);
  EXPECT_EQ(ctime2UTC("Sun Nov 15 02:24:05 2026", nullptr), 0);
  char text[40] = "left over";
  EXPECT_EQ(UTC2rfc(nullptr, text), 0);
  EXPECT_STREQ(text, "");
  UtcDate date = {99, 1, 1, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(UTC2rfc(&date, nullptr), 0);
  EXPECT_EQ(date.year, 99);
}

TEST(DatesApi, WritesBackTheNormalisedYear) {
  UtcDate date = {99, 1, 1, 0, 0, 0, 0, 0, 0};
  char text[40];
  EXPECT_EQ(UTC2rfc(&date, text), 1);
  EXPECT_EQ(date.year, 1999);
}

TEST(DatesApi, FailsQuietlyWithoutMemory) {
  for (auto* read : {&rfc2UTC, &ctime2UTC}) {
    int32_t result = 0;
    UtcDate* date = nullptr;
    const char* text = read == &rfc2UTC ? "15 Nov 2026" : "Sun Nov 15 02:24:05 2026";
    testing::FailEachAllocation([&] { result = read(text, &date); },
                                [&](bool triggered) {
                                  EXPECT_EQ(result, triggered ? 0 : 1);
                                  EXPECT_EQ(date == nullptr, triggered);
                                  std::free(date);
                                  date = nullptr;
                                });
  }
}

}  // namespace
}  // namespace qob
