// A message is destroyed, deleted or moved: what goes, what stays, and what a failure leaves.
#include <sys/stat.h>
#include <unistd.h>

#include <qobplatform/mqapi.h>

#include "platform/btrieve/block_file.h"
#include "platform/btrieve/hooks.h"
#include "queue/queueid_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kUnable[] =
    "Unable to remove entry from message database. Please run message recover utility.";

class Destroy : public QueueTest {};

TEST_F(Destroy, DeletesTheRecordsAndNothingElse) {
  const std::string path = Message("0001A2B3", 10, 3);
  Message("0001A2B4");
  ASSERT_EQ(CreateLockFile(path.c_str()), 0);
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3F"), 0);
  EXPECT_EQ(CountRecords("0001A2B3R"), 0);
  EXPECT_EQ(CountRecords("0001A2B4F"), 1);
  EXPECT_EQ(CountRecords("0001A2B4R"), 1);
  EXPECT_TRUE(Stands(path + ".msg"));
  EXPECT_TRUE(Stands(path + ".lck"));
  EXPECT_TRUE(log_.lines().empty()) << "the end of the recipients is no failure";
}

TEST_F(Destroy, OfAnUnknownMessageIsDone) {
  EXPECT_EQ(DestroyQueueId(Path("0001A2B3").c_str(), &db_), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Destroy, RecipientsWithoutAMessageGoToo) {
  const std::string path = Records(Path("0001A2B3"), 3);
  MesgRecord record;
  ASSERT_EQ(RemoveMesgRecord(&db_, "0001A2B3F", &record), 0);
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3R"), 0);
}

TEST_F(Destroy, NeedsASeparatorInThePath) {
  Records(Path("0001A2B3"));
  EXPECT_EQ(DestroyQueueId("0001A2B3", &db_), -1);
  EXPECT_EQ(DestroyQueueId("", &db_), -1);
  EXPECT_EQ(DestroyQueueId(nullptr, &db_), -1);
  EXPECT_EQ(DestroyQueueId(Path("0001A2B3").c_str(), nullptr), -1);
  EXPECT_EQ(CountRecords("0001A2B3F"), 1);
  EXPECT_EQ(DestroyQueueId((queue() + "/0001a2b3").c_str(), &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3F"), 0);
}

TEST_F(Destroy, OfAClosedDatabaseEnds) {
  CloseMesgFile(&db_);
  EXPECT_EQ(DestroyQueueId(Path("0001A2B3").c_str(), &db_), 0);
}

TEST_F(Destroy, LeavesTheHandleWhereItStood) {
  const std::string path = Records(Path("0001A2B3"), 2);
  Records(Path("0001A2B4"), 3);
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "0001A2B4R", &record), 0);
  ASSERT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(GetNextMesgRecord(&db_, "", &record), 0);
  EXPECT_STREQ(record.key, "0001a2b4r");
}

TEST_F(Destroy, OfThousandRecipientsIsOneStep) {
  const std::string path = Records(Path("0001A2B3"), 1000);
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3R"), 0);
}

// Somebody changes the record between its reading and its deleting, every time.
MesgHandle g_rival;
int g_changes = 0;
void ChangeTheMessage() {
  btrieve::TestBeforeWrite(nullptr);
  MesgRecord record;
  if (FindMesgRecord(&g_rival, "0001A2B3F", &record) == 0) {
    ++record.retryCount;
    ++g_changes;
    UpdateCurrentMesgRecordByKey(&g_rival, &record, 0);
  }
  btrieve::TestBeforeWrite(&ChangeTheMessage);
}

TEST_F(Destroy, GivesUpOnARecordThatKeepsChanging) {
  const std::string path = Records(Path("0001A2B3"), 2);
  g_rival = db_;
  g_changes = 0;
  btrieve::TestBeforeWrite(&ChangeTheMessage);
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  btrieve::TestBeforeWrite(nullptr);
  EXPECT_EQ(g_changes, 8);
  EXPECT_EQ(CountRecords("0001A2B3F"), 1);
  EXPECT_EQ(CountRecords("0001A2B3R"), 2) << "stops at the first that stays";
}

void ChangeTheMessageOnce() {
  btrieve::TestBeforeWrite(nullptr);
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&g_rival, "0001A2B3F", &record), 0);
  ++record.retryCount;
  ASSERT_EQ(UpdateCurrentMesgRecordByKey(&g_rival, &record, 0), 0);
}

