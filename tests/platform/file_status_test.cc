// What stands under a name, directories looked at by bare name, and what the file system can do.
#include "platform/os/file_status.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/file.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::TempSpool;

TEST(StatusOf, TellsOfAFile) {
  const TempSpool spool;
  const std::string path = spool.File("a.msg", "12345");
  chmod(path.c_str(), 0604);
  const timespec times[2] = {{1000000000, 0}, {1234567890, 999}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct stat there {};
  ASSERT_EQ(stat(path.c_str(), &there), 0);
  const Result<FileStatus> status = StatusOf(spool.path("\\a.msg"));
  ASSERT_EQ(status.error, 0);
  EXPECT_EQ(status.value.kind, FileKind::kFile);
  EXPECT_EQ(status.value.size, 5);
  EXPECT_EQ(status.value.modified, 1234567890);
  EXPECT_EQ(status.value.owner, geteuid());
  EXPECT_EQ(status.value.mode, 0604u);
  EXPECT_EQ(status.value.device, there.st_dev);
  EXPECT_EQ(status.value.inode, there.st_ino);
}

TEST(StatusOf, TellsKindsApartAndFollowsNoLink) {
  const TempSpool spool;
  std::filesystem::create_symlink(spool.File("target", "x"), spool.path("link"));
  std::filesystem::create_symlink(spool.path("none"), spool.path("dangling"));
  ASSERT_EQ(mkfifo(spool.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(StatusOf(spool.path("link")).value.kind, FileKind::kLink);
  EXPECT_EQ(StatusOf(spool.path("dangling")).value.kind, FileKind::kLink);
  EXPECT_EQ(StatusOf(spool.path("pipe")).value.kind, FileKind::kOther);
  EXPECT_EQ(StatusOf(spool.queue()).value.kind, FileKind::kDirectory);
}

TEST(StatusOf, GivesTheErrorOfWhatIsNotThere) {
  const TempSpool spool;
  EXPECT_EQ(StatusOf(spool.path("none")).error, ENOENT);
  EXPECT_EQ(StatusOf("").error, ENOENT);
  EXPECT_EQ(StatusOf(std::string(5000, 'x')).error, ENAMETOOLONG);
  const testing::FailCalls fail(Call::kStat, 1, testing::Failing::kOnce, EIO);
  EXPECT_EQ(StatusOf(spool.queue()).error, EIO);
}

// A record lock of this process is lost when any descriptor of the file is closed here.
TEST(StatusOf, KeepsTheRecordLocksOfThisProcess) {
  const TempSpool spool;
  const std::string path = spool.File("store", "x");
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_SETLK, &lock), 0);
  EXPECT_EQ(StatusOf(path).error, 0);
  EXPECT_EQ(DirectoryView::Open(spool.root()).value.Status("store").error, 0);
  const int other = testing::InChild([&] {
    const int own = open(path.c_str(), O_RDWR | O_CLOEXEC);
    return fcntl(own, F_SETLK, &lock) == 0 ? 0 : 1;
  });
  EXPECT_EQ(other, 1);
  close(fd);
}

TEST(OwnerName, IsTheNameOrTheNumber) {
  EXPECT_EQ(OwnerName(0), "root");
  EXPECT_EQ(OwnerName(3999999999u), "3999999999");
}

TEST(DirectoryView, SeesEntriesByBareName) {
  const TempSpool spool;
  spool.File("queue/a", "123");
  const Result<DirectoryView> view = DirectoryView::Open(spool.queue());
  ASSERT_EQ(view.error, 0);
  EXPECT_EQ(view.value.Status("a").value.size, 3);
  EXPECT_EQ(view.value.Status("b").error, ENOENT);
  EXPECT_EQ(view.value.Status("").error, ENOENT);
  EXPECT_EQ(view.value.Status("../queue/a").error, EINVAL);
  EXPECT_EQ(view.value.Status("/etc/passwd").error, EINVAL);
}

TEST(DirectoryView, StaysWithItsDirectoryWhenThatIsRenamed) {
  const TempSpool spool;
  spool.File("queue/a", "123");
  const Result<DirectoryView> view = DirectoryView::Open(spool.queue());
  std::filesystem::rename(spool.queue(), spool.path("moved"));
  EXPECT_EQ(view.value.Status("a").value.size, 3);
}

TEST(DirectoryView, WalksOverEveryNameFromTheStartEachTime) {
  const TempSpool spool;
  std::set<std::string> made;
  for (int i = 0; i < 10000; ++i) {
    std::string name = std::to_string(i) + ".msg";
    spool.File("queue/" + name, std::string(static_cast<std::size_t>(i % 7), 'x'));
    made.insert(std::move(name));
  }
  const Result<DirectoryView> view = DirectoryView::Open(spool.queue());
  for (int round = 0; round < 2; ++round) {
    std::set<std::string> seen;
    std::int64_t bytes = 0;
    ASSERT_EQ(view.value.ForEachName([&](const char* name) {
      seen.insert(name);
      bytes += view.value.Status(name).value.size;
      return true;
    }),
              0);
    EXPECT_EQ(seen, made);
    EXPECT_EQ(bytes, 29994);  // 1428 times 0+1+..+6, and 0+1+2+3 of the last four
  }
}

TEST(DirectoryView, StopsWhenTold) {
  const TempSpool spool;
  spool.File("queue/a", "");
  spool.File("queue/b", "");
  int seen = 0;
  EXPECT_EQ(DirectoryView::Open(spool.queue()).value.ForEachName([&](const char*) {
    ++seen;
    return false;
  }),
            0);
  EXPECT_EQ(seen, 1);
}

TEST(DirectoryView, OfNothingGivesErrors) {
  const TempSpool spool;
  EXPECT_EQ(DirectoryView::Open(spool.path("none")).error, ENOENT);
  EXPECT_EQ(DirectoryView::Open(spool.File("file", "")).error, ENOTDIR);
  const DirectoryView none;
  EXPECT_EQ(none.Status("a").error, EBADF);
  EXPECT_EQ(none.ForEachName([](const char*) { return true; }), EBADF);
}

TEST(DirectoryView, MovesItsHandle) {
  const TempSpool spool;
  DirectoryView first = std::move(DirectoryView::Open(spool.queue()).value);
  DirectoryView second(std::move(first));
  EXPECT_EQ(second.Status(".").error, 0);
  first = std::move(second);
  EXPECT_EQ(first.Status(".").error, 0);
  EXPECT_EQ(second.Status(".").error, EBADF);  // NOLINT: moved from on purpose
}

TEST(DirectoryView, ReportsEveryFailedCall) {
  const TempSpool spool;
  spool.File("queue/a", "");
  for (Call call : {Call::kOpen, Call::kList, Call::kStat}) {
    bool failed = false;
    testing::FailEachCall(
        call,
        [&] {
          const Result<DirectoryView> view = DirectoryView::Open(spool.queue());
          failed = view.error == EIO;
          if (failed) return;
          failed = view.value.Status("a").error == EIO;
          if (view.value.ForEachName([](const char*) { return true; }) == EIO) failed = true;
        },
        [&](bool triggered) { EXPECT_EQ(failed, triggered); });
  }
}

TEST(BootTime, IsWhatTheClocksSayToo) {
  timespec now{};
  timespec running{};
  clock_gettime(CLOCK_REALTIME, &now);
  clock_gettime(CLOCK_BOOTTIME, &running);
  EXPECT_NEAR(static_cast<double>(BootTime()), static_cast<double>(now.tv_sec - running.tv_sec),
              3.0);
  const testing::FailCalls fail(Call::kOpen, 1, testing::Failing::kFromThenOn);
  EXPECT_NEAR(static_cast<double>(BootTime()), static_cast<double>(now.tv_sec - running.tv_sec),
              3.0);
}

TEST(BootId, IsTheKernels) {
  std::ifstream in("/proc/sys/kernel/random/boot_id");
  std::string id;
  std::getline(in, id);
  EXPECT_EQ(BootId(), id);
  EXPECT_EQ(BootId().size(), 36u);
  const testing::FailCalls fail(Call::kRead, 1, testing::Failing::kOnce);
  EXPECT_EQ(BootId(), "");
}

TEST(FileSystem, IsNamed) {
  // /proc and /dev/shm are what they are on every Linux machine.
  EXPECT_EQ(FileSystemName("/proc"), "0x00009fa0");
  EXPECT_EQ(FileSystemName("/none/at/all"), "");
  if (std::filesystem::exists("/dev/shm")) {
    EXPECT_EQ(FileSystemName("/dev/shm"), "tmpfs");
    EXPECT_TRUE(IsVolatileFileSystem("/dev/shm"));
  }
  EXPECT_FALSE(IsVolatileFileSystem("/proc"));
  EXPECT_FALSE(IsVolatileFileSystem("/none/at/all"));
}

std::size_t Names(const std::string& directory) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory)) {
    ++count;
  }
  return count;
}

