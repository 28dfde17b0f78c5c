// Locks on bytes belong to the process: not to its children, and not longer than it lives.
#include "platform/os/byte_locks.h"

#include <signal.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using os::ByteLocks;
using os::Hold;

class ByteLocksTest : public ::testing::Test {
 protected:
  std::string Path() const { return spool_.path("locked"); }
  std::unique_ptr<ByteLocks> Open() const { return ByteLocks::Open(Path()).value; }
  // What another process is told.
  int Elsewhere(std::int64_t byte, Hold hold) const {
    return InChild([&] {
      const auto locks = Open();
      return locks == nullptr ? 200 : locks->Take(byte, hold);
    });
  }

  TempSpool spool_;
  std::string file_ = spool_.File("locked", "0123456789");
};

TEST_F(ByteLocksTest, OneAloneExcludesEverybody) {
  const auto locks = Open();
  ASSERT_EQ(locks->Take(3, Hold::kAlone), 0);
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), os::kSharingViolation);
  EXPECT_EQ(Elsewhere(3, Hold::kShared), os::kSharingViolation);
  EXPECT_EQ(Elsewhere(4, Hold::kAlone), 0) << "bytes are locked one by one";
  locks->GiveUp(3);
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), 0);
}

TEST_F(ByteLocksTest, ThoseWhoShareExcludeOneWhoWantsItAlone) {
  const auto locks = Open();
  ASSERT_EQ(locks->Take(3, Hold::kShared), 0);
  EXPECT_EQ(Elsewhere(3, Hold::kShared), 0);
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), os::kSharingViolation);
}

TEST_F(ByteLocksTest, EndWithTheirProcessThoughItsChildLivesOn) {
  int told[2];
  ASSERT_EQ(pipe(told), 0);
  const pid_t holder = Spawn([&] {
    const auto locks = Open();
    if (locks == nullptr || locks->Take(3, Hold::kAlone) != 0) return 1;
    const pid_t child = fork();
    if (child == 0) {
      pause();
      _exit(0);
    }
    if (write(told[1], &child, sizeof child) != sizeof child) return 2;
    pause();
    return 0;
  });
  pid_t grandchild = 0;
  ASSERT_EQ(read(told[0], &grandchild, sizeof grandchild), static_cast<ssize_t>(sizeof grandchild));
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), os::kSharingViolation);
  kill(holder, SIGKILL);
  Wait(holder);
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), 0);
  kill(grandchild, SIGKILL);
  close(told[0]);
  close(told[1]);
}

TEST_F(ByteLocksTest, AChildThatLetsItsParentsGoLeavesThem) {
  auto locks = Open();
  ASSERT_EQ(locks->Take(3, Hold::kAlone), 0);
  EXPECT_EQ(InChild([&] {
              locks.reset();
              return 0;
            }),
            0);
  EXPECT_EQ(Elsewhere(3, Hold::kAlone), os::kSharingViolation);
}

TEST_F(ByteLocksTest, AChildKeepsItsOwnWhenItLetsItsParentsGo) {
  auto locks = Open();
  EXPECT_EQ(InChild([&] {
              const auto own = Open();
              if (own->Take(3, Hold::kAlone) != 0) return 1;
              locks.reset();
              return Elsewhere(3, Hold::kAlone) == os::kSharingViolation ? 0 : 2;
            }),
            0);
}

TEST_F(ByteLocksTest, ReadTheFile) {
  const auto locks = Open();
  char bytes[16] = "";
  const auto got = locks->Read(bytes, sizeof bytes);
  EXPECT_EQ(std::string(bytes, got.value), "0123456789");
  EXPECT_TRUE(locks->may_be_alone());
  EXPECT_EQ(locks->file().size, 10);
}

TEST_F(ByteLocksTest, NeedARegularFileThatStands) {
  EXPECT_EQ(ByteLocks::Open(spool_.path("none")).error, ENOENT);
  EXPECT_EQ(ByteLocks::Open(spool_.root()).error, EISDIR);
  std::filesystem::create_symlink(Path(), spool_.path("link"));
  EXPECT_EQ(ByteLocks::Open(spool_.path("link")).error, ELOOP);
  EXPECT_EQ(ByteLocks::Open("").error, ENOENT);
}

TEST_F(ByteLocksTest, WhereTheFileMayOnlyBeReadTheyAreShared) {
  if (geteuid() != 0) GTEST_SKIP() << "needs two users";
  std::filesystem::permissions(spool_.root(), std::filesystem::perms::all);
  std::filesystem::permissions(
      Path(), std::filesystem::perms::owner_all | std::filesystem::perms::others_read);
  const int result = WithoutPrivileges([&] {
    const auto locks = Open();
    if (locks == nullptr || locks->may_be_alone()) return 1;
    if (locks->Take(3, Hold::kAlone) == 0) return 2;
    return locks->Take(3, Hold::kShared);
  });
  if (result == kNotPossible) GTEST_SKIP() << "root cannot be given up";
  EXPECT_EQ(result, 0);
}

TEST_F(ByteLocksTest, SayWhichSystemCallFailed) {
  for (const os::Call call : {os::Call::kOpen, os::Call::kStat}) {
    const FailCalls fail(call, 1, Failing::kFromThenOn, EMFILE);
    EXPECT_EQ(ByteLocks::Open(Path()).error, EMFILE);
  }
  const auto locks = Open();
  const FailCalls fail(os::Call::kLock, 1, Failing::kOnce, ENOLCK);
  EXPECT_EQ(locks->Take(3, Hold::kAlone), ENOLCK);
  EXPECT_EQ(locks->Take(3, Hold::kAlone), 0);
}

}  // namespace
}  // namespace qob::testing
