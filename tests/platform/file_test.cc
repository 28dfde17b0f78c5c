// Files: share modes inside one process and between processes, what an open may not do before it
// holds its locks, and what happens when the system says no.
#include "platform/os/file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "call_counter.h"
#include "platform/os/directory.h"
#include "platform/os/process.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::FailCalls;
using testing::Failing;
using testing::InChild;
using testing::kNotPossible;
using testing::TempSpool;
using testing::WithoutPrivileges;

constexpr OpenMode kReadsBesideAll{Access::kRead, Share::kReadWrite};
constexpr OpenMode kReadsBesideReaders{Access::kRead, Share::kRead};
constexpr OpenMode kWrites{Access::kWrite, Share::kRead};
constexpr OpenMode kAlone{Access::kReadWrite, Share::kNone};
constexpr OpenMode kCreates{Access::kWrite, Share::kRead, Create::kAlways};
constexpr OpenMode kCreatesNew{Access::kWrite, Share::kRead, Create::kNew};

OpenMode Waiting(OpenMode mode, int wait_ms) {
  mode.wait_ms = wait_ms;
  return mode;
}

// 0 or the error; what was opened is closed again.
int TryOpen(const std::string& path, const OpenMode& mode) {
  const Result<Handle> opened = OpenFile(path, mode);
  const FileHandle owned(opened.value);
  return opened.error;
}

class Files : public ::testing::Test {
 protected:
  TempSpool spool_;
  const std::string path_ = spool_.path("data");

  void Make(std::string_view bytes) { TempSpool::Write(path_, bytes); }
  std::string bytes() const { return TempSpool::Read(path_); }
  // The same file, with the sign that the library composes with.
  std::string backslash_path() const { return spool_.root() + "\\data"; }
};

// --- share modes ---

struct Opener {
  const char* name;
  OpenMode mode;
};
const Opener kOpeners[] = {{"read/rw", kReadsBesideAll},
                           {"read/r", kReadsBesideReaders},
                           {"write/r", kWrites},
                           {"rw/none", kAlone}};
// kAllowed[first][second]
constexpr bool kAllowed[4][4] = {{true, true, true, false},
                                 {true, true, false, false},
                                 {true, false, false, false},
                                 {false, false, false, false}};

TEST_F(Files, ShareInOneProcessAsTheirModesSay) {
  Make("data");
  for (int first = 0; first < 4; ++first) {
    for (int second = 0; second < 4; ++second) {
      const FileHandle holder(OpenFile(path_, kOpeners[first].mode).value);
      ASSERT_TRUE(holder);
      EXPECT_EQ(TryOpen(path_, kOpeners[second].mode), kAllowed[first][second] ? 0 : EBUSY)
          << kOpeners[first].name << " then " << kOpeners[second].name;
    }
  }
}

TEST_F(Files, ShareBetweenProcessesAsTheirModesSay) {
  Make("data");
  for (int first = 0; first < 4; ++first) {
    const FileHandle holder(OpenFile(path_, kOpeners[first].mode).value);
    ASSERT_TRUE(holder);
    const int result = InChild([&] {
      int allowed = 0;
      for (int second = 0; second < 4; ++second) {
        const int error = TryOpen(path_, kOpeners[second].mode);
        if (error != 0 && error != EBUSY) return 255;
        if (error == 0) allowed |= 1 << second;
      }
      return allowed;
    });
    int expected = 0;
    for (int second = 0; second < 4; ++second) expected |= kAllowed[first][second] << second;
    EXPECT_EQ(result, expected) << kOpeners[first].name;
  }
}

