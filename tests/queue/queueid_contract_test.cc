// The queue's calls as the shared libraries export them.
#include <filesystem>

#include <gtest/gtest.h>
#include <qob3xapi/queueid.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

extern "C" {
int CPutsAMessage(const char* queue, MesgHandle* db);
int CFindsIt(const char* queue, MesgHandle* db);
int CMovesItAndBack(const char* queue, const char* other, MesgHandle* db);
int CTellsWhy(const char* queue, MesgHandle* db);
int CDeletesIt(const char* queue, MesgHandle* db);
int CTakesNullPointers(const char* queue, MesgHandle* db);
}

namespace {

TEST(QueueContract, AMessageGoesItsWay) {
  const qob::testing::TempSpool spool;
  const qob::testing::CapturedLog log;
  const std::string other = spool.path("later");
  std::filesystem::create_directory(other);
  ASSERT_EQ(InitQOBDll("contract"), 1);
  MesgHandle db{};
  ASSERT_EQ(OpenMesgFile(nullptr, &db), 0);
  const char* queue = GetQueueDir();
  EXPECT_EQ(CPutsAMessage(queue, &db), 0);
  EXPECT_EQ(CFindsIt(queue, &db), 0);
  EXPECT_EQ(CMovesItAndBack(queue, other.c_str(), &db), 0);
  // The lock of the path it moved from is still the mover's.
  EXPECT_EQ(UnlockAllMessage(queue), 0);
  EXPECT_EQ(CTellsWhy(queue, &db), 0);
  EXPECT_EQ(CDeletesIt(queue, &db), 0);
  EXPECT_EQ(CTakesNullPointers(queue, &db), 0);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"RemoveMQQID failed."});
  EXPECT_EQ(CloseMesgFile(&db), 0);
  TerminateQOBDll();
}

}  // namespace