TEST_F(Destroy, ARecordThatWasChangedMeanwhileGoesAllTheSame) {
  const std::string path = Records(Path("0001A2B3"), 2);
  g_rival = db_;
  btrieve::TestBeforeWrite(&ChangeTheMessageOnce);
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3F"), 0);
  EXPECT_EQ(CountRecords("0001A2B3R"), 0);
}

// --- deleting

class Delete : public QueueTest {
 protected:
  std::shared_ptr<store::RecordFile> file() { return btrieve::FileBehind(&db_); }
  // A message that waits on channels.
  std::string Waiting(std::string_view name, std::uint32_t id,
                      const std::vector<const char*>& channels) {
    const std::string path = Message(name);
    for (const char* channel : channels) EXPECT_EQ(file()->AddMark(channel, id), store::kOk);
    EXPECT_EQ(file()->PutNote(id, "envelope"), store::kOk);
    return path;
  }
  bool IsMarked(std::uint32_t id) {
    bool found = false;
    EXPECT_EQ(file()->HasMark(id, &found), store::kOk);
    return found;
  }
  bool HasNote(std::uint32_t id) {
    std::string note;
    return file()->GetNote(id, &note) == store::kOk;
  }
};

TEST_F(Delete, TakesRecordsEntryAndFilesButNotTheLock) {
  const std::string path = Waiting("0001A2B3", 0x1A2B3, {"DSN"});
  Message("0001A2B4");
  AddBounceReason(path.c_str(), "why\n");
  ASSERT_EQ(CreateLockFile(path.c_str()), 0);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_EQ(CountRecords("0001A2B3F"), 0);
  EXPECT_EQ(CountRecords("0001A2B3R"), 0);
  EXPECT_FALSE(IsMarked(0x1A2B3));
  EXPECT_FALSE(HasNote(0x1A2B3));
  EXPECT_FALSE(Stands(path + ".msg"));
  EXPECT_FALSE(Stands(path + ".rea")) << "a later message must not inherit its reasons";
  EXPECT_TRUE(Stands(path + ".lck"));
  EXPECT_TRUE(Stands(Path("0001A2B4.msg")));
  EXPECT_TRUE(log_.lines().empty());
}

// The suffix F is a hexadecimal digit too.
TEST_F(Delete, TheIdIsReadWithoutTheKind) {
  const std::string path = Waiting("0000000A", 0xA, {"DSN"});
  ASSERT_EQ(file()->AddMark("DSN", 0xAF), store::kOk);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_FALSE(IsMarked(0xA));
  EXPECT_TRUE(IsMarked(0xAF));
}

TEST_F(Delete, TheNoteStaysWhileAnotherChannelWaits) {
  const std::string path = Waiting("00000005", 5, {"DSN", "SMTP"});
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_TRUE(IsMarked(5));
  EXPECT_TRUE(HasNote(5));
}

TEST_F(Delete, AMessageThatIsNotOnTheChannelIsToldAndGoesAllTheSame) {
  const std::string path = Message("00000005");
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_EQ(log_.texts(1), Texts{"RemoveMQQID failed."});
  EXPECT_FALSE(Stands(path + ".msg"));
}

TEST_F(Delete, WithoutAChannelTheFilesStay) {
  for (const char* channel : {static_cast<const char*>(nullptr), ""}) {
    const std::string path = Message("00000005");
    EXPECT_EQ(DeleteQueueId(path.c_str(), channel, &db_), 0);
    EXPECT_EQ(CountRecords("00000005F"), 0);
    EXPECT_TRUE(Stands(path + ".msg"));
    EXPECT_TRUE(log_.lines().empty());
  }
}

