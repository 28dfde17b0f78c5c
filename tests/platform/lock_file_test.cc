// Lock files: the making is the test.
#include "platform/spool/lock_file.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::spool {
namespace {

using testing::TempSpool;

TEST(LockFile, IsTakenOnceAndFreeAfterItsRemoval) {
  const TempSpool spool;
  const std::string path = spool.queue() + "\\0000001A.lck";
  EXPECT_TRUE(MakeLockFile(path));
  EXPECT_FALSE(MakeLockFile(path));
  EXPECT_FALSE(testing::InChild([&] { return MakeLockFile(path) ? 1 : 0; }));
  struct stat status {};
  ASSERT_EQ(stat((spool.queue() + "/0000001A.lck").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_TRUE(RemoveLockFile(path));
  EXPECT_FALSE(RemoveLockFile(path));
  EXPECT_TRUE(MakeLockFile(path));
}

TEST(LockFile, IsNotTakenWhereNoFileCanBeMade) {
  const TempSpool spool;
  EXPECT_FALSE(MakeLockFile(""));
  EXPECT_FALSE(MakeLockFile(spool.path("none\\x.lck")));
  const testing::FailCalls full(os::Call::kOpen, 1, testing::Failing::kOnce, ENOSPC);
  EXPECT_FALSE(MakeLockFile(spool.path("x.lck")));
}

TEST(LockFile, GoesToExactlyOneOfTwoProcesses) {
  const TempSpool spool;
  constexpr int kLocks = 2000;
  const std::vector<int> results = testing::InChildren(2, [&](int process) {
    std::string taken;
    for (int i = 0; i < kLocks; ++i) {
      taken += MakeLockFile(spool.queue() + "\\" + std::to_string(i) + ".lck") ? '1' : '0';
    }
    spool.File("taken" + std::to_string(process), taken);
    return 0;
  });
  ASSERT_EQ(results, (std::vector<int>{0, 0}));
  const std::string first = TempSpool::Read(spool.path("taken0"));
  const std::string second = TempSpool::Read(spool.path("taken1"));
  ASSERT_EQ(first.size(), static_cast<std::size_t>(kLocks));
  ASSERT_EQ(second.size(), static_cast<std::size_t>(kLocks));
  for (std::size_t i = 0; i < kLocks; ++i) ASSERT_NE(first[i], second[i]) << i;
}

}  // namespace
}  // namespace qob::spool
