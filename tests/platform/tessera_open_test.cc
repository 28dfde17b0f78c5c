// How a relation is made and opened: what stands on disk, what is refused and left alone, what is
// made again.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "platform/os/directory_lock.h"
#include "platform/tessera/open_relation.h"
#include "support/two_processes.h"
#include "tessera_fixture.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

class TesseraOpen : public Tessera {
 protected:
  // The relation with one record, closed, all of it in its file.
  void MakeWithOne() const {
    Make();
    tesseraBase session;
    People people(session, Directory());
    ASSERT_EQ(people.Add("alice", "attic"), kDone);
  }
  // Whether one record stands there.
  bool HasOne() const {
    tesseraBase session;
    People people(session, Directory());
    return people.status() == kDone && people.All() == Texts{"alice/attic"};
  }
  static std::string Bytes(std::initializer_list<int> bytes) {
    std::string text;
    for (const int byte : bytes) text += static_cast<char>(byte);
    return text;
  }
};

// ---- making

TEST_F(TesseraOpen, MakesTwoFilesOfWhichTheSecondDescribesTheFirst) {
  Make();
  const std::string index = TempSpool::Read(Index());
  ASSERT_EQ(index.size(), 64u);
  EXPECT_EQ(index.substr(0, 24),
            "QOBRELN1" + Bytes({64, 0, 0, 0, 4, 0, 0, 0, 16, 0, 0, 0, 1, 0, 0, 0}));
  EXPECT_EQ(index.substr(40), "people" + std::string(18, '\0'));
  EXPECT_NE(TempSpool::Read(Data()).find(index.substr(24, 16)), std::string::npos)
      << "the identity stands in the record file";
  struct stat status {};
  ASSERT_EQ(stat(Index().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(TesseraOpen, TheIndexFileSaysWhetherKeysMayStandTwice) {
  Make(false);
  EXPECT_EQ(TempSpool::Read(Index()).substr(20, 4), Bytes({0, 0, 0, 0}));
}

TEST_F(TesseraOpen, TheIndexFileHoldsAsMuchOfANameAsFits) {
  const char* const name = "abcdefghijklmnopqrstuvwxyz0123456789";
  Make(true, name);
  EXPECT_EQ(TempSpool::Read(Index(name)).substr(40), "abcdefghijklmnopqrstuvwx");
  EXPECT_EQ(Opening(name), kDone);
}

TEST_F(TesseraOpen, UseChangesNeitherTheIndexFileNorItsPlace) {
  Make();
  const std::string before = TempSpool::Read(Index());
  struct stat first {};
  ASSERT_EQ(stat(Index().c_str(), &first), 0);
  People people(session_, Directory());
  ASSERT_EQ(people.lock(false, kForEver), kDone);
  ASSERT_EQ(people.Add("alice"), kDone);
  ASSERT_EQ(people.unlock(), kDone);
  struct stat last {};
  ASSERT_EQ(stat(Index().c_str(), &last), 0);
  EXPECT_EQ(TempSpool::Read(Index()), before);
  EXPECT_EQ(last.st_ino, first.st_ino);
}

TEST_F(TesseraOpen, NeverMakesOneOverFilesThatStand) {
  MakeWithOne();
  EXPECT_EQ(tesRel::create(Directory().c_str(), "people", 64, 4, 16, true), kStandsAlready);
  EXPECT_TRUE(HasOne());
  TempSpool::Write(Index("other"), "somebody's");
  EXPECT_EQ(tesRel::create(Directory().c_str(), "other", 64, 4, 16, true), kStandsAlready);
  EXPECT_EQ(TempSpool::Read(Index("other")), "somebody's");
  EXPECT_FALSE(fs::exists(Data("other")));
  TempSpool::Write(Data("third"), "");
  EXPECT_EQ(tesRel::create(Directory().c_str(), "third", 64, 4, 16, true), kStandsAlready);
}

TEST_F(TesseraOpen, RefusesRecordsAndKeysThatAreNone) {
  const std::string directory = Directory();
  const struct {
    std::uint32_t record, key_at, key_bytes;
    dbError status;
  } cases[] = {
      {0, 0, 0, 41},        {64, 0, 0, 41},     {64, 64, 1, 41},         {64, 60, 5, 41},
      {64, 65, 1, 41},      {65536, 0, 16, 41}, {64, 0xFFFFFFFF, 2, 41}, {64, 1, 0xFFFFFFFF, 41},
      {65535, 65534, 1, 0}, {1, 0, 1, 0},       {64, 60, 4, 0}};
  int number = 0;
  for (const auto& one : cases) {
    const std::string name = "r" + std::to_string(number++);
    EXPECT_EQ(tesRel::create(directory.c_str(), name.c_str(), one.record, one.key_at, one.key_bytes,
                             true),
              one.status)
        << one.record << " " << one.key_at << " " << one.key_bytes;
    EXPECT_EQ(fs::exists(Data(name.c_str())), one.status == kDone);
  }
}

TEST_F(TesseraOpen, NullAndEmptyNamesAreNoRelations) {
  const std::string directory = Directory();
  EXPECT_EQ(tesRel::create(nullptr, "people", 64, 4, 16, true), 11);
  EXPECT_EQ(tesRel::create(directory.c_str(), nullptr, 64, 4, 16, true), 11);
  EXPECT_EQ(tesRel::create("", "people", 64, 4, 16, true), 11);
  EXPECT_EQ(tesRel::create(directory.c_str(), "", 64, 4, 16, true), 11);
  const People no_name(session_, directory, "");
  EXPECT_EQ(no_name.status(), kNotOpenNow);
  const People no_directory(session_, "");
  EXPECT_EQ(no_directory.status(), kNotOpenNow);
  class Null : public tesRel {
   public:
    explicit Null(tesseraBase& session) : tesRel(session, nullptr, nullptr) { attach(-1); }
    void* record() override { return nullptr; }
    uint32_t recordSize() const override { return 0; }
  };
  Null null(session_);
  EXPECT_EQ(null.status(), kNotOpenNow);
}

TEST_F(TesseraOpen, TakesADirectoryWithEitherSeparator) {
  Make();
  std::string backslashes = Directory();
  for (char& c : backslashes) c = c == '/' ? '\\' : c;
  const People people(session_, backslashes);
  EXPECT_EQ(people.status(), kDone);
  EXPECT_EQ(tesRel::create(backslashes.c_str(), "more", 64, 4, 16, true), kDone);
  EXPECT_TRUE(fs::exists(Data("more")));
}

TEST_F(TesseraOpen, AMissingDirectoryHasNoRelations) {
  EXPECT_EQ(tesRel::create("/nonexistent", "people", 64, 4, 16, true), 35);
  const People people(session_, "/nonexistent");
  EXPECT_EQ(people.status(), kNotOpenNow);
}

// ---- the index file is made again

TEST_F(TesseraOpen, AMissingIndexFileIsMadeAgain) {
  MakeWithOne();
  const std::string before = TempSpool::Read(Index());
  ASSERT_TRUE(fs::remove(Index()));
  EXPECT_TRUE(HasOne());
  EXPECT_EQ(TempSpool::Read(Index()), before);
}

TEST_F(TesseraOpen, AWrongIndexFileIsMadeAgain) {
  MakeWithOne();
  const std::string right = TempSpool::Read(Index());
  std::vector<std::string> wrong = {"", "x", right + "x", right.substr(0, 63)};
  for (std::size_t i = 0; i < right.size(); ++i) {
    wrong.push_back(right);
    wrong.back()[i] = static_cast<char>(wrong.back()[i] ^ 1);
  }
  for (const std::string& bytes : wrong) {
    TempSpool::Write(Index(), bytes);
    ASSERT_TRUE(HasOne());
    ASSERT_EQ(TempSpool::Read(Index()), right);
  }
  fs::remove(Index());
  fs::create_symlink(spool_.File("elsewhere", "theirs"), Index());
  EXPECT_TRUE(HasOne());
  EXPECT_FALSE(fs::is_symlink(Index()));
  EXPECT_EQ(TempSpool::Read(spool_.path("elsewhere")), "theirs");
}

TEST_F(TesseraOpen, TheIndexFileOfAnotherRelationIsWrong) {
  MakeWithOne();
  const std::string right = TempSpool::Read(Index());
  Make(true, "others");
  fs::copy_file(Index("others"), Index(), fs::copy_options::overwrite_existing);
  EXPECT_TRUE(HasOne());
  EXPECT_EQ(TempSpool::Read(Index()), right);
}

TEST_F(TesseraOpen, WhatAKilledMakerLeftBehindIsNoHindrance) {
  MakeWithOne();
  fs::remove(Index());
  TempSpool::Write(Index() + "-new", "half");
  EXPECT_TRUE(HasOne());
  EXPECT_FALSE(fs::exists(Index() + "-new"));
}

TEST_F(TesseraOpen, ManyWhoFindTheIndexFileMissingAllOpen) {
  MakeWithOne();
  const std::string right = TempSpool::Read(Index());
  tessera::OpenRelation::CloseKept();
  for (int round = 0; round < 20; ++round) {
    fs::remove(Index());
    EXPECT_EQ(InChildren(4, [&](int) { return HasOne() ? 0 : 1; }), std::vector<int>(4));
    EXPECT_EQ(TempSpool::Read(Index()), right);
  }
}

// ---- what is refused, and never written to

TEST_F(TesseraOpen, AFileOfLengthZeroGives22AndStays) {
  TempSpool::Write(Data(), "");
  EXPECT_EQ(Opening(), kEmptyFile);
  EXPECT_EQ(fs::file_size(Data()), 0u);
  EXPECT_FALSE(fs::exists(Index()));
}

TEST_F(TesseraOpen, WhatIsNoRegularFileIsRefused) {
  fs::create_directory(Data("directory"));
  EXPECT_EQ(Opening("directory"), kRefused);
  Make();
  fs::create_symlink(Data(), Data("link"));
  EXPECT_EQ(Opening("link"), kRefused);
  ASSERT_EQ(mkfifo(Data("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Opening("pipe"), kRefused);
}

TEST_F(TesseraOpen, FilesOfOthersAreRefusedAndLeftAlone) {
  for (const std::string& bytes :
       {std::string("x"), std::string("From alice\n"), std::string(64, '\0'),
        std::string(8192, '\0'), "SQLite format 3" + std::string(8177, '\0')}) {
    TempSpool::Write(Data(), bytes);
    EXPECT_EQ(Opening(), kRefused);
    EXPECT_EQ(TempSpool::Read(Data()), bytes);
    EXPECT_FALSE(fs::exists(Index()));
    EXPECT_FALSE(fs::exists(Data() + "-wal"));
  }
}

TEST_F(TesseraOpen, ARecordFileThatIsNoRelationIsRefused) {
  store::FileDescription two = tessera::RelationDescription(64, 4, 16, true);
  two.keys.push_back(two.keys[0]);
  two.index_count = 2;
  ASSERT_EQ(store::RecordFile::Create(Data("two"), two, {}), store::kOk);
  EXPECT_EQ(Opening("two"), kRefused);
  store::FileDescription cased = tessera::RelationDescription(64, 4, 16, true);
  cased.keys[0].flags &= static_cast<std::uint16_t>(~store::kKeyAnyCase);
  ASSERT_EQ(store::RecordFile::Create(Data("cased"), cased, {}), store::kOk);
  EXPECT_EQ(Opening("cased"), kRefused);
  EXPECT_FALSE(fs::exists(Index("two")) || fs::exists(Index("cased")));
}

// The log is moved into the file and removed first: what is told apart is the file alone.
TEST_F(TesseraOpen, EveryBitOfTheHeaderThatIsChangedIsRefusedOrHarmless) {
  MakeWithOne();
  {
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data(), {}, &file), store::kOk);
    ASSERT_EQ(file->Checkpoint(), store::kOk);
  }
  tessera::OpenRelation::CloseKept();
  const std::string good = TempSpool::Read(Data());
  int refused = 0;
  for (std::size_t at = 0; at < 100; ++at) {
    for (const char* suffix : {"-wal", "-shm", "-gate"}) fs::remove(Data() + suffix);
    std::string bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x41);
    TempSpool::Write(Data(), bytes);
    const dbError status = Opening();
    if (status != kDone) {
      EXPECT_EQ(status, kRefused) << at;
      ++refused;
    } else {
      EXPECT_TRUE(HasOne()) << at;
    }
    EXPECT_EQ(TempSpool::Read(Data()), bytes) << at << " was written to";
    tessera::OpenRelation::CloseKept();
  }
  EXPECT_EQ(refused, 44) << "the bytes that say what the file is and how long";
}

TEST_F(TesseraOpen, AFileThatWasCutIsRefused) {
  MakeWithOne();
  {
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data(), {}, &file), store::kOk);
    ASSERT_EQ(file->Checkpoint(), store::kOk);
  }
  tessera::OpenRelation::CloseKept();
  const std::string good = TempSpool::Read(Data());
  std::vector<std::size_t> sizes = {1, 15, 16, 64, 99, 100, 101, 4095, 4096, 4097};
  for (std::size_t size = 997; size < good.size(); size += 997) sizes.push_back(size);
  for (std::size_t size = 4096; size < good.size(); size += 4096) sizes.push_back(size);
  sizes.push_back(good.size() - 1);
  for (const std::size_t size : sizes) {
    for (const char* suffix : {"-wal", "-shm", "-gate"}) fs::remove(Data() + suffix);
    TempSpool::Write(Data(), good.substr(0, size));
    EXPECT_EQ(Opening(), kRefused) << size;
    EXPECT_EQ(TempSpool::Read(Data()), good.substr(0, size)) << size;
  }
  for (const char* suffix : {"-wal", "-shm", "-gate"}) fs::remove(Data() + suffix);
  TempSpool::Write(Data(), good);
  EXPECT_TRUE(HasOne());
}

TEST_F(TesseraOpen, ADirectoryThatIsHeldTooLongGives84) {
  MakeWithOne();
  tessera::OpenRelation::CloseKept();
  fs::remove(Index());
  EXPECT_EQ(InChild([&] {
              store::SetWaitMs(20);
              os::DirectoryLock held;
              if (held.Take(Directory(), 0) != 0) return 200;
              return Opening();
            }),
            kHeldTooLong);
  EXPECT_TRUE(HasOne());
}

TEST_F(TesseraOpen, WithoutPermissionItGives46) {
  MakeWithOne();
  fs::permissions(spool_.root(), fs::perms::all);
  fs::permissions(Directory(), fs::perms::all);
  const int result = WithoutPrivileges([&] { return Opening(); });
  if (result == kNotPossible) GTEST_SKIP() << "root cannot be given up";
  if (geteuid() != 0) GTEST_SKIP() << "the owner may always";
  EXPECT_EQ(result, kForbidden);
}

TEST_F(TesseraOpen, WhoMayOnlyReadReadsAndChangesNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "needs two users";
  MakeWithOne();
  fs::permissions(spool_.root(), fs::perms::all);
  fs::permissions(Directory(),
                  fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
  for (const fs::directory_entry& entry : fs::directory_iterator(Directory())) {
    fs::permissions(entry.path(),
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
  }
  const int result = WithoutPrivileges([&] {
    tesseraBase session;
    People people(session, Directory());
    if (people.status() != kDone) return 1;
    if (people.lock(false, 1000) != kDone) return 2;
    if (people.Get("alice") != kDone || people.room() != "attic") return 3;
    if (people.put() != kForbidden || people.del() != kForbidden) return 4;
    if (people.Add("bob") != kForbidden) return 5;
    return people.unlock() == kDone ? 0 : 6;
  });
  if (result == kNotPossible) GTEST_SKIP() << "root cannot be given up";
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(HasOne());
}

// ---- what stays open between two objects

TEST_F(TesseraOpen, ARelationThatWasRemovedIsNoticedAtTheNextOpening) {
  MakeWithOne();
  for (const fs::directory_entry& entry : fs::directory_iterator(Directory())) {
    fs::remove(entry.path());
  }
  EXPECT_EQ(Opening(), kNotOpenNow);
  Make();
  EXPECT_EQ(Opening(), kDone);
  People people(session_, Directory());
  EXPECT_EQ(people.All(), Texts{});
}

TEST_F(TesseraOpen, ARelationThatWasReplacedIsNoticedAtTheNextOpening) {
  MakeWithOne();
  Make(true, "others");
  {
    People others(session_, Directory(), "others");
    ASSERT_EQ(others.Add("bob", "cellar"), kDone);
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data("others"), {}, &file), store::kOk);
    ASSERT_EQ(file->Checkpoint(), store::kOk);
  }
  People old(session_, Directory());
  for (const char* suffix : {"-wal", "-shm"}) fs::remove(Data() + suffix);
  fs::rename(Data("others"), Data());
  People people(session_, Directory());
  EXPECT_EQ(people.All(), Texts{"bob/cellar"});
  EXPECT_EQ(old.All(), Texts{"alice/attic"}) << "who had it open goes on with what it had";
}

TEST_F(TesseraOpen, DamageDoneBetweenTwoOpeningsIsNoticedWithoutDelay) {
  MakeWithOne();
  {
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data(), {}, &file), store::kOk);
    ASSERT_EQ(file->Checkpoint(), store::kOk);
  }
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(HasOne());
    std::fstream file(Data(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(68);
    file.put('\0');
    file.close();
    ASSERT_EQ(Opening(), kRefused) << round;
    file.open(Data(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(68);
    file.put('Q');
    file.close();
  }
}

// Whoever went on with a log that has no name any more would write for himself alone.
TEST_F(TesseraOpen, ALogThatWasTakenAwayIsNoticedAtTheNextOpening) {
  MakeWithOne();
  {
    std::shared_ptr<store::RecordFile> file;
    ASSERT_EQ(store::RecordFile::Open(Data(), {}, &file), store::kOk);
    ASSERT_EQ(file->Checkpoint(), store::kOk);
  }
  for (const char* suffix : {"-wal", "-shm"}) ASSERT_TRUE(fs::remove(Data() + suffix));
  {
    People people(session_, Directory());
    ASSERT_EQ(people.Add("bob", "cellar"), kDone);
  }
  EXPECT_EQ(InChild([&] {
              tesseraBase session;
              People people(session, Directory());
              return people.Get("bob");
            }),
            kDone);
}

std::size_t OpenDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

TEST_F(TesseraOpen, NotMoreThanAFewStayOpen) {
  tessera::OpenRelation::CloseKept();
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < 30; ++i) {
    const std::string name = "r" + std::to_string(i);
    Make(true, name.c_str());
    People people(session_, Directory(), name.c_str());
    ASSERT_EQ(people.Add("alice"), kDone);
  }
  constexpr std::size_t kFilesOfOne =
      5;  // the record file, its log, index and gate, the index file
  EXPECT_LE(OpenDescriptors(), before + tessera::kMostKept * kFilesOfOne);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(Opening(("r" + std::to_string(i)).c_str()), kDone);
  tessera::OpenRelation::CloseKept();
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace qob::testing
