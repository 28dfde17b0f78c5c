// Looking after a queue directory: names, stale locks, "corrupt", the counter made anew, turns.
#include "platform/spool/queue_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/file.h"
#include "platform/os/process.h"
#include "platform/spool/counter.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::spool {
namespace {

using os::Call;
using testing::FailCalls;
using testing::FailEachCall;
using testing::Failing;
using testing::TempSpool;
namespace fs = std::filesystem;

class QueueFiles : public ::testing::Test {
 protected:
  std::string queue() const { return spool_.queue(); }
  std::string corrupt(const std::string& name) const { return queue() + "/corrupt/" + name; }
  void Make(const std::string& name, const std::string& bytes = "mail") const {
    TempSpool::Write(queue() + "/" + name, bytes);
  }
  std::vector<std::string> Report() const {
    std::istringstream in(TempSpool::Read(corrupt("report.txt")));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  // Every file in corrupt/ must be named in the report.
  void ExpectAllReported() const {
    if (!fs::exists(corrupt(""))) return;
    const std::string report = TempSpool::Read(corrupt("report.txt"));
    for (const auto& entry : fs::directory_iterator(corrupt(""))) {
      const std::string name = entry.path().filename();
      if (name == "report.txt" || name.starts_with(".qob-")) continue;
      EXPECT_NE(report.find("-> " + name + ": "), std::string::npos) << name;
    }
  }
  // How often those bytes stand in the queue and below it.
  int Copies(const std::string& bytes) const {
    int copies = 0;
    for (const auto& entry : fs::recursive_directory_iterator(queue())) {
      if (entry.is_regular_file() && TempSpool::Read(entry.path()) == bytes) ++copies;
    }
    return copies;
  }
  std::string counter() const { return spool_.temp() + "/unique.$$$"; }

  TempSpool spool_;
};

TEST_F(QueueFiles, NamesAreReadAsTheSystemWritesThem) {
  struct Row {
    const char* name;
    QueueFileKind kind;
    std::uint32_t id;
  };
  const Row rows[] = {
      {"0001A2B3.msg", QueueFileKind::kMessage, 0x1A2B3},
      {"FFFFFFFF.lck", QueueFileKind::kLock, 0xFFFFFFFF},
      {"00000000.rea", QueueFileKind::kReason, 0},
      {"0001a2b3.msg", QueueFileKind::kOther, 0},
      {"0001A2B3.MSG", QueueFileKind::kOther, 0},
      {"0001A2B.msg", QueueFileKind::kOther, 0},
      {"0001A2B34.msg", QueueFileKind::kOther, 0},
      {"0001A2B3.msg.1", QueueFileKind::kOther, 0},
      {"0001A2B3", QueueFileKind::kOther, 0},
      {"0001A2G3.msg", QueueFileKind::kOther, 0},
      {"mesg.btr", QueueFileKind::kOther, 0},
  };
  for (const Row& row : rows) Make(row.name);
  const auto files = ListQueueFiles(queue());
  ASSERT_TRUE(files);
  std::map<std::string, QueueFile> by_name;
  for (const QueueFile& file : files.value) by_name[file.name] = file;
  ASSERT_EQ(by_name.size(), std::size(rows));
  for (const Row& row : rows) {
    EXPECT_EQ(by_name[row.name].kind, row.kind) << row.name;
    EXPECT_EQ(by_name[row.name].id, row.id) << row.name;
  }
}

TEST_F(QueueFiles, AMissingDirectoryIsAnError) {
  EXPECT_EQ(ListQueueFiles(spool_.path("none")).error, ENOENT);
  EXPECT_EQ(LookAtQueueFiles(spool_.path("none"), [](const auto&, const auto&) {}), ENOENT);
  EXPECT_EQ(LookAtPlace(spool_.path("none")).error, ENOENT);
}

TEST_F(QueueFiles, FilesAreShownWithWhatTheyAre) {
  Make("0001A2B3.msg", "12345");
  int seen = 0;
  EXPECT_EQ(LookAtQueueFiles(queue(),
                             [&](const QueueFile& file, const os::FileStatus& status) {
                               ++seen;
                               EXPECT_EQ(file.id, 0x1A2B3U);
                               EXPECT_EQ(status.size, 5);
                             }),
            0);
  EXPECT_EQ(seen, 1);
}

TEST_F(QueueFiles, TemporaryNamesAreKnown) {
  for (const char* name : {"mesg.btr-new", "mesg.btr-new-wal", ".qob-12-3.new"})
    EXPECT_TRUE(IsTemporaryName(name)) << name;
  for (const char* name : {"mesg.btr", "mesg.btr-wal", "mesg.btr-gate", ".qob-12-3", "x.new"})
    EXPECT_FALSE(IsTemporaryName(name)) << name;
}

TEST_F(QueueFiles, ALockIsStaleOnlyWhenItIsOlderThanTheStartOfTheMachine) {
  const std::int64_t boot = os::BootTime();
  ASSERT_GT(boot, 0);
  os::FileStatus lock;
  lock.kind = os::FileKind::kFile;
  lock.modified = boot - 1;
  EXPECT_TRUE(IsStaleLock(lock));
  lock.modified = boot;
  EXPECT_FALSE(IsStaleLock(lock));
  lock.modified = os::Now();
  EXPECT_FALSE(IsStaleLock(lock));
  lock.modified = 0;
  lock.kind = os::FileKind::kDirectory;
  EXPECT_FALSE(IsStaleLock(lock));
}

TEST_F(QueueFiles, CorruptMailIsMovedWithAReport) {
  Make("0001A2B3.msg", "precious");
  std::string placed;
  ASSERT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "no record", &placed), 0);
  EXPECT_EQ(placed, queue() + "\\corrupt\\0001A2B3.msg");
  EXPECT_FALSE(fs::exists(queue() + "/0001A2B3.msg"));
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.msg")), "precious");
  ASSERT_EQ(Report().size(), 1U);
  EXPECT_TRUE(Report()[0].ends_with(" 0001A2B3.msg -> 0001A2B3.msg: no record")) << Report()[0];
  struct stat status {};
  ASSERT_EQ(stat(corrupt("").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(QueueFiles, NothingInCorruptIsEverReplaced) {
  std::string placed;
  for (const char* bytes : {"first", "second", "third"}) {
    Make("0001A2B3.msg", bytes);
    ASSERT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), 0);
  }
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.msg")), "first");
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.msg.1")), "second");
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.msg.2")), "third");
  ExpectAllReported();
}

TEST_F(QueueFiles, BytesAreSavedLikewise) {
  std::string placed;
  ASSERT_EQ(SaveToCorrupt(queue(), "0001A2B3.records", std::string("a\0b", 3), "why", &placed), 0);
  ASSERT_EQ(SaveToCorrupt(queue(), "0001A2B3.records", "other", "why", &placed), 0);
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.records")), std::string("a\0b", 3));
  EXPECT_EQ(TempSpool::Read(corrupt("0001A2B3.records.1")), "other");
  EXPECT_EQ(placed, queue() + "\\corrupt\\0001A2B3.records.1");
  ExpectAllReported();
}

TEST_F(QueueFiles, ALineOfTheReportIsOneLine) {
  Make("a\nb");
  std::string placed;
  ASSERT_EQ(MoveToCorrupt(queue(), "a\nb", "c\rd\xFF", &placed), 0);
  ASSERT_EQ(Report().size(), 1U);
  EXPECT_TRUE(Report()[0].ends_with(" a\\x0Ab -> a\\x0Ab: c\\x0Dd\\xFF")) << Report()[0];
}

TEST_F(QueueFiles, ALinkInPlaceOfCorruptIsNotFollowed) {
  fs::create_directory(spool_.path("elsewhere"));
  fs::create_directory_symlink(spool_.path("elsewhere"), queue() + "/corrupt");
  Make("0001A2B3.msg", "precious");
  std::string placed;
  EXPECT_NE(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), 0);
  EXPECT_EQ(TempSpool::Read(queue() + "/0001A2B3.msg"), "precious");
  EXPECT_TRUE(fs::is_empty(spool_.path("elsewhere")));
}

