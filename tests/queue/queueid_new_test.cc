// New ids: which numbers are handed out, which are left out, and what stands when that fails.
#include <sys/stat.h>

#include <set>

#include <qobplatform/mqapi.h>

#include "platform/btrieve/block_file.h"
#include "platform/os/process.h"
#include "platform/spool/new_id.h"
#include "queue/queueid_support.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class NewId : public QueueTest {
 protected:
  TextPtr Draw() { return DrawIn(queue()); }
  TextPtr DrawIn(const std::string& directory) {
    return TextPtr(GetNewQueueId(directory.c_str(), &db_));
  }
  static std::string Text(const TextPtr& text) { return text ? text.get() : "(null)"; }
};

TEST_F(NewId, TheFirstIsNoughtAndLocked) {
  EXPECT_EQ(Text(Draw()), Path("00000000"));
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), (Texts{"00000000.lck", "00000001.lck"}));
  EXPECT_EQ(CountRecords("00000000F"), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(NewId, HasEightUpperCaseDigits) {
  SetCounter(0x00ABCDEE);
  EXPECT_EQ(Text(Draw()), Path("00ABCDEF"));
  SetCounter(0x7FFFFFFD);
  EXPECT_EQ(Text(Draw()), Path("7FFFFFFE"));
  EXPECT_EQ(Text(Draw()), Path("00000000"));
}

TEST_F(NewId, TakesTheDirectoryAsItIsWritten) {
  EXPECT_EQ(Text(DrawIn(spool_.root() + "\\queue")), spool_.root() + "\\queue\\00000000");
  EXPECT_EQ(Text(DrawIn(Other())), Other() + "\\00000001");
}

TEST_F(NewId, LeavesOutANumberWithARecord) {
  Records(Path("00000000"), 0);
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), Texts{"00000001.lck"});
}

TEST_F(NewId, LeavesOutANumberThatIsLocked) {
  ASSERT_EQ(CreateLockFile(Path("00000000").c_str()), 0);
  ASSERT_EQ(CreateLockFile(Path("00000001").c_str()), 0);
  EXPECT_EQ(Text(Draw()), Path("00000002"));
}

TEST_F(NewId, LeavesOutANumberWhoseLockNameIsADirectory) {
  std::filesystem::create_directory(queue() + "/00000000.lck");
  EXPECT_EQ(Text(Draw()), Path("00000001"));
}

TEST_F(NewId, LeavesOutANumberWithRecipientsOnly) {
  Records(Path("00000000"), 2);
  MesgRecord record;
  ASSERT_EQ(RemoveMesgRecord(&db_, "00000000F", &record), 0);
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), Texts{"00000001.lck"}) << "the lock of the one left out is gone again";
}

TEST_F(NewId, LeavesOutANumberThatWaitsOnAChannel) {
  ASSERT_EQ(btrieve::FileBehind(&db_)->AddMark("DSN", 0), store::kOk);
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), Texts{"00000001.lck"});
}

TEST_F(NewId, LeavesOutANumberWithAMessageFile) {
  TempSpool::Write(queue() + "/00000000.msg", "mail");
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), Texts{"00000001.lck"});
  EXPECT_EQ(TempSpool::Read(queue() + "/00000000.msg"), "mail");
}

TEST_F(NewId, LeavesOutANumberWithReasons) {
  TempSpool::Write(queue() + "/00000000.rea", "why");
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  EXPECT_EQ(Locks(), Texts{"00000001.lck"});
}

TEST_F(NewId, LeavesOutANumberWhoseMessageIsALinkThatLeadsNowhere) {
  std::filesystem::create_symlink("/nowhere/at/all", queue() + "/00000000.msg");
  EXPECT_EQ(Text(Draw()), Path("00000001"));
}

TEST_F(NewId, GoesOnUntilOneIsFree) {
  for (int i = 0; i < 50; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "%08X", static_cast<unsigned>(i));
    Records(Path(name), 0);
  }
  EXPECT_EQ(Text(Draw()), Path("00000032"));
}

TEST_F(NewId, WithoutACounterThereIsNone) {
  TempSpool::Write(spool_.temp() + "/unique.$$$", "abc");
  EXPECT_EQ(Draw(), nullptr);
  std::filesystem::remove_all(spool_.temp());
  EXPECT_EQ(Draw(), nullptr);
  EXPECT_EQ(Locks(), Texts{});
  EXPECT_TRUE(log_.lines().empty());
}

// A search without bound would eat the counter up.
TEST_F(NewId, InAMissingDirectoryThereIsNoneAndOneNumberIsUsed) {
  EXPECT_EQ(DrawIn(spool_.path("none")), nullptr);
  EXPECT_EQ(Text(Draw()), Path("00000001"));
}

TEST_F(NewId, InAnUnwritableDirectoryThereIsNone) {
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(queue().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.temp().c_str(), 0777), 0);
  for (const char* name : {"mesg.btr", "mesg.btr-wal", "mesg.btr-shm"}) {
    if (Stands(Path(name))) chmod((queue() + "/" + name).c_str(), 0644);
  }
  const int result = WithoutPrivileges([&] {
    MesgHandle own{};
    // Where the database itself cannot be opened there is nothing to ask.
    if (OpenMesgFile(nullptr, &own) != 0) return 0;
    return GetNewQueueId(queue().c_str(), &own) == nullptr ? 0 : 1;
  });
  EXPECT_TRUE(result == 0 || result == kNotPossible) << result;
}

