// Which messages a filter lets through.
#include "queue/scan_filter.h"

#include <limits>

#include <gtest/gtest.h>

namespace qob {
namespace {

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();

struct SizeCase {
  std::int32_t minimum;
  std::int32_t maximum;
  std::int64_t size;
  bool fits;
};

TEST(ScanFilter, BothBoundsBelongToTheRange) {
  const SizeCase cases[] = {
      {1000, 0, 999, false},     {1000, 0, 1000, true},    {1000, 2000, 2000, true},
      {1000, 2000, 2001, false}, {1000, 1000, 1000, true}, {0, 1, 0, true},
      {0, 1, 1, true},           {0, 1, 2, false},         {5, 4, 5, false},
      {5, 4, 4, false},
  };
  for (const SizeCase& c : cases) {
    EXPECT_EQ(SizeFits({c.minimum, c.maximum, 0}, c.size), c.fits)
        << c.minimum << " " << c.maximum << " " << c.size;
  }
}

TEST(ScanFilter, AMaximumBelowOneIsNone) {
  for (const std::int32_t maximum : {0, -1, kSmallest}) {
    EXPECT_TRUE(SizeFits({0, maximum, 0}, 0));
    EXPECT_TRUE(SizeFits({0, maximum, 0}, std::int64_t{1} << 40));
    EXPECT_FALSE(SizeFits({10, maximum, 0}, 9));
  }
}

TEST(ScanFilter, ANegativeMinimumLetsEverythingThrough) {
  EXPECT_TRUE(SizeFits({-1, 0, 0}, 0));
  EXPECT_TRUE(SizeFits({kSmallest, 0, 0}, 0));
  EXPECT_FALSE(SizeFits({kSmallest, 5, 0}, 6));
}

TEST(ScanFilter, SizesBeyondTwoGigabytesAreCompared) {
  EXPECT_TRUE(SizeFits({kLargest, 0, 0}, std::int64_t{1} << 32));
  EXPECT_FALSE(SizeFits({0, kLargest, 0}, std::int64_t{1} << 32));
  EXPECT_FALSE(SizeFits({0, 100, 0}, (std::int64_t{1} << 32) + 50));
}

TEST(ScanFilter, AStateTextIsPassedOverUnlessAllAreTaken) {
  EXPECT_TRUE(StateFits({0, 0, 0}, ""));
  EXPECT_FALSE(StateFits({0, 0, 0}, "HELD"));
  for (const std::int32_t all : {1, -1, kLargest}) {
    EXPECT_TRUE(StateFits({0, 0, all}, ""));
    EXPECT_TRUE(StateFits({0, 0, all}, "HELD"));
  }
}

}  // namespace
}  // namespace qob