TEST_F(QueueFiles, AMissingFileIsNotReported) {
  std::string placed;
  EXPECT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), ENOENT);
  EXPECT_TRUE(IsMissing(ENOENT));
  EXPECT_FALSE(fs::exists(queue() + "/corrupt"));
}

TEST_F(QueueFiles, AFailureLosesNoMailAndLeavesNoFileUnreported) {
  for (const Call call : {Call::kOpen, Call::kClose, Call::kWrite, Call::kStat, Call::kFlush,
                          Call::kRename, Call::kRemove, Call::kMode, Call::kAccess}) {
    int error = 0;
    std::string placed;
    FailEachCall(
        call,
        [&] {
          fs::remove_all(queue() + "/corrupt");
          Make("0001A2B3.msg", "precious");
          error = MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed);
        },
        [&](bool triggered) {
          EXPECT_EQ(Copies("precious"), 1);
          EXPECT_TRUE(triggered || error == 0);
          ExpectAllReported();
          fs::remove(queue() + "/0001A2B3.msg");
        });
    FailEachCall(
        call,
        [&] {
          fs::remove_all(queue() + "/corrupt");
          error = SaveToCorrupt(queue(), "0001A2B3.records", "bytes", "x", &placed);
        },
        [&](bool) {
          // Only what stands there whole counts as saved.
          if (error == 0) {
            EXPECT_EQ(Copies("bytes"), 1);
          }
          ExpectAllReported();
        });
  }
}

