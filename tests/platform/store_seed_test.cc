// A seed is placed whole or not at all, over nothing but a missing file or one without a byte.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "platform/store_fixture.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;
namespace fs = std::filesystem;

constexpr std::int64_t kSeedRecords = 20;

class StoreSeed : public StoreFile {
 protected:
  // What an installation has: the file alone, readable to everybody, in a directory of its own.
  void SetUp() override {
    const std::string maker = spool_.temp() + "/seed.btr";
    ASSERT_EQ(RecordFile::Create(maker, SmallDescription(), {}), kOk);
    FilePointer file;
    ASSERT_EQ(RecordFile::Open(maker, {}, &file), kOk);
    Entry entry;
    for (int i = 0; i < kSeedRecords; ++i) {
      ASSERT_EQ(file->Insert(SmallRecord("seed", i, "word", "rest").bytes, &entry), kOk);
    }
    ASSERT_EQ(file->Checkpoint(), kOk);
    file.reset();
    spool_.File("seed.btr", TempSpool::Read(maker));
    ASSERT_EQ(chmod(Seed().c_str(), 0644), 0);
  }

  std::string Seed() const { return spool_.path("seed.btr"); }
  Status Place() const { return RecordFile::Place(Path(), Seed(), {}); }
  std::int64_t Records() const {
    std::int64_t records = -1;
    FilePointer file;
    if (RecordFile::Open(Path(), {}, &file) != kOk) return -1;
    EXPECT_EQ(file->Count(&records), kOk);
    return records;
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(spool_.queue())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(StoreSeed, AppearsWithAllItsRecords) {
  ASSERT_EQ(Place(), kOk);
  EXPECT_EQ(Records(), kSeedRecords);
  std::string problem;
  const FilePointer file = OpenIt();
  EXPECT_EQ(file->Check(&problem, [](std::int64_t) { return true; }), kOk);
  EXPECT_EQ(problem, "");
  EXPECT_EQ(Names(), (std::vector<std::string>{"records.btr", "records.btr-gate", "records.btr-shm",
                                               "records.btr-wal"}));
}

// Somebody has worked on the seed: its file alone lacks what he did.
TEST_F(StoreSeed, AppearsWithWhatItsLogHolds) {
  const std::string before = TempSpool::Read(Seed());
  {
    FilePointer file;
    ASSERT_EQ(RecordFile::Open(Seed(), {}, &file), kOk);
    Entry entry;
    ASSERT_EQ(file->Insert(SmallRecord("late", 1).bytes, &entry), kOk);
  }
  ASSERT_EQ(TempSpool::Read(Seed()), before);
  const std::string log = TempSpool::Read(Seed() + "-wal");
  ASSERT_FALSE(log.empty());
  ASSERT_EQ(Place(), kOk);
  EXPECT_EQ(fs::file_size(Path() + "-wal"), 0u) << "the copy's file holds all of it";
  EXPECT_EQ(Records(), kSeedRecords + 1);
  EXPECT_EQ(TempSpool::Read(Seed()), before) << "the seed is only read";
  EXPECT_EQ(TempSpool::Read(Seed() + "-wal"), log);
}

TEST_F(StoreSeed, BelongsToTheOwnerAloneWhateverTheSeedsMode) {
  ASSERT_EQ(Place(), kOk);
  for (const char* suffix : {"", "-wal", "-shm"}) {
    struct stat status {};
    ASSERT_EQ(stat((Path() + suffix).c_str(), &status), 0) << suffix;
    EXPECT_EQ(status.st_mode & 07777, 0600U) << suffix;
  }
}

TEST_F(StoreSeed, TakesThePlaceOfAFileOfLengthZero) {
  spool_.Write(Path(), "");
  EXPECT_EQ(Place(), kOk);
  EXPECT_EQ(Records(), kSeedRecords);
}

TEST_F(StoreSeed, LeavesARecordFileAlone) {
  MakeAndOpen();
  EXPECT_EQ(Place(), kFileExists);
  EXPECT_EQ(Records(), 0);
}

TEST_F(StoreSeed, LeavesADamagedFileAlone) {
  ASSERT_EQ(Place(), kOk);
  const std::string whole = TempSpool::Read(Path());
  for (const std::string& bytes :
       {whole.substr(0, 1), whole.substr(0, 5000), std::string("text")}) {
    spool_.Write(Path(), bytes);
    EXPECT_EQ(Place(), kFileExists);
    EXPECT_TRUE(TempSpool::Read(Path()) == bytes);
  }
}

TEST_F(StoreSeed, LeavesDirectoriesAndLinksAlone) {
  const std::string empty = spool_.File("empty", "");
  fs::create_directory(Path("directory"));
  fs::create_symlink(empty, Path("link"));
  fs::create_symlink(spool_.path("nothing"), Path("dangling"));
  for (const char* name : {"directory", "link", "dangling"}) {
    EXPECT_EQ(RecordFile::Place(Path(name), Seed(), {}), kFileExists) << name;
  }
  EXPECT_EQ(fs::file_size(empty), 0U);
  EXPECT_FALSE(fs::exists(spool_.path("nothing")));
}

TEST_F(StoreSeed, IsNotPlacedWhenItIsMissing) {
  fs::remove(Seed());
  EXPECT_EQ(Place(), kNoSuchFile);
  EXPECT_TRUE(Names().empty());
}

TEST_F(StoreSeed, IsNotPlacedWhenItIsNoRecordFile) {
  const std::string whole = TempSpool::Read(Seed());
  for (const std::string& bytes : {std::string(), std::string("text"), whole.substr(0, 5000)}) {
    spool_.Write(Seed(), bytes);
    EXPECT_EQ(Place(), kNotOurFile);
    EXPECT_TRUE(Names().empty());
  }
  spool_.Write(Path(), "");
  EXPECT_EQ(Place(), kNotOurFile);
  EXPECT_EQ(fs::file_size(Path()), 0U);
}

TEST_F(StoreSeed, NeedsADirectory) {
  EXPECT_EQ(RecordFile::Place(Path("no/records.btr"), Seed(), {}), kDirectoryError);
  EXPECT_EQ(RecordFile::Place(spool_.queue() + "/", Seed(), {}), kBadFileName);
}

TEST_F(StoreSeed, MovesALogWithoutItsFileAway) {
  spool_.Write(Path() + "-wal", "what was committed");
  ASSERT_EQ(Place(), kOk);
  EXPECT_EQ(Records(), kSeedRecords);
  EXPECT_EQ(TempSpool::Read(spool_.queue() + "/corrupt/records.btr-wal"), "what was committed");
}

TEST_F(StoreSeed, SweepsWhatAKilledOneLeft) {
  for (const char* suffix : {"-new", "-new-wal", "-new-shm", "-new-gate"}) {
    spool_.Write(Path() + suffix, "half of it");
  }
  ASSERT_EQ(Place(), kOk);
  for (const std::string& name : Names()) EXPECT_EQ(name.find("-new"), std::string::npos) << name;
}

TEST_F(StoreSeed, NeedsPermission) {
  fs::permissions(spool_.root(), fs::perms::all);
  fs::permissions(spool_.queue(), fs::perms::owner_all);
  const int result = WithoutPrivileges([&] { return Place(); });
  if (result == kNotPossible) GTEST_SKIP() << "cannot give up root here";
  if (geteuid() == 0) {
    EXPECT_EQ(result, kNoPermission);
  }
}

// Each process goes on at once with the file that it finds: what one has added must never vanish
// under the seed of another.
TEST_F(StoreSeed, OfManyProcessesIsPlacedOnce) {
  for (int round = 0; round < 10; ++round) {
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    if (round % 2 != 0) spool_.Write(Path(), "");
    const std::vector<int> results = InChildren(8, [&](int who) {
      const Status placed = Place();
      if (placed != kOk && placed != kFileExists) return 100 + placed;
      FilePointer file;
      if (RecordFile::Open(Path(), {}, &file) != kOk) return 2;
      Entry entry;
      if (file->Insert(SmallRecord("added", who).bytes, &entry) != kOk) return 3;
      return placed == kOk ? 0 : 1;
    });
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), 1), 7);
    EXPECT_EQ(Records(), kSeedRecords + 8);
  }
}

