// The frame through the shared library, from C.
#include <gtest/gtest.h>

#include "support/temp_spool.h"

extern "C" {
int CStartsAndStops(const char* temporary_directory);
int CReadsAndWritesSettings(void);
int CAsksForTexts(void);
}

namespace qob::testing {
namespace {

TEST(FrameContract, FromC) {
  TempSpool spool;
  EXPECT_EQ(CStartsAndStops(spool.temp().c_str()), 0);
  EXPECT_EQ(CReadsAndWritesSettings(), 0);
  EXPECT_EQ(CAsksForTexts(), 0);
}

}  // namespace
}  // namespace qob::testing