TEST_F(Delete, WithoutARecordTheRestStillGoes) {
  const std::string path = Waiting("00000005", 5, {"DSN"});
  MesgRecord record;
  ASSERT_EQ(RemoveMesgRecord(&db_, "00000005F", &record), 0);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_EQ(CountRecords("00000005R"), 0);
  EXPECT_FALSE(IsMarked(5));
  EXPECT_FALSE(Stands(path + ".msg"));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Delete, ARecordThatCannotBeDeletedIsToldAndTheRestStillGoes) {
  const std::string path = Waiting("0001A2B3", 0x1A2B3, {"DSN"});
  g_rival = db_;
  btrieve::TestBeforeWrite(&ChangeTheMessage);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  btrieve::TestBeforeWrite(nullptr);
  EXPECT_EQ(log_.texts(1), Texts{kUnable});
  EXPECT_EQ(CountRecords("0001A2B3R"), 1);
  EXPECT_FALSE(IsMarked(0x1A2B3));
  EXPECT_FALSE(Stands(path + ".msg"));
}

TEST_F(Delete, OfAClosedDatabaseIsTold) {
  const std::string path = Waiting("00000005", 5, {"DSN"});
  CloseMesgFile(&db_);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_EQ(log_.texts(1), Texts{kUnable});
  EXPECT_FALSE(Stands(path + ".msg")) << "the queue opens the database by itself";
}

