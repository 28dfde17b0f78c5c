// The message database from C, through the shared libraries.
#include <gtest/gtest.h>

#include "support/temp_spool.h"

extern "C" {
int CKeepsRecords(const char* directory);
int CCallsTheRecordManager(const char* path);
}

namespace {

using qob::testing::TempSpool;

TEST(MesgdbContract, KeepsRecordsForC) {
  const TempSpool spool;
  EXPECT_EQ(CKeepsRecords(spool.queue().c_str()), 0) << "the line of mesgdb_contract.c";
}

TEST(MesgdbContract, BtrcallServesC) {
  const TempSpool spool;
  EXPECT_EQ(CCallsTheRecordManager(spool.path("small.btr").c_str()), 0)
      << "the line of mesgdb_contract.c";
}

}  // namespace
