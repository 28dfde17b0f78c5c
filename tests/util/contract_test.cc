// The utilities through the shared library, from C and from C++.
#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>

#include "support/temp_spool.h"

extern "C" {
int CBuildsAChain(void);
int CCleansText(void);
int CDecodesIntoATemporaryFile(const char* path);
}

namespace qob::testing {
namespace {

TEST(UtilContract, FromC) {
  TempSpool spool;
  ASSERT_EQ(InitQOBDll_NOMQ("contract"), 1);
  EXPECT_EQ(CBuildsAChain(), 0);
  EXPECT_EQ(CCleansText(), 0);
  EXPECT_EQ(CDecodesIntoATemporaryFile(spool.File("in", "begin 644 cat\n#0V%T\n`\nend\n").c_str()),
            0);
  EXPECT_EQ(GetUniqueId(), 0);
  EXPECT_EQ(GetUniqueId(), 1);
  TerminateQOBDll();
}

}  // namespace
}  // namespace qob::testing