TEST_F(Delete, NeedsASeparatorInThePath) {
  EXPECT_EQ(DeleteQueueId("00000005", "DSN", &db_), -1);
  EXPECT_EQ(DeleteQueueId("", "DSN", &db_), -1);
  EXPECT_EQ(DeleteQueueId(nullptr, "DSN", &db_), -1);
  EXPECT_EQ(DeleteQueueId(Path("00000005").c_str(), "DSN", nullptr), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Delete, AMovedMessageIsRemovedWhereItLies) {
  const std::string path = Waiting("00000005", 5, {"DSN"});
  AddBounceReason(path.c_str(), "why\n");
  const std::string other = Other();
  ASSERT_EQ(MoveQueueId(path.c_str(), other.c_str(), &db_), 0);
  const std::string moved = PathIn(other, "00000005");
  ASSERT_TRUE(Stands(moved + ".msg"));
  EXPECT_EQ(DeleteQueueId(moved.c_str(), "DSN", &db_), 0);
  EXPECT_FALSE(Stands(moved + ".msg"));
  EXPECT_FALSE(Stands(path + ".rea")) << "reasons do not move";
  EXPECT_FALSE(IsMarked(5));
}

TEST_F(Delete, ANameThatIsNoIdHasNoEntry) {
  const std::string path = Message("readme");
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_EQ(CountRecords("readmeF"), 0);
  EXPECT_FALSE(Stands(path + ".msg"));
  EXPECT_EQ(log_.texts(1), Texts{"RemoveMQQID failed."});
}

TEST_F(Delete, FilesThatCannotBeRemovedStay) {
  const std::string path = Waiting("00000005", 5, {"DSN"});
  const FailCalls fails(os::Call::kRemove, 1, Failing::kFromThenOn, EIO, ".msg");
  EXPECT_EQ(DeleteQueueId(path.c_str(), "DSN", &db_), 0);
  EXPECT_TRUE(Stands(path + ".msg"));
}

TEST_F(Delete, WithoutMemoryTheRecordsAreWholeOrGone) {
  FailEachAllocation(
      [&] {
        SuspendFailing(true);
        DestroyQueueId(Path("00000005").c_str(), &db_);
        const std::string path = Message("00000005", 10, 3);
        SuspendFailing(false);
        DeleteQueueId(path.c_str(), "DSN", &db_);
      },
      [&](bool failed) {
        const int message = CountRecords("00000005F");
        if (message == 1) {
          ASSERT_EQ(CountRecords("00000005R"), 3);
        }
        if (!failed) {
          ASSERT_EQ(message, 0);
        }
      },
      2000);
}

// --- moving

class Move : public QueueTest {
 protected:
  std::string DirectoryOf(const std::string& key) {
    MesgRecord record{};
    CountRecords(key, &record);
    return record.directoryName;
  }
};

TEST_F(Move, RecordAndFileGoLockAndReasonsStay) {
  const std::string path = Message("0001A2B3");
  AddBounceReason(path.c_str(), "why\n");
  ASSERT_EQ(CreateLockFile(path.c_str()), 0);
  const std::string other = Other("later");
  EXPECT_EQ(MoveQueueId(path.c_str(), other.c_str(), &db_), 0);
  EXPECT_EQ(DirectoryOf("0001A2B3F"), "later");
  EXPECT_EQ(Names(other), Texts{"0001A2B3.msg"});
  EXPECT_FALSE(Stands(path + ".msg"));
  EXPECT_TRUE(Stands(path + ".lck"));
  EXPECT_TRUE(Stands(path + ".rea"));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Move, OnlyTheDirectoryNameOfTheRecordChanges) {
  const std::string path = Message("0001A2B3");
  MesgRecord before{};
  CountRecords("0001A2B3F", &before);
  ASSERT_EQ(MoveQueueId(path.c_str(), Other("later").c_str(), &db_), 0);
  MesgRecord after{};
  CountRecords("0001A2B3F", &after);
  std::memset(before.directoryName, 0, sizeof before.directoryName);
  std::strcpy(before.directoryName, "later");
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST_F(Move, TheNameIsCutToFifteenCharacters) {
  const std::string path = Message("0001A2B3");
  const std::string other = Other("a-long-directory-name");
  EXPECT_EQ(MoveQueueId(path.c_str(), (other + "/").c_str(), &db_), 0);
  EXPECT_EQ(DirectoryOf("0001A2B3F"), "a-long-director");
  EXPECT_TRUE(Stands(PathIn(other, "0001A2B3.msg")));
}

TEST_F(Move, NeedsAllItsArguments) {
  const std::string path = Message("0001A2B3");
  const std::string other = Other();
  EXPECT_EQ(MoveQueueId(nullptr, other.c_str(), &db_), -1);
  EXPECT_EQ(MoveQueueId("", other.c_str(), &db_), -1);
  EXPECT_EQ(MoveQueueId("0001A2B3", other.c_str(), &db_), -1);
  EXPECT_EQ(MoveQueueId(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(MoveQueueId(path.c_str(), "", &db_), -1);
  EXPECT_EQ(MoveQueueId(path.c_str(), "later", &db_), -1);
  EXPECT_EQ(MoveQueueId(path.c_str(), "\\", &db_), -1);
  EXPECT_EQ(MoveQueueId((queue() + "\\").c_str(), other.c_str(), &db_), -1);
  EXPECT_EQ(MoveQueueId(path.c_str(), other.c_str(), nullptr), -1);
  EXPECT_EQ(DirectoryOf("0001A2B3F"), "queue");
  EXPECT_TRUE(Stands(path + ".msg"));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Move, OfAnUnknownMessageChangesNothing) {
  TempSpool::Write(queue() + "/0001A2B3.msg", "mail");
  EXPECT_EQ(MoveQueueId(Path("0001A2B3").c_str(), Other().c_str(), &db_), -1);
  EXPECT_TRUE(Stands(Path("0001A2B3.msg")));
}

TEST_F(Move, NeverReplacesAFile) {
  const std::string path = Message("0001A2B3");
  const std::string other = Other();
  TempSpool::Write(other + "/0001A2B3.msg", "another mail");
  EXPECT_EQ(MoveQueueId(path.c_str(), other.c_str(), &db_), 0);
  EXPECT_EQ(TempSpool::Read(other + "/0001A2B3.msg"), "another mail");
  EXPECT_TRUE(Stands(path + ".msg"));
}

TEST_F(Move, ToAMissingDirectoryIsDoneInTheRecordAlone) {
  const std::string path = Message("0001A2B3");
  EXPECT_EQ(MoveQueueId(path.c_str(), spool_.path("none").c_str(), &db_), 0);
  EXPECT_EQ(DirectoryOf("0001A2B3F"), "none");
  EXPECT_TRUE(Stands(path + ".msg")) << "an interrupted move: the file is still there";
}

TEST_F(Move, BetweenFileSystemsTheFileIsCopied) {
  const std::string path = Message("0001A2B3", 100000);
  const std::string other = Other();
  const FailCalls elsewhere(os::Call::kRename, 1, Failing::kOnce, EXDEV);
  EXPECT_EQ(MoveQueueId(path.c_str(), other.c_str(), &db_), 0);
  EXPECT_TRUE(elsewhere.triggered());
  EXPECT_EQ(TempSpool::Read(other + "/0001A2B3.msg"), std::string(100000, 'm'));
  EXPECT_EQ(Names(other).size(), 1u);
  EXPECT_FALSE(Stands(path + ".msg"));
}

TEST_F(Move, BetweenRealFileSystemsTheFileIsCopied) {
  char directory[] = "/dev/shm/qobtest-XXXXXX";
  if (mkdtemp(directory) == nullptr) GTEST_SKIP() << "no second file system here";
  const std::string path = Message("0001A2B3", 100000);
  EXPECT_EQ(MoveQueueId(path.c_str(), directory, &db_), 0);
  EXPECT_EQ(TempSpool::Read(std::string(directory) + "/0001A2B3.msg"), std::string(100000, 'm'));
  EXPECT_FALSE(Stands(path + ".msg"));
  fs::remove_all(directory);
}

TEST_F(Move, WhatSomebodyElseChangedMeanwhileStays) {
  const std::string path = Message("0001A2B3");
  g_rival = db_;
  btrieve::TestBeforeWrite(&ChangeTheMessageOnce);
  EXPECT_EQ(MoveQueueId(path.c_str(), Other().c_str(), &db_), 0);
  MesgRecord record{};
  CountRecords("0001A2B3F", &record);
  EXPECT_STREQ(record.directoryName, "later");
  EXPECT_EQ(record.retryCount, 1);
  EXPECT_EQ(log_.texts(1), Texts{"UpdateMesgRecord 0001A2B3F failed: 80"});
}

TEST_F(Move, OfARecordThatKeepsChangingGivesUp) {
  const std::string path = Message("0001A2B3");
  g_rival = db_;
  btrieve::TestBeforeWrite(&ChangeTheMessage);
  EXPECT_EQ(MoveQueueId(path.c_str(), Other().c_str(), &db_), -1);
  btrieve::TestBeforeWrite(nullptr);
  EXPECT_EQ(DirectoryOf("0001A2B3F"), "queue");
  EXPECT_TRUE(Stands(path + ".msg"));
}

// Which paths were flushed, in order.
std::vector<std::string>* g_flushed = nullptr;
int NoteFlush(os::Call call, std::string_view path) {
  if (call == os::Call::kRename && path.ends_with(".msg")) g_flushed->push_back("rename");
  if (call == os::Call::kFlush && !path.empty()) g_flushed->push_back(std::string(path));
  return 0;
}
class NotedFlushes {
 public:
  NotedFlushes() {
    g_flushed = &paths_;
    os::SetFaultHook(&NoteFlush);
  }
  ~NotedFlushes() { os::SetFaultHook(nullptr); }
  // From the renaming of the message on.
  Texts Behind() const {
    const auto at = std::find(paths_.begin(), paths_.end(), "rename");
    return {at == paths_.end() ? at : at + 1, paths_.end()};
  }

 private:
  std::vector<std::string> paths_;
};

TEST_F(Move, BothDirectoriesAreFlushedBehindTheRename) {
  const std::string path = Message("0001A2B3");
  const std::string other = Other();
  const NotedFlushes noted;
  ASSERT_EQ(MoveQueueId(path.c_str(), other.c_str(), &db_), 0);
  EXPECT_EQ(noted.Behind(), (Texts{other, queue()}));
}

TEST_F(Move, ADirectoryFlushIsLeftOutWhereTheSiteSaysSo) {
  const std::string path = Message("0001A2B3");
  spool_.SetIni("[Store]\nDurability=system\n");
  const NotedFlushes noted;
  ASSERT_EQ(MoveQueueId(path.c_str(), Other().c_str(), &db_), 0);
  EXPECT_EQ(noted.Behind(), Texts{});
}

TEST_F(Move, FailingCallsLoseNothing) {
  for (const os::Call call : {os::Call::kOpen, os::Call::kRename, os::Call::kFlush,
                              os::Call::kWrite, os::Call::kRemove}) {
    const std::string other = Other();
    FailEachCall(
        call,
        [&] {
          fs::remove_all(other);
          fs::create_directory(other);
          DestroyQueueId(Path("00000005").c_str(), &db_);
          Message("00000005");
          MoveQueueId(Path("00000005").c_str(), other.c_str(), &db_);
        },
        [&](bool failed) {
          const bool here = Stands(Path("00000005.msg"));
          const bool there = Stands(PathIn(other, "00000005.msg"));
          ASSERT_TRUE(here || there);
          if (!failed) {
            ASSERT_TRUE(there && !here);
          }
        },
        EIO, 200);
  }
}

}  // namespace
}  // namespace qob::testing