TEST_F(NewId, OnAFullDiskThereIsNone) {
  Draw();
  const FailCalls full(os::Call::kOpen, 1, Failing::kFromThenOn, ENOSPC, ".lck");
  EXPECT_EQ(Draw(), nullptr);
  EXPECT_EQ(Locks().size(), 1u);
}

TEST_F(NewId, OfNothingIsNull) {
  EXPECT_EQ(GetNewQueueId(nullptr, &db_), nullptr);
  EXPECT_EQ(GetNewQueueId("", &db_), nullptr);
  EXPECT_EQ(GetNewQueueId(queue().c_str(), nullptr), nullptr);
  EXPECT_FALSE(Stands(spool_.temp() + "/unique.$$$")) << "no number is used up";
}

TEST_F(NewId, OfAClosedDatabaseIsNull) {
  CloseMesgFile(&db_);
  EXPECT_EQ(Draw(), nullptr);
  EXPECT_EQ(Locks(), Texts{});
}

TEST_F(NewId, OfAForeignDatabaseIsNullAndTheFileStays) {
  TempSpool::Write(Other() + "/mesg.btr", "a list of groceries");
  MesgHandle foreign{};
  EXPECT_EQ(OpenMesgFile(Other().c_str(), &foreign), 30);
  EXPECT_EQ(GetNewQueueId(Other().c_str(), &foreign), nullptr);
  EXPECT_EQ(FindFirstQueueId(Other().c_str(), &foreign, nullptr), nullptr);
  EXPECT_EQ(log_.texts(1),
            Texts{std::string("FindFirstQueueId failed, Btrieve error :") + ShowBtrError(3)});
  EXPECT_EQ(Names(Other()), Texts{"mesg.btr"});
  EXPECT_EQ(TempSpool::Read(Other() + "/mesg.btr"), "a list of groceries");
}

TEST_F(NewId, LeavesTheHandleWhereItStood) {
  Records(Path("000000AA"), 2);
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "000000AAR", &record), 0);
  const MesgHandle before = db_;
  EXPECT_NE(Draw(), nullptr);
  EXPECT_EQ(std::memcmp(&before, &db_, sizeof db_), 0);
}

TEST_F(NewId, IsTracedAndSoIsWhatWasLeftOut) {
  spool_.SetIni("[Debug]\nLogLocking=YES\n");
  TempSpool::Write(queue() + "/00000000.msg", "mail");
  EXPECT_NE(Draw(), nullptr);
  EXPECT_EQ(log_.texts(6), (Texts{"lock: " + Path("00000000"), "unlock: " + Path("00000000"),
                                  "lock: " + Path("00000001")}));
}

TEST_F(NewId, AClockSetBackChangesNothing) {
  EXPECT_EQ(Text(Draw()), Path("00000000"));
  os::SetClock([] { return std::int64_t{1}; });
  EXPECT_EQ(Text(Draw()), Path("00000001"));
  os::SetClock(nullptr);
}

TEST_F(NewId, FailingCallsLeaveNoLockBehind) {
  Draw().reset();
  ASSERT_EQ(UnlockAllMessage(queue().c_str()), 1);
  for (const os::Call call : {os::Call::kOpen, os::Call::kStat, os::Call::kRead, os::Call::kWrite,
                              os::Call::kLock, os::Call::kMode, os::Call::kClose}) {
    TextPtr path;
    FailEachCall(
        call, [&] { path = Draw(); },
        [&](bool) {
          ASSERT_EQ(Locks().size(), path ? 1u : 0u);
          if (path) ReleaseQueueId(path.release());
        },
        EIO, 100);
  }
}

TEST_F(NewId, WithoutMemoryNoLockIsLeftBehind) {
  TextPtr path;
  const std::string directory = queue();
  FailEachAllocation([&] { path = DrawIn(directory); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(path, nullptr);
                       }
                       ASSERT_EQ(Locks().size(), path ? 1u : 0u);
                       if (path) ReleaseQueueId(path.release());
                     },
                     1000);
}

TEST_F(NewId, TheSameOfAnOpenFile) {
  const std::shared_ptr<store::RecordFile> file = btrieve::FileBehind(&db_);
  ASSERT_NE(file, nullptr);
  Records(Path("00000000"), 0);
  ASSERT_EQ(file->AddMark("DSN", 1), store::kOk);
  TempSpool::Write(queue() + "/00000002.rea", "why");
  ASSERT_EQ(CreateLockFile(Path("00000003").c_str()), 0);
  std::uint32_t id = 0;
  std::string path;
  EXPECT_EQ(spool::TakeNewId(queue(), *file, &id, &path), store::kOk);
  EXPECT_EQ(id, 4u);
  EXPECT_EQ(path, Path("00000004"));
  EXPECT_EQ(Locks(), (Texts{"00000003.lck", "00000004.lck"}));
}

// The counter is only as durable as its last flush: ids that are in use are not given out again.
TEST_F(NewId, ACounterThatWasSetBackGivesNoIdTwice) {
  std::set<std::string> given;
  for (int i = 0; i < 20; ++i) {
    const TextPtr path = Draw();
    given.insert(Text(path));
    Records(Text(path), i % 2);
    DeleteLockFile(path.get());
  }
  SetCounter(3);
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(given.insert(Text(Draw())).second);
}

}  // namespace
}  // namespace qob::testing