TEST_F(Files, AreFreeAgainWhenTheirHolderIsKilled) {
  Make("data");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = testing::Spawn([&] {
    const FileHandle holder(OpenFile(path_, kAlone).value);
    if (write(ready[1], "x", 1) != 1) return 1;
    for (;;) pause();
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(TryOpen(path_, kReadsBesideAll), EBUSY);
  kill(child, SIGKILL);
  testing::Wait(child);
  EXPECT_EQ(TryOpen(path_, kAlone), 0);
  close(ready[0]);
  close(ready[1]);
}

TEST_F(Files, StayLockedWhenAnotherHandleOfTheSameFileIsClosed) {
  Make("data");
  const FileHandle writer(OpenFile(path_, kWrites).value);
  EXPECT_EQ(TryOpen(path_, kReadsBesideAll), 0);
  EXPECT_EQ(TryOpen(path_, kWrites), EBUSY);
}

TEST_F(Files, ARefusedCreateKeepsTheData) {
  Make("precious");
  const FileHandle writer(OpenFile(path_, kWrites).value);
  EXPECT_EQ(TryOpen(path_, kCreates), EBUSY);
  EXPECT_EQ(InChild([&] { return TryOpen(path_, kCreates); }), EBUSY);
  EXPECT_EQ(bytes(), "precious");
}

TEST_F(Files, ARefusedCreateKeepsTheDataOfAReaderThatSharesReadingOnly) {
  Make("precious");
  const FileHandle reader(OpenFile(path_, kReadsBesideReaders).value);
  EXPECT_EQ(TryOpen(path_, kCreates), EBUSY);
  EXPECT_EQ(bytes(), "precious");
}

TEST_F(Files, ACreateBesideAReaderThatSharesWritingEmptiesTheFile) {
  Make("old");
  const FileHandle reader(OpenFile(path_, kReadsBesideAll).value);
  EXPECT_EQ(TryOpen(path_, kCreates), 0);
  EXPECT_EQ(bytes(), "");
}

TEST_F(Files, RefuseCombinationsThatNobodyUses) {
  Make("data");
  EXPECT_EQ(TryOpen(path_, {Access::kWrite, Share::kReadWrite}), EINVAL);
  EXPECT_EQ(TryOpen(path_, {Access::kRead, Share::kNone}), EINVAL);
  EXPECT_EQ(TryOpen(path_, {Access::kRead, Share::kRead, Create::kAlways}), EINVAL);
  EXPECT_EQ(bytes(), "data");
}

// --- waiting ---

TEST_F(Files, AWaitEndsWhenTheHolderCloses) {
  Make("data");
  for (const int wait_ms : {kWaitForever, 60000}) {
    FileHandle holder(OpenFile(path_, kAlone).value);
    std::thread waiter([&] { EXPECT_EQ(TryOpen(path_, Waiting(kAlone, wait_ms)), 0); });
    SleepMs(30);
    holder.Reset();
    waiter.join();
  }
}

TEST_F(Files, AWaitThatIsOverIsASharingViolation) {
  Make("data");
  const FileHandle holder(OpenFile(path_, kAlone).value);
  EXPECT_EQ(TryOpen(path_, Waiting(kAlone, 20)), EBUSY);
}

TEST_F(Files, AWaiterFindsTheFileThatStandsThereNow) {
  for (const int wait_ms : {kWaitForever, 60000}) {
    Make("old");
    FileHandle holder(OpenFile(path_, kAlone).value);
    std::thread waiter([&] {
      const FileHandle file(OpenFile(path_, Waiting(kAlone, wait_ms)).value);
      char text[8] = "";
      EXPECT_EQ(ReadFile(file.get(), text, sizeof text).value, 3u);
      EXPECT_STREQ(text, "new");
    });
    SleepMs(30);
    ASSERT_EQ(RemoveFile(path_), 0);
    Make("new");
    holder.Reset();
    waiter.join();
  }
}

TEST_F(Files, AWaiterForAFileThatIsRemovedFindsNone) {
  Make("old");
  FileHandle holder(OpenFile(path_, kAlone).value);
  std::thread waiter([&] { EXPECT_EQ(TryOpen(path_, Waiting(kAlone, kWaitForever)), ENOENT); });
  SleepMs(30);
  ASSERT_EQ(RemoveFile(path_), 0);
  holder.Reset();
  waiter.join();
}

// --- opening and creating ---

TEST_F(Files, OpenUnderEitherSeparator) {
  Make("data");
  EXPECT_EQ(TryOpen(backslash_path(), kReadsBesideAll), 0);
}

TEST_F(Files, ThatAreMissingAreNotFound) {
  EXPECT_EQ(TryOpen(path_, kReadsBesideAll), ENOENT);
  EXPECT_EQ(TryOpen(path_, kWrites), ENOENT);
  EXPECT_EQ(TryOpen(spool_.path("no/such"), kCreates), ENOENT);
  EXPECT_EQ(TryOpen("", kCreates), ENOENT);
  EXPECT_EQ(OpenFile(std::string(path_) + std::string("\0x", 2), kCreates).error, ENOENT);
  EXPECT_EQ(TryOpen(std::string(5000, 'a'), kCreates), ENAMETOOLONG);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(Files, AreCreatedForTheirOwnerOnly) {
  EXPECT_EQ(TryOpen(path_, kCreates), 0);
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Files, ThatAreNewMustNotStandYet) {
  EXPECT_EQ(TryOpen(path_, kCreatesNew), 0);
  TempSpool::Write(path_, "kept");
  EXPECT_EQ(TryOpen(path_, kCreatesNew), EEXIST);
  EXPECT_EQ(bytes(), "kept");
}

TEST_F(Files, AreNeverCreatedThroughALink) {
  const std::string target = spool_.File("target", "kept");
  std::filesystem::create_symlink(target, path_);
  EXPECT_EQ(TryOpen(path_, kCreates), ELOOP);
  EXPECT_EQ(TryOpen(path_, kCreatesNew), EEXIST);
  EXPECT_EQ(TempSpool::Read(target), "kept");
  EXPECT_EQ(TryOpen(path_, kReadsBesideAll), 0) << "reading may follow it";
  std::filesystem::remove(target);
  EXPECT_EQ(TryOpen(path_, kCreates), ELOOP);
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(Files, DirectoriesAreRefused) {
  EXPECT_EQ(TryOpen(spool_.root(), kReadsBesideAll), EISDIR);
  EXPECT_EQ(TryOpen(spool_.root(), kWrites), EISDIR);
  EXPECT_EQ(TryOpen(spool_.root(), kCreates), EISDIR);
}

TEST_F(Files, APipeIsOpenedWithoutWaitingAndReadWithWaiting) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const FileHandle reader(OpenFile(path_, kReadsBesideAll).value);
  ASSERT_TRUE(reader);
  std::thread writer([&] {
    const FileHandle file(OpenFile(path_, kWrites).value);
    SleepMs(20);
    EXPECT_TRUE(WriteAll(file.get(), "late", 4));
  });
  char text[4];
  // Without a writer yet this would be the end; a descriptor left non-blocking would then fail with
  // EAGAIN.
  Result<std::size_t> got{};
  while (got.value == 0 && got) got = ReadFile(reader.get(), text, sizeof text);
  writer.join();
  EXPECT_EQ(got.error, 0);
  EXPECT_EQ(std::string_view(text, got.value), "late");
  EXPECT_EQ(TryOpen(path_, kAlone), 0) << "no share locks on special files";
}

TEST_F(Files, HandlesKeepClearOfTheStandardStreams) {
  Make("data");
  const int result = InChild([&] {
    close(0);
    close(1);
    close(2);
    const Result<Handle> opened = OpenFile(path_, kReadsBesideAll);
    char text[8] = "";
    const bool read = ReadFile(opened.value, text, sizeof text).value == 4;
    const int other = open("/dev/null", O_RDONLY);
    return read && other == 0 ? static_cast<int>(opened.value) : 255;
  });
  EXPECT_GE(result, 3);
  EXPECT_LT(result, 255);
}

TEST_F(Files, HandlesAreClosedOnExecAndBlocking) {
  Make("data");
  for (const OpenMode& mode : {kReadsBesideAll, kWrites, kAlone, kCreates}) {
    const FileHandle file(OpenFile(path_, mode).value);
    ASSERT_TRUE(file);
    EXPECT_EQ(fcntl(static_cast<int>(file.get()), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(static_cast<int>(file.get()), F_GETFL) & O_NONBLOCK, 0);
  }
}

TEST_F(Files, OpenForReadingInFourCallsAndCloseInOne) {
  Make("data");
  const testing::CallCounter calls;
  const Result<Handle> opened = OpenFile(path_, kReadsBesideAll);
  EXPECT_EQ(calls.of(Call::kOpen), 1);
  EXPECT_EQ(calls.of(Call::kStat), 1);
  EXPECT_EQ(calls.of(Call::kLock), 1);
  EXPECT_EQ(calls.of(Call::kMode), 1);
  EXPECT_EQ(calls.all(), 4);
  CloseFile(opened.value);
  EXPECT_EQ(calls.all(), 5);
}

TEST_F(Files, ThatMayOnlyBeWrittenAreWrittenAndStillExcludeWriters) {
  Make("data");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(path_.c_str(), 0222), 0);
  const int result = WithoutPrivileges([&] {
    const FileHandle writer(OpenFile(path_, kWrites).value);
    if (!writer || !WriteAll(writer.get(), "D", 1)) return 1;
    if (TryOpen(path_, kWrites) != EBUSY) return 2;
    if (TryOpen(path_, kReadsBesideAll) != EACCES) return 3;
    return TryOpen(path_, kAlone) == EACCES ? 0 : 4;
  });
  EXPECT_TRUE(result == 0 || result == kNotPossible) << result;
  if (result == 0) {
    EXPECT_EQ(bytes(), "Data");
  }
}

TEST_F(Files, AreRefusedWhereTheSystemRefuses) {
  Make("data");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(path_.c_str(), 0400), 0);
  const int result = WithoutPrivileges([&] {
    if (TryOpen(path_, kReadsBesideAll) != EACCES) return 1;
    if (TryOpen(path_, kWrites) != EACCES) return 2;
    if (TryOpen(path_, kCreates) != EACCES) return 3;
    return TryOpen(spool_.path("new"), kCreatesNew) == EACCES ? 0 : 4;
  });
  EXPECT_TRUE(result == 0 || result == kNotPossible) << result;
  EXPECT_EQ(bytes(), "data");
}

// --- file systems without locks ---

TEST_F(Files, OpenWithoutLocksWhereThereAreNone) {
  Make("data");
  for (const int error : {ENOLCK, EOPNOTSUPP, EINVAL}) {
    const FailCalls none(Call::kLock, 1, Failing::kFromThenOn, error);
    for (const Opener& opener : kOpeners) {
      const FileHandle first(OpenFile(path_, opener.mode).value);
      EXPECT_TRUE(first) << opener.name;
    }
  }
}

TEST_F(Files, SharingNothingFallsBackToTheWholeFileLock) {
  Make("data");
  const auto open_alone = [&] {
    const FailCalls no_ranges(Call::kLock, 1, Failing::kOnce, ENOLCK);
    return OpenFile(path_, kAlone);
  };
  const FileHandle first(open_alone().value);
  ASSERT_TRUE(first);
  EXPECT_EQ(open_alone().error, EBUSY);
}

// --- reading and writing ---

TEST_F(Files, ReadOverInterruptionsToTheEnd) {
  Make("0123456789");
  const FileHandle file(OpenFile(path_, kReadsBesideAll).value);
  char text[16] = "";
  {
    const FailCalls interrupted(Call::kRead, 1, Failing::kOnce, EINTR);
    EXPECT_EQ(ReadFile(file.get(), text, 4).value, 4u);
    EXPECT_TRUE(interrupted.triggered());
  }
  EXPECT_EQ(std::string_view(text, 4), "0123");
  EXPECT_EQ(ReadFile(file.get(), text, sizeof text).value, 6u);
  EXPECT_EQ(ReadFile(file.get(), text, sizeof text).value, 0u);
}

TEST_F(Files, ReadPiecesOfAPipeUntilTheSizeIsReached) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::thread writer([&] {
    for (const char* piece : {"ab", "cd", "ef"}) {
      EXPECT_EQ(write(ends[1], piece, 2), 2);
      SleepMs(5);
    }
    close(ends[1]);
  });
  char text[8] = "";
  EXPECT_EQ(ReadFile(ends[0], text, 5).value, 5u);
  EXPECT_STREQ(text, "abcde");
  writer.join();
  EXPECT_EQ(ReadFile(ends[0], text, 5).value, 1u);
  close(ends[0]);
}

TEST_F(Files, KeepTheirPositionInPositionedCalls) {
  Make("0123456789");
  const FileHandle file(OpenFile(path_, kAlone).value);
  char text[4] = "";
  EXPECT_EQ(SeekFile(file.get(), 2, From::kStart).value, 2);
  EXPECT_EQ(ReadFileAt(file.get(), text, 3, 7).value, 3u);
  EXPECT_STREQ(text, "789");
  EXPECT_EQ(ReadFileAt(file.get(), text, 3, 9).value, 1u);
  EXPECT_EQ(WriteFileAt(file.get(), "xy", 2, 0).value, 2u);
  EXPECT_EQ(SeekFile(file.get(), 0, From::kCurrent).value, 2);
  EXPECT_EQ(bytes(), "xy23456789");
}

TEST_F(Files, HaveSixtyFourBitPositions) {
  const FileHandle file(OpenFile(path_, kCreates).value);
  constexpr std::int64_t kFar = std::int64_t{5} << 30;
  EXPECT_EQ(SeekFile(file.get(), kFar, From::kStart).value, kFar);
  EXPECT_TRUE(WriteAll(file.get(), "x", 1));
  EXPECT_EQ(FileSize(file.get()).value, kFar + 1);
  EXPECT_EQ(SeekFile(file.get(), -1, From::kEnd).value, kFar);
  EXPECT_EQ(SizeOf(path_).value, kFar + 1);
  EXPECT_EQ(SeekFile(file.get(), -1, From::kStart).error, EINVAL);
  EXPECT_EQ(FlushFile(file.get()), 0);
}

TEST_F(Files, TellHowMuchOfAWriteFitted) {
  const int result = InChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{10, 10};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
    const FileHandle file(OpenFile(path_, kCreates).value);
    const Result<std::size_t> written = WriteFile(file.get(), "0123456789abcdef", 16);
    if (written.value != 10 || written.error != EFBIG) return 2;
    return WriteAll(file.get(), "x", 1) ? 3 : 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(bytes(), "0123456789");
}

TEST_F(Files, TryTheRestOfAShortWriteOnce) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const int room = fcntl(ends[1], F_SETPIPE_SZ, 65536);
  ASSERT_GE(room, 65536);
  const std::string much(static_cast<std::size_t>(room) + 1000, 'x');
  const testing::CallCounter calls;
  const Result<std::size_t> written = WriteFile(ends[1], much.data(), much.size());
  EXPECT_EQ(written.value, static_cast<std::size_t>(room));
  EXPECT_EQ(written.error, EAGAIN);
  EXPECT_EQ(calls.of(Call::kWrite), 2);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(Files, WriteOverAnInterruption) {
  const FileHandle file(OpenFile(path_, kCreates).value);
  const FailCalls interrupted(Call::kWrite, 1, Failing::kOnce, EINTR);
  EXPECT_TRUE(WriteAll(file.get(), "data", 4));
  EXPECT_TRUE(interrupted.triggered());
  EXPECT_EQ(bytes(), "data");
}

TEST_F(Files, AFullDeviceIsReported) {
  const FileHandle full(OpenFile("/dev/full", kWrites).value);
  ASSERT_TRUE(full);
  EXPECT_EQ(WriteFile(full.get(), "x", 1).error, ENOSPC);
  EXPECT_EQ(TryOpen("/dev/full", kCreates), 0) << "nothing is cut off a device";
}

TEST_F(Files, AFullDiskIsReported) {
  const FileHandle file(OpenFile(path_, kCreates).value);
  const FailCalls full(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(WriteFile(file.get(), "x", 1).error, ENOSPC);
  EXPECT_FALSE(WriteAll(file.get(), "x", 1));
}

TEST_F(Files, EveryFailingCallOfAnOpenIsItsError) {
  Make("data");
  for (const Call call : {Call::kOpen, Call::kStat, Call::kLock, Call::kMode}) {
    for (const OpenMode& mode : {kReadsBesideAll, kWrites, kAlone, kCreates}) {
      testing::FailEachCall(
          call,
          [&] {
            const Result<Handle> opened = OpenFile(path_, mode);
            EXPECT_EQ(opened.value == kNoHandle, opened.error != 0);
            EXPECT_TRUE(opened.error == 0 || opened.error == EIO);
            const FileHandle owned(opened.value);
          },
          [](bool) {});
    }
  }
  EXPECT_EQ(TryOpen(path_, kAlone), 0) << "nothing stays open";
}

TEST_F(Files, AFailingCloseClosesAndTells) {
  Make("data");
  const Result<Handle> opened = OpenFile(path_, kAlone);
  {
    const FailCalls fails(Call::kClose, 1, Failing::kOnce, EIO);
    EXPECT_EQ(CloseFile(opened.value), EIO);
  }
  EXPECT_EQ(TryOpen(path_, kAlone), 0);
  EXPECT_EQ(CloseFile(opened.value), EBADF);
}

}  // namespace
}  // namespace qob::os
