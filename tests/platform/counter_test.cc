// The counter files: their numbers, their four bytes, and that no number is ever given twice.
#include "platform/spool/counter.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/file.h"
#include "platform/os/process.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::spool {
namespace {

using os::Call;
using testing::FailCalls;
using testing::Failing;
using testing::TempSpool;

class Counter : public ::testing::Test {
 protected:
  std::string unique() const { return spool_.temp() + "/unique.$$$"; }
  std::string temporary() const { return spool_.temp() + "/tmpcnt.$$$"; }
  std::int32_t NextOne() const { return NextUnique(spool_.temp()); }
  std::int64_t NextTemp() const { return NextTemporary(spool_.temp()); }
  std::size_t Files() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(spool_.temp()), {}));
  }

  // `count` calls of next() in each of two processes that start together in an empty directory; all
  // their results.
  template <class Next>
  std::vector<std::int64_t> Race(int count, Next&& next) {
    int gate[2];
    EXPECT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (int process = 0; process < 2; ++process) {
      children.push_back(testing::Spawn([&] {
        close(gate[1]);
        char byte = 0;
        if (read(gate[0], &byte, 1) != 0) return 1;  // ends when the gate opens
        std::vector<std::int64_t> drawn;
        for (int i = 0; i < count; ++i) drawn.push_back(next());
        std::ofstream out(spool_.path("drawn" + std::to_string(process)));
        for (std::int64_t number : drawn) out << number << "\n";
        return out.flush() ? 0 : 1;
      }));
    }
    close(gate[0]);
    close(gate[1]);
    std::vector<std::int64_t> all;
    for (int process = 0; process < 2; ++process) {
      EXPECT_EQ(testing::Wait(children[static_cast<std::size_t>(process)]), 0);
      std::ifstream in(spool_.path("drawn" + std::to_string(process)));
      for (std::int64_t number = 0; in >> number;) all.push_back(number);
    }
    std::sort(all.begin(), all.end());
    return all;
  }

  TempSpool spool_;
};

TEST_F(Counter, TheFirstUniqueNumberIsNought) {
  EXPECT_EQ(NextOne(), 0);
  EXPECT_EQ(NextOne(), 1);
  EXPECT_EQ(NextOne(), 2);
  EXPECT_EQ(TempSpool::Read(unique()), std::string("\x02\0\0\0", 4));
  EXPECT_EQ(Files(), 1u) << "nothing else is left";
}

TEST_F(Counter, TheFirstTemporaryNumberIsOne) {
  EXPECT_EQ(NextTemp(), 1);
  EXPECT_EQ(NextTemp(), 2);
  EXPECT_EQ(TempSpool::Read(temporary()), std::string("\x02\0\0\0", 4));
  EXPECT_EQ(Files(), 1u);
}

TEST_F(Counter, FilesAreForTheirOwnerOnly) {
  NextOne();
  NextTemp();
  for (const std::string& path : {unique(), temporary()}) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u) << path;
  }
}

struct Step {
  std::string before;
  std::int64_t next;
  std::string after;
};

TEST_F(Counter, UniqueNumbersWrapAndDamagedOnesStartAgain) {
  const Step steps[] = {
      {{"\x00\0\0\0", 4}, 1, {"\x01\0\0\0", 4}},
      {{"\xFF\x01\0\0", 4}, 0x200, {"\0\x02\0\0", 4}},
      {{"\x78\x56\x34\x12", 4}, 0x12345679, {"\x79\x56\x34\x12", 4}},
      {{"\xFD\xFF\xFF\x7F", 4}, 0x7FFFFFFE, {"\xFE\xFF\xFF\x7F", 4}},
      {{"\xFE\xFF\xFF\x7F", 4}, 0, {"\0\0\0\0", 4}},
      {{"\xFF\xFF\xFF\x7F", 4}, 0, {"\0\0\0\0", 4}},
      {{"\0\0\0\x80", 4}, 0, {"\0\0\0\0", 4}},
      {{"\xFE\xFF\xFF\xFF", 4}, 0, {"\0\0\0\0", 4}},
      {{"\xFF\xFF\xFF\xFF", 4}, 0, {"\0\0\0\0", 4}},
      {{"\x05\0\0\0more", 8}, 6, {"\x06\0\0\0more", 8}},
  };
  for (const Step& step : steps) {
    TempSpool::Write(unique(), step.before);
    EXPECT_EQ(NextOne(), step.next);
    EXPECT_EQ(TempSpool::Read(unique()), step.after);
  }
}

