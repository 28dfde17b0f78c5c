// The walk over a queue directory: which messages are met, in which order, locked or not, and what
// is left behind.
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "platform/btrieve/block_file.h"
#include "platform/os/process.h"
#include "queue/queueid_support.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

class QueueScan : public QueueTest {
 protected:
  char* First(const QueueScanFilter* filter = &kAnySize) {
    return FindFirstQueueId(directory_.c_str(), &db_, filter);
  }
  char* Next(const QueueScanFilter* filter = &kAnySize) {
    return FindNextQueueId(directory_.c_str(), &db_, filter);
  }
  Texts Unfiltered(const std::string& directory) { return Scan(directory, nullptr); }
  Texts Filtered(const QueueScanFilter& filter) { return Scan(queue(), &filter); }
  Texts Unfiltered() { return Unfiltered(queue()); }

  // Messages 1 to `count`, all in one commit.
  void Many(int count, bool with_files = true) {
    const auto file = btrieve::FileBehind(&db_);
    store::Transaction together(*file);
    for (int i = 1; i <= count; ++i) {
      if (with_files) {
        Message(Name(i), 10, 0);
      } else {
        Records(Path(Name(i)), 0);
      }
    }
    ASSERT_EQ(together.Commit(), store::kOk);
  }
  static std::string Name(int number) {
    char name[16];
    std::snprintf(name, sizeof name, "%08X", static_cast<unsigned>(number));
    return name;
  }

  const std::string directory_ = queue();
};