TEST(TryLocks, WorksHereAndLeavesNothing) {
  const TempSpool spool;
  EXPECT_EQ(TryLocks(spool.queue()), 0);
  EXPECT_EQ(Names(spool.queue()), 0u);
}

TEST(TryLocks, ReportsWhatFailsAndLeavesNothing) {
  const TempSpool spool;
  EXPECT_EQ(TryLocks(spool.path("none")), ENOENT);
  for (Call call : {Call::kOpen, Call::kLock}) {
    int result = 0;
    testing::FailEachCall(
        call, [&] { result = TryLocks(spool.queue()); },
        [&](bool triggered) {
          EXPECT_EQ(result, triggered ? ENOLCK : 0);
          EXPECT_EQ(Names(spool.queue()), 0u);
        },
        ENOLCK);
  }
}

TEST(LinkFile, GivesASecondNameAndLeavesWhatStands) {
  const TempSpool spool;
  const std::string from = spool.File("a", "bytes");
  EXPECT_EQ(LinkFile(from, spool.path("\\b")), 0);
  EXPECT_EQ(TempSpool::Read(spool.path("b")), "bytes");
  EXPECT_EQ(StatusOf(from).value.inode, StatusOf(spool.path("b")).value.inode);
  const std::string other = spool.File("c", "other");
  EXPECT_EQ(LinkFile(from, other), kExists);
  EXPECT_EQ(TempSpool::Read(other), "other");
  EXPECT_EQ(LinkFile(spool.path("none"), spool.path("d")), ENOENT);
  EXPECT_EQ(LinkFile("", spool.path("d")), ENOENT);
  EXPECT_EQ(LinkFile(from, ""), ENOENT);
}