TEST_F(StoreSeed, BesideACreatorOneOfTheTwoFilesStands) {
  for (int round = 0; round < 10; ++round) {
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    const std::vector<int> results = InChildren(2, [&](int who) {
      const Status status = who == 0 ? Place() : RecordFile::Create(Path(), SmallDescription(), {});
      return status == kOk ? 0 : status == kFileExists ? 1 : 2;
    });
    EXPECT_EQ(results[0] + results[1], 1);
    EXPECT_EQ(Records(), results[0] == 0 ? kSeedRecords : 0);
  }
}

class StoreSeedFault : public StoreSeed {
 protected:
  void Attempt() {
    SuspendFailing(true);
    fs::remove_all(spool_.queue());
    fs::create_directory(spool_.queue());
    const std::string path = Path();
    const std::string seed = Seed();
    spool_.Write(path, "");
    SuspendFailing(false);
    status_ = RecordFile::Place(path, seed, {});
  }
  // Whole, or what stood there before; nothing beside it unless removing fails, too.
  void Check(bool removing_works) const {
    if (Records() != kSeedRecords) {
      EXPECT_NE(status_, kOk);
      EXPECT_TRUE(!fs::exists(Path()) || fs::file_size(Path()) == 0);
    }
    for (const std::string& name : Names()) {
      if (removing_works) {
        EXPECT_EQ(name.find("-new"), std::string::npos) << name;
      }
    }
    if (status_ != kOk) {
      const Status again = Place();
      EXPECT_TRUE(again == kOk || again == kFileExists) << again;
    }
    EXPECT_EQ(Records(), kSeedRecords);
  }
  Status status_ = kOk;
};

TEST_F(StoreSeedFault, OfAnyAllocationLeavesNothingHalf) {
  FailEachAllocation([&] { Attempt(); }, [&](bool) { Check(true); });
}

TEST_F(StoreSeedFault, OfAnySystemCallLeavesNothingHalf) {
  for (const os::Call call :
       {os::Call::kOpen, os::Call::kClose, os::Call::kRead, os::Call::kWrite, os::Call::kSeek,
        os::Call::kStat, os::Call::kFlush, os::Call::kRename, os::Call::kRemove, os::Call::kAccess,
        os::Call::kLock, os::Call::kMode}) {
    FailEachCall(
        call, [&] { Attempt(); }, [&](bool) { Check(call != os::Call::kRemove); });
  }
}

}  // namespace
}  // namespace qob::testing