TEST_F(QueueScan, MeetsEveryMessageInTheOrderOfTheirComing) {
  Message("0000000B");
  Message("0001A2B3");
  Message("00000001");
  EXPECT_EQ(Scan(), (Texts{Path("0000000B"), Path("0001A2B3"), Path("00000001")}));
  EXPECT_EQ(Unfiltered(), (Texts{Path("0000000B"), Path("0001A2B3"), Path("00000001")}));
  EXPECT_EQ(Locks(), Texts{});
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(QueueScan, OfAnEmptyQueueIsNothing) {
  EXPECT_EQ(Scan(), Texts{});
  EXPECT_EQ(Unfiltered(), Texts{});
  EXPECT_EQ(Next(), nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(QueueScan, WithAFilterHandsOutLockedPaths) {
  Message("0001A2B3");
  char* path = First();
  ASSERT_STREQ(path, Path("0001A2B3").c_str());
  EXPECT_EQ(Locks(), Texts{"0001A2B3.lck"});
  ReleaseQueueId(path);
  EXPECT_EQ(Locks(), Texts{});
  EXPECT_EQ(Next(), nullptr);
}

TEST_F(QueueScan, WithoutAFilterHandsOutPathsThatAreNotLocked) {
  Message("0001A2B3");
  char* path = First(nullptr);
  ASSERT_STREQ(path, Path("0001A2B3").c_str());
  EXPECT_EQ(Locks(), Texts{});
  FreeQueueId(path);
  EXPECT_EQ(Next(nullptr), nullptr);
}

// Keys are stored in lower case; the files are not.
TEST_F(QueueScan, FindsFilesByTheirUpperCaseNames) {
  const std::string path = PathIn(queue(), "00abcdef");
  Records(path);
  TempSpool::Write(queue() + "/00ABCDEF.msg", "mail");
  EXPECT_EQ(Scan(), Texts{Path("00ABCDEF")});
  EXPECT_EQ(Unfiltered(), Texts{Path("00ABCDEF")});
}

TEST_F(QueueScan, OfAtLeastThousandBytesLeavesSmallerOnesUnlocked) {
  Message("00000001", 999);
  Message("00000002", 1000);
  Message("00000003", 5000);
  Message("00000004", 0);
  const QueueScanFilter filter{1000, 0, 0};
  char* path = First(&filter);
  ASSERT_STREQ(path, Path("00000002").c_str());
  EXPECT_EQ(Locks(), Texts{"00000002.lck"});
  char* second = Next(&filter);
  ASSERT_STREQ(second, Path("00000003").c_str());
  EXPECT_EQ(Next(&filter), nullptr);
  EXPECT_EQ(Locks(), (Texts{"00000002.lck", "00000003.lck"}));
  ReleaseQueueId(path);
  ReleaseQueueId(second);
}

TEST_F(QueueScan, BoundsBelongToTheRange) {
  for (int i = 1; i <= 5; ++i) Message(Name(i), static_cast<std::size_t>(i) * 100);
  EXPECT_EQ(Filtered({200, 400, 0}), (Texts{Path("00000002"), Path("00000003"), Path("00000004")}));
  EXPECT_EQ(Filtered({-5, 100, 0}), Texts{Path("00000001")});
  EXPECT_EQ(Filtered({500, -1, 0}), Texts{Path("00000005")});
  EXPECT_EQ(Filtered({501, 0, 0}), Texts{});
}

TEST_F(QueueScan, PassesOverALockedMessage) {
  Message("00000001");
  Message("00000002");
  Message("00000003");
  const std::string locked = Path("00000002");
  ASSERT_EQ(InChild([&] { return CreateLockFile(locked.c_str()) == 0 ? 0 : 1; }), 0);
  EXPECT_EQ(Scan(), (Texts{Path("00000001"), Path("00000003")}));
  EXPECT_EQ(Unfiltered(), (Texts{Path("00000001"), Path("00000003")}));
  EXPECT_EQ(Locks(), Texts{"00000002.lck"});
}

TEST_F(QueueScan, WithoutAFilterPassesOverALockOfTheDecimalName) {
  Message("0000000A");
  Message("0000000B");
  TempSpool::Write(queue() + "/10.lck", "");
  EXPECT_EQ(Unfiltered(), Texts{Path("0000000B")});
  EXPECT_EQ(Scan(), (Texts{Path("0000000A"), Path("0000000B")}));
}

TEST_F(QueueScan, WithoutAFilterLooksAtNothingButLocks) {
  Records(Path("00000001"));
  Message("00000002", 0);
  SetState("00000002", "HELD");
  EXPECT_EQ(Unfiltered(), (Texts{Path("00000001"), Path("00000002")}));
}

TEST_F(QueueScan, PassesOverAMessageWithoutAFile) {
  Records(Path("00000001"));
  Message("00000002");
  fs::create_directory(queue() + "/00000003.msg");
  Records(Path("00000003"));
  EXPECT_EQ(Scan(), Texts{Path("00000002")});
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(QueueScan, PassesOverAMessageThatIsALink) {
  Records(Path("00000001"));
  const std::string target = spool_.File("elsewhere", "secret");
  fs::create_symlink(target, queue() + "/00000001.msg");
  EXPECT_EQ(Scan(), Texts{});
}

TEST_F(QueueScan, PassesOverAStateTextUnlessAllAreTaken) {
  Message("00000001");
  Message("00000002");
  SetState("00000001", "HELD");
  EXPECT_EQ(Filtered({0, 0, 0}), Texts{Path("00000002")});
  EXPECT_EQ(Filtered({0, 0, 1}), (Texts{Path("00000001"), Path("00000002")}));
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(QueueScan, LeavesNoLocksOfWhatItPassedOver) {
  Records(Path("00000001"));
  Message("00000002", 5);
  Message("00000003");
  SetState("00000003", "HELD");
  Message("00000004", 500);
  EXPECT_EQ(Filtered({10, 100, 0}), Texts{});
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(QueueScan, OfADirectoryLeavesOutThoseWhoseNamesBeginLikeIt) {
  const std::string out = Other("out");
  const std::string outbound = Other("outbound");
  const std::string ou = Other("ou");
  MessageIn(outbound, "00000001");
  MessageIn(out, "00000002");
  MessageIn(ou, "00000003");
  for (const QueueScanFilter* filter : {&kAnySize, static_cast<const QueueScanFilter*>(nullptr)}) {
    EXPECT_EQ(Scan(out, filter), Texts{PathIn(out, "00000002")});
    EXPECT_EQ(Scan(ou, filter), Texts{PathIn(ou, "00000003")});
    EXPECT_EQ(Scan(outbound, filter), Texts{PathIn(outbound, "00000001")});
  }
}

TEST_F(QueueScan, OfADirectoryWithoutMessagesMeetsNoOther) {
  MessageIn(Other("outbound"), "00000001");
  EXPECT_EQ(Scan(Other("out"), &kAnySize), Texts{});
  EXPECT_EQ(Scan(Other("zzz"), &kAnySize), Texts{});
  EXPECT_EQ(Names(Other("out")), Texts{});
}

TEST_F(QueueScan, DirectoryNamesAreCutToFifteenCharacters) {
  const std::string a = Other("a-long-directory-one");
  const std::string b = Other("a-long-directory-two");
  MessageIn(a, "00000001");
  MessageIn(b, "00000002");
  EXPECT_EQ(Scan(a, &kAnySize), Texts{PathIn(a, "00000001")}) << "the other has no file here";
  EXPECT_EQ(Unfiltered(a), (Texts{PathIn(a, "00000001"), PathIn(a, "00000002")}));
  EXPECT_EQ(Names(a, ".lck"), Texts{});
}

TEST_F(QueueScan, EqualLastComponentsAreToldApartByTheirFiles) {
  Other("one");
  Other("two");
  const std::string a = Other("one/q");
  const std::string b = Other("two/q");
  MessageIn(a, "00000001");
  MessageIn(b, "00000002");
  EXPECT_EQ(Scan(a, &kAnySize), Texts{PathIn(a, "00000001")});
  EXPECT_EQ(Scan(b, &kAnySize), Texts{PathIn(b, "00000002")});
}

// The index of directory names minds case.
TEST_F(QueueScan, FindsADirectoryWithCapitals) {
  const std::string mixed = Other("OutQueue");
  MessageIn(mixed, "00000001");
  EXPECT_EQ(Scan(mixed, &kAnySize), Texts{PathIn(mixed, "00000001")});
  EXPECT_EQ(Unfiltered(mixed), Texts{PathIn(mixed, "00000001")});
  EXPECT_EQ(Unfiltered(Other("outqueue")), Texts{});
}

TEST_F(QueueScan, TakesEitherSeparatorAndOnesAtTheEnd) {
  Message("00000001");
  std::string back = queue();
  std::replace(back.begin(), back.end(), '/', '\\');
  EXPECT_EQ(Scan(back, &kAnySize), Texts{back + "\\00000001"});
  EXPECT_EQ(Scan(queue() + "/", &kAnySize), Texts{queue() + "/\\00000001"});
}

TEST_F(QueueScan, WithoutAFilterGivesTheQueuesOwnNameForItsDirectory) {
  Message("00000001");
  std::string back = queue();
  std::replace(back.begin(), back.end(), '/', '\\');
  EXPECT_EQ(Unfiltered(back + "\\"), Texts{Path("00000001")});
}

TEST_F(QueueScan, WithoutAFilterGivesThePathsOfTheDirectoryThatWasAsked) {
  const std::string other = Other();
  MessageIn(other, "00000001");
  EXPECT_EQ(Unfiltered(other), Texts{PathIn(other, "00000001")});
}

TEST_F(QueueScan, NeedsASeparatorInTheDirectory) {
  Message("00000001");
  for (const char* directory : {"queue", "", "\\", "/"}) {
    EXPECT_EQ(FindFirstQueueId(directory, &db_, &kAnySize), nullptr) << directory;
    EXPECT_EQ(FindFirstQueueId(directory, &db_, nullptr), nullptr) << directory;
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(QueueScan, ADirectoryWithoutSeparatorEndsTheScanThatRan) {
  Message("00000001");
  Message("00000002");
  ReleaseQueueId(First());
  EXPECT_EQ(FindFirstQueueId("queue", &db_, &kAnySize), nullptr);
  EXPECT_EQ(Next(), nullptr);
}

TEST_F(QueueScan, NeedsItsArguments) {
  Message("00000001");
  EXPECT_EQ(FindFirstQueueId(nullptr, &db_, &kAnySize), nullptr);
  EXPECT_EQ(FindFirstQueueId(queue().c_str(), nullptr, &kAnySize), nullptr);
  ReleaseQueueId(First());
  EXPECT_EQ(FindNextQueueId(nullptr, &db_, &kAnySize), nullptr);
  EXPECT_EQ(FindNextQueueId(queue().c_str(), nullptr, &kAnySize), nullptr);
}

TEST_F(QueueScan, TheNextWithoutAFirstIsNothing) {
  Message("00000001");
  EXPECT_EQ(Next(), nullptr);
  Scan();
  EXPECT_EQ(Next(), nullptr) << "the walk is over";
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(QueueScan, AnotherFirstBeginsAnew) {
  Message("00000001");
  Message("00000002");
  ReleaseQueueId(First());
  char* again = First();
  EXPECT_STREQ(again, Path("00000001").c_str());
  ReleaseQueueId(again);
  EXPECT_EQ(Scan().size(), 2u);
}

TEST_F(QueueScan, BeforeStartUpIsNothing) {
  Message("00000001");
  ReleaseQueueId(First());
  TerminateQOBDll();
  EXPECT_EQ(Next(), nullptr);
  EXPECT_EQ(First(), nullptr);
  EXPECT_EQ(First(nullptr), nullptr);
  EXPECT_EQ(Locks(), Texts{});
  ASSERT_EQ(InitQOBDll_NOMQ("ids"), 1);
  EXPECT_EQ(Next(), nullptr) << "a walk of before";
  EXPECT_EQ(Scan().size(), 1u);
}

TEST_F(QueueScan, OfAClosedDatabaseIsToldAndOver) {
  Message("00000001");
  Message("00000002");
  ReleaseQueueId(First());
  CloseMesgFile(&db_);
  EXPECT_EQ(Next(), nullptr);
  const std::string text = ShowBtrError(3);
  EXPECT_EQ(log_.texts(1), Texts{"FindNextQueueId failed, Btrieve error :" + text});
  EXPECT_EQ(Next(), nullptr);
  EXPECT_EQ(First(), nullptr);
  EXPECT_EQ(log_.texts(1), (Texts{"FindNextQueueId failed, Btrieve error :" + text,
                                  "FindFirstQueueId failed, Btrieve error :" + text}));
}

TEST_F(QueueScan, IsNotDisturbedByOtherCallsOnTheHandle) {
  for (int i = 1; i <= 20; ++i) Message(Name(i), 10, 2);
  Texts met;
  for (char* path = First(); path != nullptr; path = Next()) {
    met.push_back(path);
    EXPECT_EQ(GetRecipientNumber(path, &db_), 2);
    EXPECT_EQ(BumpMessageRetryCount(path, &db_), 1);
    ReleaseQueueId(path);
  }
  EXPECT_EQ(met.size(), 20u);
}

TEST_F(QueueScan, LeavesTheHandleWhereItStood) {
  Message("00000001", 10, 3);
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "00000001R", &record), 0);
  const MesgHandle before = db_;
  EXPECT_EQ(Scan().size(), 1u);
  EXPECT_EQ(std::memcmp(&before, &db_, sizeof db_), 0);
  EXPECT_EQ(GetNextMesgRecord(&db_, "", &record), 0);
}

TEST_F(QueueScan, GoesOnWhenTheCallerDeletesEachMessage) {
  constexpr int kCount = 1000;
  Many(kCount);
  std::set<std::string> met;
  for (char* path = First(); path != nullptr; path = Next()) {
    EXPECT_TRUE(met.insert(path).second) << path;
    EXPECT_EQ(DeleteQueueId(path, "DSN", &db_), 0);
    ReleaseQueueId(path);
  }
  EXPECT_EQ(met.size(), std::size_t{kCount});
  EXPECT_EQ(Scan(), Texts{});
  EXPECT_EQ(Names(queue(), ".msg"), Texts{});
}

TEST_F(QueueScan, GoesOnWhenTheCallerMovesEachMessage) {
  constexpr int kCount = 200;
  Many(kCount);
  for (const char* name : {"aaa", "zzz"}) {
    const std::string from = name[0] == 'a' ? queue() : Other("aaa");
    const std::string to = Other(name);
    std::set<std::string> met;
    char* path = FindFirstQueueId(from.c_str(), &db_, &kAnySize);
    while (path != nullptr) {
      EXPECT_TRUE(met.insert(path).second) << path;
      EXPECT_EQ(MoveQueueId(path, to.c_str(), &db_), 0);
      ReleaseQueueId(path);
      path = FindNextQueueId(from.c_str(), &db_, &kAnySize);
    }
    EXPECT_EQ(met.size(), std::size_t{kCount});
    EXPECT_EQ(Scan(to, &kAnySize).size(), std::size_t{kCount});
    EXPECT_EQ(Scan(from, &kAnySize), Texts{});
  }
}

TEST_F(QueueScan, AMessageThatLeavesAndComesBackIsNotMetTwice) {
  Message("00000001");
  Message("00000002");
  char* path = First();
  ASSERT_STREQ(path, Path("00000001").c_str());
  const std::string other = Other();
  ASSERT_EQ(MoveQueueId(path, other.c_str(), &db_), 0);
  ASSERT_EQ(MoveQueueId(PathIn(other, "00000001").c_str(), queue().c_str(), &db_), 0);
  ReleaseQueueId(path);
  path = Next();
  ASSERT_STREQ(path, Path("00000002").c_str());
  ReleaseQueueId(path);
  EXPECT_EQ(Next(), nullptr);
}

TEST_F(QueueScan, MeetsWhatComesInBehindIt) {
  Message("00000001");
  ReleaseQueueId(First());
  Message("00000002");
  char* path = Next();
  ASSERT_STREQ(path, Path("00000002").c_str());
  ReleaseQueueId(path);
  EXPECT_EQ(Next(), nullptr);
}

TEST_F(QueueScan, PassesOverRecordsThatAreNoMessages) {
  for (const char* name : {"readme", "0001A2B", "0001A2B3C", "0001A2G3"}) Message(name);
  Message("0001A2B3");
  EXPECT_EQ(Scan(), Texts{Path("0001A2B3")});
  EXPECT_EQ(Unfiltered(), Texts{Path("0001A2B3")});
}

// One loop: with a call per message this would run out of stack.
TEST_F(QueueScan, PassesOverTenThousandLockedMessages) {
  constexpr int kCount = 10000;
  Many(kCount, false);
  for (int i = 1; i < kCount; ++i) TempSpool::Write(queue() + "/" + Name(i) + ".lck", "");
  TempSpool::Write(queue() + "/" + Name(kCount) + ".msg", "mail");
  EXPECT_EQ(Scan(), Texts{Path(Name(kCount))});
  EXPECT_EQ(Unfiltered(), Texts{Path(Name(kCount))});
}

TEST_F(QueueScan, ASecondScannerPassesOverWhatTheFirstHolds) {
  Message("00000001");
  Message("00000002");
  char* held = First();
  ASSERT_STREQ(held, Path("00000001").c_str());
  const std::string directory = queue();
  EXPECT_EQ(InChild([&] {
              MesgHandle own{};
              if (OpenMesgFile(nullptr, &own) != 0) return 1;
              char* path = FindFirstQueueId(directory.c_str(), &own, &kAnySize);
              if (path == nullptr || Path("00000002") != path) return 2;
              ReleaseQueueId(path);
              return FindNextQueueId(directory.c_str(), &own, &kAnySize) == nullptr ? 0 : 3;
            }),
            0);
  ReleaseQueueId(held);
}

TEST_F(QueueScan, IsTraced) {
  Message("00000001");
  Records(Path("00000002"));
  spool_.SetIni("[Debug]\nLogLocking=YES\n");
  Scan();
  EXPECT_EQ(log_.texts(6), (Texts{"lock: " + Path("00000001"), "unlock: " + Path("00000001"),
                                  "lock: " + Path("00000002"), "unlock: " + Path("00000002")}));
}

// Somebody holds a message after the walk has read its record and before it has the lock.
MesgHandle g_operator;
bool g_acted = false;
int HoldBeforeTheLock(os::Call call, std::string_view path) {
  if (g_acted || call != os::Call::kOpen || !path.ends_with("00000001.lck")) return 0;
  g_acted = true;
  MesgRecord record;
  if (FindMesgRecord(&g_operator, "00000001F", &record) != 0) return 0;
  std::strcpy(record.stateText, "HELD");
  UpdateCurrentMesgRecordByKey(&g_operator, &record, 0);
  return 0;
}

TEST_F(QueueScan, AMessageHeldJustBeforeItsLockIsPassedOver) {
  Message("00000001");
  Message("00000002");
  g_operator = db_;
  g_acted = false;
  os::SetFaultHook(&HoldBeforeTheLock);
  const Texts met = Scan();
  os::SetFaultHook(nullptr);
  EXPECT_TRUE(g_acted);
  EXPECT_EQ(met, Texts{Path("00000002")});
  EXPECT_EQ(Locks(), Texts{});
}

int DestroyBeforeTheLock(os::Call call, std::string_view path) {
  if (g_acted || call != os::Call::kOpen || !path.ends_with("00000001.lck")) return 0;
  g_acted = true;
  MesgRecord record;
  RemoveMesgRecord(&g_operator, "00000001F", &record);
  return 0;
}

TEST_F(QueueScan, AMessageDestroyedJustBeforeItsLockIsPassedOver) {
  Message("00000001");
  Message("00000002");
  g_operator = db_;
  g_acted = false;
  os::SetFaultHook(&DestroyBeforeTheLock);
  const Texts met = Scan();
  os::SetFaultHook(nullptr);
  EXPECT_EQ(met, Texts{Path("00000002")});
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(QueueScan, FailingCallsLeaveNoLocksBehind) {
  for (int i = 1; i <= 3; ++i) Message(Name(i));
  for (const os::Call call : {os::Call::kOpen, os::Call::kStat, os::Call::kClose, os::Call::kRead,
                              os::Call::kAccess, os::Call::kMode}) {
    Texts met;
    FailEachCall(
        call, [&] { met = Scan(); },
        [&](bool failed) {
          ASSERT_EQ(Locks(), Texts{});
          if (!failed) {
            ASSERT_EQ(met.size(), 3u);
          }
        },
        EIO, 1000);
  }
}

TEST_F(QueueScan, ALockThatCannotBeRemovedIsMetByNobodyElse) {
  Message("00000001", 5);
  const QueueScanFilter filter{10, 0, 0};
  {
    const FailCalls fails(os::Call::kRemove, 1, Failing::kOnce, EIO, ".lck");
    EXPECT_EQ(Filtered(filter), Texts{});
  }
  EXPECT_EQ(Locks(), Texts{"00000001.lck"});
}

TEST_F(QueueScan, WithoutMemoryItEndsAndLeavesNoLocks) {
  for (int i = 1; i <= 3; ++i) Message(Name(i));
  int met = 0;
  FailEachAllocation(
      [&] {
        met = 0;
        for (char* path = First(); path != nullptr; path = Next()) {
          ++met;
          ReleaseQueueId(path);
        }
      },
      [&](bool failed) {
        ASSERT_EQ(Locks(), Texts{});
        ASSERT_EQ(Next(), nullptr) << "the walk is over";
        if (!failed) {
          ASSERT_EQ(met, 3);
        }
      },
      1000);
}

TEST_F(QueueScan, WithoutMemoryForItsPlaceTellsSo) {
  Message("00000001");
  char* path = nullptr;
  {
    const FailAllocations fail(1, Failing::kOnce);
    path = First();
  }
  EXPECT_EQ(path, nullptr);
  EXPECT_EQ(log_.texts(1), Texts{"FindFirstQueueId: out of memory."});
}

TEST_F(QueueScan, AClockSetBackChangesNothing) {
  Message("00000001");
  os::SetClock([] { return std::int64_t{-1}; });
  Message("00000002");
  EXPECT_EQ(Scan().size(), 2u);
  os::SetClock(nullptr);
}

TEST_F(QueueScan, OfAMissingDirectoryIsNothing) {
  const std::string gone = Other("gone");
  MessageIn(gone, "00000001");
  fs::remove_all(gone);
  EXPECT_EQ(Scan(gone, &kAnySize), Texts{});
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(QueueScan, InAnUnwritableDirectoryNothingIsHandedOutLocked) {
  Message("00000001");
  ASSERT_EQ(chmod(queue().c_str(), 0500), 0);
  const std::string lock = Path("00000001");
  if (geteuid() == 0) {
    const FailCalls refused(os::Call::kOpen, 1, Failing::kFromThenOn, EACCES, ".lck");
    EXPECT_EQ(Scan(), Texts{});
  } else {
    EXPECT_EQ(Scan(), Texts{});
  }
  chmod(queue().c_str(), 0700);
}

}  // namespace
}  // namespace qob::testing