TEST_F(QueueFiles, ADiskThatIsFullStopsTheMoveBeforeItBegins) {
  Make("0001A2B3.msg", "precious");
  std::string placed;
  FailCalls fail(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), ENOSPC);
  EXPECT_TRUE(fs::exists(queue() + "/0001A2B3.msg"));
}

TEST_F(QueueFiles, AFailedFlushIsReportedAndNotTriedAgain) {
  Make("0001A2B3.msg", "precious");
  std::string placed;
  FailCalls fail(Call::kFlush, 1, Failing::kOnce, EIO);
  EXPECT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), EIO);
  EXPECT_EQ(Copies("precious"), 1);
}

TEST_F(QueueFiles, TheCounterIsLookedAt) {
  std::uint32_t value = 9;
  EXPECT_EQ(LookAtCounter(spool_.temp(), &value), CounterState::kMissing);
  EXPECT_EQ(value, 0U);
  TempSpool::Write(counter(), std::string("\x04\x03\x02\x01", 4));
  EXPECT_EQ(LookAtCounter(spool_.temp(), &value), CounterState::kGood);
  EXPECT_EQ(value, 0x01020304U);
  for (const std::size_t size : {0U, 1U, 3U, 5U, 4096U}) {
    TempSpool::Write(counter(), std::string(size, 'x'));
    EXPECT_EQ(LookAtCounter(spool_.temp(), &value), CounterState::kWrongSize) << size;
  }
  fs::remove(counter());
  fs::create_directory(counter());
  EXPECT_EQ(LookAtCounter(spool_.temp(), &value), CounterState::kUnreadable);
  fs::remove(counter());
  fs::create_symlink(spool_.path("x"), counter());
  EXPECT_EQ(LookAtCounter(spool_.temp(), &value), CounterState::kUnreadable);
}