TEST_F(Counter, TemporaryNumbersWrapAtEightDigits) {
  const Step steps[] = {
      {{"\xFD\xE0\xF5\x05", 4}, 99999998, {"\xFE\xE0\xF5\x05", 4}},
      {{"\xFE\xE0\xF5\x05", 4}, 0, {"\0\0\0\0", 4}},
      {{"\xFF\xE0\xF5\x05", 4}, 0, {"\0\0\0\0", 4}},
      {{"\xFF\xFF\xFF\xFF", 4}, 0, {"\0\0\0\0", 4}},
  };
  for (const Step& step : steps) {
    TempSpool::Write(temporary(), step.before);
    EXPECT_EQ(NextTemp(), step.next);
    EXPECT_EQ(TempSpool::Read(temporary()), step.after);
  }
}

TEST_F(Counter, AShortUniqueFileIsNotRepaired) {
  TempSpool::Write(unique(), "abc");
  EXPECT_EQ(NextOne(), -1);
  EXPECT_EQ(TempSpool::Read(unique()), "abc");
}

TEST_F(Counter, AShortTemporaryFileIsDeleted) {
  TempSpool::Write(temporary(), "abc");
  EXPECT_EQ(NextTemp(), -1);
  EXPECT_FALSE(std::filesystem::exists(temporary()));
  EXPECT_EQ(NextTemp(), 1);
}

TEST_F(Counter, WithoutADirectoryThereIsNoNumber) {
  EXPECT_EQ(NextUnique(""), -1);
  EXPECT_EQ(NextTemporary(""), -1);
  EXPECT_EQ(NextUnique(spool_.path("none")), -1);
  EXPECT_EQ(NextTemporary(spool_.path("none")), -1);
  EXPECT_EQ(NextUnique(std::string(5000, 'd')), -1);
  EXPECT_FALSE(std::filesystem::exists("/unique.$$$"));
  EXPECT_FALSE(std::filesystem::exists("\\unique.$$$"));
}

TEST_F(Counter, TakesADirectoryWithBackslashes) {
  EXPECT_EQ(NextUnique(spool_.root() + "\\temp"), 0);
  EXPECT_TRUE(std::filesystem::exists(unique()));
}

TEST_F(Counter, ALinkIsNeverCountedIn) {
  const std::string target = spool_.File("target", "precious");
  std::filesystem::create_symlink(target, unique());
  std::filesystem::create_symlink(target, temporary());
  EXPECT_EQ(NextOne(), -1);
  EXPECT_EQ(NextTemp(), -1);
  EXPECT_EQ(TempSpool::Read(target), "precious");
}

TEST_F(Counter, OnlyARefusalToShareIsWaitedFor) {
  NextOne();
  NextTemp();
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.temp().c_str(), 0755), 0);
  const int result = testing::WithoutPrivileges([&] {
    if (geteuid() != 65534) return testing::kNotPossible;
    if (NextOne() != -1 || NextTemp() != -1) return 1;
    std::filesystem::path elsewhere = spool_.queue();
    return NextUnique(elsewhere.string()) == -1 ? 0 : 2;
  });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible) << result;
}

TEST_F(Counter, AHeldTemporaryCounterIsGivenUpAndStays) {
  NextTemp();
  const os::OpenMode alone{os::Access::kReadWrite, os::Share::kNone};
  const os::FileHandle holder(os::OpenFile(temporary(), alone).value);
  EXPECT_EQ(NextTemp(), -1);
  EXPECT_TRUE(std::filesystem::exists(temporary()));
}