TEST(Flush, ReachesFilesAndDirectories) {
  const TempSpool spool;
  EXPECT_EQ(FlushPath(spool.File("a", "x")), 0);
  EXPECT_EQ(FlushDirectory(spool.queue()), 0);
  EXPECT_EQ(FlushPath(spool.path("none")), ENOENT);
  EXPECT_EQ(FlushDirectory(spool.path("none")), ENOENT);
  EXPECT_EQ(FlushDirectory(spool.path("a")), ENOTDIR);
}

TEST(Flush, AFailureIsReportedAtOnce) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  for (int error : {EIO, ENOSPC, EDQUOT}) {
    {
      // Were it tried again, the second try would succeed.
      const testing::FailCalls fail(Call::kFlush, 1, testing::Failing::kOnce, error);
      EXPECT_EQ(FlushPath(file), error);
    }
    const testing::FailCalls fail(Call::kFlush, 1, testing::Failing::kOnce, error);
    EXPECT_EQ(FlushDirectory(spool.queue()), error);
  }
}

TEST(Flush, ADirectoryThatCannotBeFlushedIsNoFailure) {
  const TempSpool spool;
  const testing::FailCalls fail(Call::kFlush, 1, testing::Failing::kOnce, EINVAL);
  EXPECT_EQ(FlushDirectory(spool.queue()), 0);
}

std::string SomeGroup() {
  const group* entry = getgrgid(geteuid() == 0 ? 65534 : getegid());
  return entry == nullptr ? "" : entry->gr_name;
}

TEST(ShareWithGroup, OpensFilesAndDirectoriesToTheGroup) {
  const TempSpool spool;
  const std::string name = SomeGroup();
  if (name.empty()) GTEST_SKIP() << "no group to give files to";
  const std::string file = spool.File("a", "x");
  chmod(file.c_str(), 0666);
  ASSERT_EQ(ShareWithGroup(file, name), 0);
  ASSERT_EQ(ShareWithGroup(spool.queue(), name), 0);
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(status.st_gid, getgrnam(name.c_str())->gr_gid);
  EXPECT_EQ(status.st_uid, geteuid());
  ASSERT_EQ(stat(spool.queue().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0750u);
  EXPECT_EQ(status.st_gid, getgrnam(name.c_str())->gr_gid);
}

TEST(ShareWithGroup, LeavesEverythingWithoutAGroup) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  chmod(file.c_str(), 0600);
  EXPECT_EQ(ShareWithGroup(file, ""), 0);
  EXPECT_EQ(ShareWithGroup(file, "no-such-group-here"), ENOENT);
  EXPECT_EQ(StatusOf(file).value.mode, 0600u);
}

TEST(ShareWithGroup, TouchesNoLinkAndNothingElse) {
  const TempSpool spool;
  const std::string name = SomeGroup();
  if (name.empty()) GTEST_SKIP() << "no group to give files to";
  const std::string file = spool.File("a", "x");
  chmod(file.c_str(), 0600);
  std::filesystem::create_symlink(file, spool.path("link"));
  EXPECT_EQ(ShareWithGroup(spool.path("link"), name), EINVAL);
  EXPECT_EQ(StatusOf(file).value.mode, 0600u);
  ASSERT_EQ(mkfifo(spool.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(ShareWithGroup(spool.path("pipe"), name), EINVAL);
}

TEST(ShareWithGroup, ReportsEveryFailedCall) {
  const TempSpool spool;
  const std::string name = SomeGroup();
  if (name.empty()) GTEST_SKIP() << "no group to give files to";
  const std::string file = spool.File("a", "x");
  for (Call call : {Call::kStat, Call::kMode}) {
    int result = 0;
    testing::FailEachCall(
        call,
        [&] {
          chmod(file.c_str(), 0600);
          if (chown(file.c_str(), geteuid(), getegid()) != 0) return;
          result = ShareWithGroup(file, name);
        },
        [&](bool triggered) { EXPECT_EQ(result, triggered ? EPERM : 0); }, EPERM);
  }
}

}  // namespace
}  // namespace qob::os