TEST_F(QueueFiles, ADamagedCounterGoesOnBehindTheHighestNumber) {
  for (const std::size_t size : {0U, 3U, 5U, 4096U}) {
    TempSpool::Write(counter(), std::string(size, 'x'));
    ASSERT_EQ(RemakeCounter(spool_.temp(), 0x1A2B3), 0);
    EXPECT_EQ(TempSpool::Read(counter()), std::string("\xB3\xA2\x01\0", 4));
    EXPECT_EQ(NextUnique(spool_.temp()), 0x1A2B4);
  }
}

TEST_F(QueueFiles, AGoodCounterIsNotMadeAnew) {
  TempSpool::Write(counter(), std::string("\x07\0\0\0", 4));
  EXPECT_EQ(RemakeCounter(spool_.temp(), 3), 0);
  EXPECT_EQ(NextUnique(spool_.temp()), 8);
  fs::remove(counter());
  EXPECT_EQ(RemakeCounter(spool_.temp(), 3), ENOENT);
  EXPECT_FALSE(fs::exists(counter()));
}

TEST_F(QueueFiles, ACounterThatIsInUseIsNotMadeAnew) {
  TempSpool::Write(counter(), "abc");
  os::OpenMode mode;
  mode.access = os::Access::kReadWrite;
  mode.share = os::Share::kNone;
  const auto held = os::OpenFile(counter(), mode);
  ASSERT_TRUE(held);
  std::thread later([&] {
    os::SleepMs(100);
    TempSpool::Write(counter(), std::string("\x09\0\0\0", 4));
    os::CloseFile(held.value);
  });
  EXPECT_EQ(RemakeCounter(spool_.temp(), 3), 0);
  later.join();
  EXPECT_EQ(TempSpool::Read(counter()), std::string("\x09\0\0\0", 4));
}

TEST_F(QueueFiles, AFailedRemakingGivesNoWrongNumber) {
  for (const Call call : {Call::kOpen, Call::kLock, Call::kStat, Call::kWrite, Call::kFlush}) {
    int error = 0;
    FailEachCall(
        call,
        [&] {
          TempSpool::Write(counter(), "abcde");
          error = RemakeCounter(spool_.temp(), 0x50);
        },
        [&](bool) {
          const std::string bytes = TempSpool::Read(counter());
          const bool remade = bytes == std::string("\x50\0\0\0", 4);
          EXPECT_TRUE(remade || bytes.size() != 4) << bytes.size();
          if (error == 0) {
            EXPECT_TRUE(remade);
          }
        });
  }
}

TEST_F(QueueFiles, APlaceTellsWhatItIs) {
  const auto place = LookAtPlace(queue());
  ASSERT_TRUE(place);
  EXPECT_EQ(place.value.status.kind, os::FileKind::kDirectory);
  EXPECT_TRUE(place.value.writable);
  EXPECT_FALSE(place.value.file_system.empty());
  EXPECT_EQ(place.value.lock_error, 0);
  EXPECT_EQ(fs::exists("/dev/shm") && LookAtPlace("/dev/shm").value.is_volatile,
            fs::exists("/dev/shm"));
  EXPECT_TRUE(fs::is_empty(queue()));
}

TEST_F(QueueFiles, APlaceIsFoundThroughALinkOfTheSite) {
  fs::create_directory_symlink(queue(), spool_.path("link"));
  const auto place = LookAtPlace(spool_.path("link"));
  ASSERT_TRUE(place);
  EXPECT_EQ(place.value.status.inode, LookAtPlace(queue()).value.status.inode);
}

TEST_F(QueueFiles, AFileMovesBetweenDirectoriesAndReplacesNone) {
  fs::create_directory(spool_.path("out"));
  Make("0001A2B3.msg", "precious");
  ASSERT_EQ(MoveQueueFile(queue(), spool_.path("out"), "0001A2B3.msg"), 0);
  EXPECT_EQ(TempSpool::Read(spool_.path("out/0001A2B3.msg")), "precious");
  Make("0001A2B3.msg", "second");
  EXPECT_EQ(MoveQueueFile(queue(), spool_.path("out"), "0001A2B3.msg"), EEXIST);
  EXPECT_EQ(TempSpool::Read(spool_.path("out/0001A2B3.msg")), "precious");
  EXPECT_EQ(TempSpool::Read(queue() + "/0001A2B3.msg"), "second");
  EXPECT_EQ(MoveQueueFile(queue(), spool_.path("out"), "none.msg"), ENOENT);
}