TEST_F(Counter, AHeldUniqueCounterIsWaitedFor) {
  NextOne();
  const os::OpenMode alone{os::Access::kReadWrite, os::Share::kNone};
  os::FileHandle holder(os::OpenFile(unique(), alone).value);
  std::thread waiter([&] { EXPECT_EQ(NextOne(), 1); });
  os::SleepMs(30);
  holder.Reset();
  waiter.join();
}

// What was flushed and named, in order.
std::vector<std::string>* g_steps = nullptr;
int NoteStep(Call call, std::string_view path) {
  if (call == Call::kFlush) g_steps->push_back("flush " + std::string(path));
  if (call == Call::kRename) g_steps->push_back("name");
  return 0;
}

TEST_F(Counter, ANewOneIsFlushedWithItsDirectoryBeforeItGetsItsName) {
  std::vector<std::string> steps;
  g_steps = &steps;
  os::SetFaultHook(&NoteStep);
  const std::int32_t number = NextOne();
  os::SetFaultHook(nullptr);
  EXPECT_EQ(number, 0);
  ASSERT_EQ(steps.size(), 4u);
  EXPECT_TRUE(steps[0].ends_with(".new")) << steps[0];
  EXPECT_EQ(steps[1], "flush " + spool_.temp() + "/");
  EXPECT_EQ(steps[2], "name");
  EXPECT_EQ(steps[3], "flush " + spool_.temp() + "/");
}

TEST_F(Counter, FailingCallsGiveNoNumberAndLeaveNoOtherFile) {
  for (const Call call :
       {Call::kOpen, Call::kStat, Call::kRead, Call::kWrite, Call::kFlush, Call::kRename}) {
    std::int32_t number = 0;
    testing::FailEachCall(
        call,
        [&] {
          std::filesystem::remove(unique());
          number = NextOne();
          if (number == 0) number = NextOne();
        },
        [&](bool failed) {
          ASSERT_EQ(number, failed ? -1 : 1);
          ASSERT_LE(Files(), 1u);
        },
        EIO, 100);
  }
}

TEST_F(Counter, AnUnreadableTemporaryCounterIsDeleted) {
  NextTemp();
  const FailCalls fails(Call::kRead, 1, Failing::kOnce, EIO);
  EXPECT_EQ(NextTemp(), -1);
  EXPECT_FALSE(std::filesystem::exists(temporary()));
}

TEST_F(Counter, AFullDiskGivesNoNumber) {
  const FailCalls full(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(NextOne(), -1);
  EXPECT_EQ(NextTemp(), -1);
  EXPECT_EQ(Files(), 0u);
}

TEST_F(Counter, TwoProcessesNeverDrawTheSameUniqueNumber) {
  constexpr int kEach = 10000;
  const std::vector<std::int64_t> all = Race(kEach, [&] { return std::int64_t{NextOne()}; });
  ASSERT_EQ(all.size(), 2u * kEach);
  for (int i = 0; i < 2 * kEach; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i);
}

TEST_F(Counter, TwoProcessesNeverDrawTheSameTemporaryNumber) {
  constexpr int kEach = 2000;
  const std::vector<std::int64_t> all = Race(kEach, [&] { return NextTemp(); });
  ASSERT_EQ(all.size(), 2u * kEach);
  for (int i = 0; i < 2 * kEach; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i + 1);
}

TEST_F(Counter, ThreadsNeverDrawTheSameNumber) {
  constexpr int kEach = 1000;
  std::vector<std::int32_t> drawn[3];
  std::vector<std::thread> threads;
  for (std::vector<std::int32_t>& mine : drawn) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) mine.push_back(NextOne());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<std::int32_t> all;
  for (const std::vector<std::int32_t>& mine : drawn) {
    all.insert(all.end(), mine.begin(), mine.end());
  }
  std::sort(all.begin(), all.end());
  for (int i = 0; i < 3 * kEach; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i);
}

}  // namespace
}  // namespace qob::spool
