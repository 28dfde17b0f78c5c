// Locks: taken by one, refused to all others, let go, and swept.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>

#include "queue/queueid_support.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kTrace[] = "[Debug]\nLogLocking=YES\n";

class Lock : public QueueTest {};

TEST_F(Lock, IsTakenOnce) {
  const std::string path = Path("0001A2B3");
  EXPECT_EQ(CreateLockFile(path.c_str()), 0);
  EXPECT_EQ(Locks(), Texts{"0001A2B3.lck"});
  EXPECT_EQ(CreateLockFile(path.c_str()), -1);
  EXPECT_EQ(DeleteLockFile(path.c_str()), 0);
  EXPECT_EQ(Locks(), Texts{});
  EXPECT_EQ(CreateLockFile(path.c_str()), 0);
}

TEST_F(Lock, IsAnEmptyFileForItsOwnerOnly) {
  ASSERT_EQ(CreateLockFile(Path("L").c_str()), 0);
  struct stat status {};
  ASSERT_EQ(stat((queue() + "/L.lck").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Lock, OfAnyPathAndEitherSeparator) {
  EXPECT_EQ(CreateLockFile((queue() + "/not an id").c_str()), 0);
  EXPECT_EQ(CreateLockFile((queue() + "\\not an id").c_str()), -1);
  EXPECT_EQ(DeleteLockFile((queue() + "\\not an id").c_str()), 0);
}

TEST_F(Lock, ThatIsNotThereCannotBeDeleted) { EXPECT_EQ(DeleteLockFile(Path("L").c_str()), -1); }

TEST_F(Lock, OfNoPathIsRefused) {
  const fs::path before = fs::current_path();
  fs::current_path(spool_.root());
  EXPECT_EQ(CreateLockFile(""), -1);
  TempSpool::Write(".lck", "");
  EXPECT_EQ(DeleteLockFile(""), -1);
  EXPECT_TRUE(fs::exists(".lck"));
  fs::current_path(before);
  EXPECT_EQ(CreateLockFile(nullptr), -1);
  EXPECT_EQ(DeleteLockFile(nullptr), -1);
}

TEST_F(Lock, InAMissingDirectoryIsRefusedSilently) {
  EXPECT_EQ(CreateLockFile(spool_.path("none\\L").c_str()), -1);
  EXPECT_EQ(CreateLockFile((queue() + "\\" + std::string(5000, 'x')).c_str()), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Lock, InAnUnwritableDirectoryIsRefused) {
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(queue().c_str(), 0755), 0);
  const std::string path = Path("L");
  const int result = WithoutPrivileges([&] { return CreateLockFile(path.c_str()) == -1 ? 0 : 1; });
  EXPECT_TRUE(result == 0 || result == kNotPossible) << result;
}

TEST_F(Lock, IsNeverMadeThroughALink) {
  const std::string target = spool_.path("target");
  fs::create_symlink(target, queue() + "/L.lck");
  EXPECT_EQ(CreateLockFile(Path("L").c_str()), -1);
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(Lock, IsNotTakenOverFromADeadProcess) {
  const std::string path = Path("L");
  ASSERT_EQ(InChild([&] { return CreateLockFile(path.c_str()) == 0 ? 0 : 1; }), 0);
  EXPECT_EQ(CreateLockFile(path.c_str()), -1);
}

TEST_F(Lock, IsTracedWhenTheSwitchSaysSo) {
  for (const char* value : {"YES", "yes", "Yes"}) {
    spool_.SetIni(std::string("[Debug]\nLogLocking=") + value + "\n");
    log_.Clear();
    const std::string path = Path("L");
    ASSERT_EQ(CreateLockFile(path.c_str()), 0);
    ASSERT_EQ(DeleteLockFile(path.c_str()), 0);
    const std::vector<LogLine> expected = {{6, "ids", "lock: " + path},
                                           {6, "ids", "unlock: " + path}};
    EXPECT_EQ(log_.lines(), expected) << value;
  }
}

TEST_F(Lock, IsNotTracedOtherwise) {
  for (const char* value : {"", "NO", "TRUE", "1", "YES please"}) {
    spool_.SetIni(std::string("[Debug]\nLogLocking=") + value + "\n");
    ASSERT_EQ(CreateLockFile(Path("L").c_str()), 0);
    ASSERT_EQ(DeleteLockFile(Path("L").c_str()), 0);
    EXPECT_TRUE(log_.lines().empty()) << value;
  }
}

TEST_F(Lock, ARefusalIsNeverTraced) {
  spool_.SetIni(kTrace);
  TempSpool::Write(queue() + "/L.lck", "");
  EXPECT_EQ(CreateLockFile(Path("L").c_str()), -1);
  EXPECT_EQ(CreateLockFile(spool_.path("none\\L").c_str()), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Lock, AnUnlockIsTracedBeforeItIsDone) {
  spool_.SetIni(kTrace);
  EXPECT_EQ(DeleteLockFile(Path("L").c_str()), -1);
  EXPECT_EQ(log_.texts(6), Texts{"unlock: " + Path("L")});
}

TEST_F(Lock, ThatCannotBeMadeIsNotTaken) {
  const FailCalls full(os::Call::kOpen, 1, Failing::kOnce, ENOSPC, ".lck");
  EXPECT_EQ(CreateLockFile(Path("L").c_str()), -1);
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(Lock, IsTakenWheneverItStands) {
  int taken = 0;
  FailEachCall(
      os::Call::kOpen, [&] { taken = CreateLockFile(Path("L").c_str()); },
      [&](bool failed) {
        // The switch of the trace may be what could not be read.
        ASSERT_EQ(Locks().size(), taken == 0 ? 1u : 0u);
        if (!failed) {
          ASSERT_EQ(taken, 0);
        }
        if (taken == 0) DeleteLockFile(Path("L").c_str());
      },
      ENOSPC, 10);
}

TEST_F(Lock, ThatCannotBeRemovedStays) {
  ASSERT_EQ(CreateLockFile(Path("L").c_str()), 0);
  const FailCalls fails(os::Call::kRemove, 1, Failing::kOnce, EIO);
  EXPECT_EQ(DeleteLockFile(Path("L").c_str()), -1);
  EXPECT_EQ(Locks().size(), 1u);
}

TEST_F(Lock, GoesWithoutMemory) {
  spool_.SetIni(kTrace);
  const std::string old = Path("L");
  const std::string fresh = Path("M");
  ASSERT_EQ(CreateLockFile(old.c_str()), 0);
  int result = 0;
  {
    const FailAllocations none(1, Failing::kFromThenOn);
    result = DeleteLockFile(old.c_str());
    if (result == 0) result = CreateLockFile(fresh.c_str());
  }
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Locks(), Texts{"M.lck"});
}

// --- giving queue paths back

class Release : public QueueTest {
 protected:
  static char* Copy(const std::string& text) { return strdup(text.c_str()); }
};

TEST_F(Release, UnlocksAndFrees) {
  ASSERT_EQ(CreateLockFile(Path("0001A2B3").c_str()), 0);
  ReleaseQueueId(Copy(Path("0001A2B3")));
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(Release, OfAnEmptyTextTouchesNoFile) {
  const fs::path before = fs::current_path();
  fs::current_path(spool_.root());
  TempSpool::Write(".lck", "");
  spool_.SetIni(kTrace);
  ReleaseQueueId(Copy(""));
  EXPECT_TRUE(fs::exists(".lck"));
  fs::current_path(before);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Release, OfNullDoesNothing) {
  ReleaseQueueId(nullptr);
  FreeQueueId(nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Release, FreeingDoesNotUnlock) {
  ASSERT_EQ(CreateLockFile(Path("0001A2B3").c_str()), 0);
  FreeQueueId(Copy(Path("0001A2B3")));
  EXPECT_EQ(Locks(), Texts{"0001A2B3.lck"});
}

TEST_F(Release, IsTraced) {
  ASSERT_EQ(CreateLockFile(Path("0001A2B3").c_str()), 0);
  spool_.SetIni(kTrace);
  ReleaseQueueId(Copy(Path("0001A2B3")));
  EXPECT_EQ(log_.texts(6), Texts{"unlock: " + Path("0001A2B3")});
}

// --- sweeping

class Unlock : public QueueTest {
 protected:
  void Make(const std::string& name) const { TempSpool::Write(queue() + "/" + name, ""); }
};

TEST_F(Unlock, OfADirectoryWithoutLocksIsNought) {
  Make("0001A2B3.msg");
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Unlock, RemovesLocksAndNothingElse) {
  for (const char* name : {"0001A2B3.lck", "7.lck", ".lck", "a.msg", "a.lck.x", "lck", "xlck"}) {
    Make(name);
  }
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 3);
  EXPECT_EQ(Locks(), Texts{});
  for (const char* name : {"a.msg", "a.lck.x", "lck", "xlck", "mesg.btr"}) {
    EXPECT_TRUE(Stands(Path(name))) << name;
  }
}

TEST_F(Unlock, TakesTheExtensionInAnyCase) {
  for (const char* name : {"A.LCK", "B.Lck", "C.lcK"}) Make(name);
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 3);
  EXPECT_FALSE(Stands(Path("A.LCK")));
}

TEST_F(Unlock, ADirectoryIsToldAndNotCounted) {
  fs::create_directory(queue() + "/d.lck");
  Make("e.lck");
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 1);
  const std::vector<LogLine> expected = {{6, "ids", "Unable to remove " + Path("d.lck") + "."}};
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_TRUE(fs::is_directory(queue() + "/d.lck"));
}

TEST_F(Unlock, ANameWithASeparatorLeadsNowhere) {
  fs::create_directory(queue() + "/x");
  TempSpool::Write(spool_.root() + "/outside.lck", "");
  Make("x\\..\\..\\outside.lck");
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 0);
  EXPECT_TRUE(fs::exists(spool_.root() + "/outside.lck"));
  EXPECT_EQ(log_.texts(6).size(), 1u);
}

TEST_F(Unlock, OfNoDirectoryIsNought) {
  EXPECT_EQ(UnlockAllMessage(nullptr), 0);
  EXPECT_EQ(UnlockAllMessage(""), 0);
  EXPECT_EQ(UnlockAllMessage(spool_.path("none").c_str()), 0);
  const FailCalls fails(os::Call::kList, 1, Failing::kOnce, EIO);
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 0);
}

TEST_F(Unlock, OneThatCannotBeRemovedDoesNotStopTheRest) {
  for (const char* name : {"a.lck", "b.lck", "c.lck"}) Make(name);
  int removed = 0;
  {
    const FailCalls fails(os::Call::kRemove, 2, Failing::kOnce, EIO);
    removed = UnlockAllMessage(queue().c_str());
  }
  EXPECT_EQ(removed, 2);
  EXPECT_EQ(Locks().size(), 1u);
  EXPECT_EQ(log_.texts(6), Texts{"Unable to remove " + Path(Locks()[0]) + "."});
}

TEST_F(Unlock, SweepsTenThousandAtOnce) {
  for (int i = 0; i < 10000; ++i) Make(std::to_string(i) + ".lck");
  EXPECT_EQ(UnlockAllMessage(queue().c_str()), 10000);
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(Unlock, WithoutMemoryCountsWhatItRemoved) {
  std::int32_t removed = 0;
  const std::string directory = queue();
  FailEachAllocation(
      [&] {
        SuspendFailing(true);
        for (const char* name : {"a.lck", "b.lck"}) Make(name);
        SuspendFailing(false);
        removed = UnlockAllMessage(directory.c_str());
      },
      [&](bool failed) {
        ASSERT_EQ(static_cast<std::size_t>(removed) + Locks().size(), 2u);
        if (!failed) {
          ASSERT_EQ(removed, 2);
        }
      },
      1000);
}

// --- processes

// Each of `kProcesses` tries all locks over and over; whoever has one counts itself in and out.
TEST_F(Lock, NeverHasTwoHolders) {
  constexpr int kProcesses = 8;
  constexpr int kLocks = 5;
  constexpr int kRounds = 4000;
  struct Witness {
    std::atomic<int> holders[kLocks];
    std::atomic<int> most;
    std::atomic<int> taken;
  };
  void* page =
      mmap(nullptr, sizeof(Witness), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  Witness* witness = new (page) Witness{};
  const std::vector<int> results = InChildren(kProcesses, [&](int index) {
    for (int round = 0; round < kRounds; ++round) {
      const int lock = (round + index) % kLocks;
      const std::string path = Path("0000000" + std::to_string(lock));
      if (CreateLockFile(path.c_str()) != 0) continue;
      const int holders = ++witness->holders[lock];
      int most = witness->most.load();
      while (holders > most && !witness->most.compare_exchange_weak(most, holders)) {
      }
      ++witness->taken;
      --witness->holders[lock];
      if (DeleteLockFile(path.c_str()) != 0) return 1;
    }
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
  EXPECT_EQ(witness->most.load(), 1);
  EXPECT_GT(witness->taken.load(), kRounds);
  EXPECT_EQ(Locks(), Texts{});
  munmap(page, sizeof(Witness));
}

}  // namespace
}  // namespace qob::testing