TEST_F(QueueFiles, AMoveThatIsNotFlushedIsAFailure) {
  fs::create_directory(spool_.path("out"));
  Make("0001A2B3.msg", "precious");
  FailCalls fail(Call::kFlush, 1, Failing::kOnce, EIO);
  EXPECT_EQ(MoveQueueFile(queue(), spool_.path("out"), "0001A2B3.msg"), EIO);
  EXPECT_EQ(TempSpool::Read(spool_.path("out/0001A2B3.msg")), "precious");
}

TEST_F(QueueFiles, OneAtATimeHasTheTurn) {
  auto turn = TakeRepairTurn(queue(), 0);
  ASSERT_TRUE(turn);
  const auto refused = TakeRepairTurn(queue(), 0);
  ASSERT_FALSE(refused);
  EXPECT_TRUE(IsBusy(refused.error));
  turn.value.Reset();
  EXPECT_TRUE(TakeRepairTurn(queue(), 0));
  EXPECT_TRUE(fs::exists(queue() + "/" + kTurnFile));
}

TEST_F(QueueFiles, ATurnIsWaitedForAndEndsWithItsProcess) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = testing::Spawn([&] {
    const auto turn = TakeRepairTurn(queue(), 0);
    if (!turn || write(ready[1], "x", 1) != 1) return 1;
    os::SleepMs(200);
    _exit(0);
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_TRUE(TakeRepairTurn(queue(), 20000));
  EXPECT_EQ(testing::Wait(child), 0);
  close(ready[0]);
  close(ready[1]);
}

TEST_F(QueueFiles, ATurnIsNotTakenThroughALink) {
  spool_.File("target", "precious");
  fs::create_symlink(spool_.path("target"), queue() + "/" + kTurnFile);
  EXPECT_FALSE(TakeRepairTurn(queue(), 0));
  EXPECT_EQ(TempSpool::Read(spool_.path("target")), "precious");
}

TEST_F(QueueFiles, WhatAnotherUserRepairsStaysTheQueuesOwn) {
  if (geteuid() != 0) GTEST_SKIP() << "only root repairs what is not its own";
  constexpr uid_t kSomebody = 65534;
  ASSERT_EQ(chown(queue().c_str(), kSomebody, kSomebody), 0);
  Make("0001A2B3.msg", "precious");
  std::string placed;
  ASSERT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), 0);
  ASSERT_EQ(SaveToCorrupt(queue(), "1.records", "x", "x", &placed), 0);
  ASSERT_TRUE(TakeRepairTurn(queue(), 0));
  for (const std::string& path :
       {corrupt(""), corrupt("report.txt"), corrupt("1.records"), queue() + "/" + kTurnFile}) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0) << path;
    EXPECT_EQ(status.st_uid, kSomebody) << path;
  }
}

TEST_F(QueueFiles, CorruptIsOpenToTheOperatorsGroup) {
  const std::string group = [] {
    std::ifstream in("/etc/group");
    std::string line;
    std::getline(in, line);
    return line.substr(0, line.find(':'));
  }();
  if (geteuid() != 0 || group.empty()) GTEST_SKIP() << "groups are given by root";
  spool_.SetIni("[Store]\nGroup=" + group + "\n");
  Make("0001A2B3.msg");
  std::string placed;
  ASSERT_EQ(MoveToCorrupt(queue(), "0001A2B3.msg", "x", &placed), 0);
  struct stat status {};
  ASSERT_EQ(stat(corrupt("").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0750U);
}

}  // namespace
}  // namespace qob::spool
