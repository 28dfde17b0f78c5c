// How the message database comes to be, is opened and closed: what it is created with, foreign
// files, directories that are missing, several processes at once.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qobplatform/btrcall.h>

#include "mesgdb_support.h"
#include "platform/spool/message_record.h"
#include "support/two_processes.h"

namespace {

using namespace qob::testing;
namespace fs = std::filesystem;

class MesgdbOpen : public ::testing::Test {
 protected:
  void SetUp() override { InitQOBDll_NOMQ("queue test"); }
  std::string file() const { return spool_.queue() + "/mesg.btr"; }
  static int OpenByBtrcall(std::string path, MesgHandle* db) {
    return BTRCALL(B_OPEN, db, nullptr, nullptr, path.data(), 255, 0);
  }
  std::vector<std::string> Names(const std::string& directory) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

struct KeyRow {
  unsigned position, length, type, flags;
};
// Position from 1, length, type (11 text, 1 integer), flags, as files in the field carry them.
constexpr KeyRow kKeys[19] = {
    {1, 16, 11, 0x503},     {17, 16, 11, 0x103},    {33, 255, 11, 0x503}, {288, 4, 1, 0x103},
    {292, 512, 11, 0x103},  {804, 4, 1, 0x103},     {808, 4, 1, 0x103},   {812, 4, 1, 0x103},
    {816, 4, 1, 0x103},     {820, 4, 1, 0x103},     {824, 4, 1, 0x103},   {828, 256, 11, 0x103},
    {1084, 512, 11, 0x103}, {1596, 100, 11, 0x103}, {1696, 4, 1, 0x103},  {1700, 4, 1, 0x103},
    {1704, 512, 11, 0x103}, {2216, 4, 1, 0x103},    {2220, 4, 1, 0x103}};

std::string ExpectedDescription(std::size_t keys) {
  std::string bytes(16 + 16 * keys, '\0');
  const auto put = [&](std::size_t at, unsigned value) {
    bytes[at] = static_cast<char>(value & 0xFF);
    bytes[at + 1] = static_cast<char>(value >> 8);
  };
  put(0, 2224);
  put(2, 4096);
  put(4, 3);
  put(10, 14);
  for (std::size_t i = 0; i < keys; ++i) {
    put(16 + 16 * i, kKeys[i].position);
    put(16 + 16 * i + 2, kKeys[i].length);
    put(16 + 16 * i + 4, kKeys[i].flags);
    bytes[16 + 16 * i + 10] = static_cast<char>(kKeys[i].type);
  }
  return bytes;
}

TEST(MesgdbDescription, IsTheThreeHundredAndTwentyBytes) {
  const std::string bytes = qob::store::WriteDescription(qob::spool::DatabaseDescription());
  EXPECT_EQ(bytes.size(), 320U);
  EXPECT_TRUE(bytes == ExpectedDescription(19));
}

TEST_F(MesgdbOpen, AMissingDatabaseIsNoFileAndThenCreatedWithThreeIndexes) {
  EXPECT_EQ(OpenByBtrcall(file(), &db_), 12);
  EXPECT_TRUE(Names(spool_.queue()).empty()) << "looking for it has made nothing";
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  EXPECT_TRUE(fs::exists(file()));
  std::string stat(400, '?');
  std::uint32_t length = 400;
  ASSERT_EQ(BTRCALL(B_STAT, &db_, stat.data(), &length, nullptr, 0, 0), 0);
  EXPECT_EQ(length, 64U);
  stat.resize(length);
  EXPECT_TRUE(stat == ExpectedDescription(3)) << "and no records";
  EXPECT_EQ(CloseMesgFile(&db_), 0);
  EXPECT_EQ(OpenByBtrcall(file(), &db_), 0);
  EXPECT_EQ(CloseMesgFile(&db_), 0);
}

TEST_F(MesgdbOpen, TakesADirectoryOfTheCallersWithEitherSeparator) {
  fs::create_directory(spool_.path("other"));
  std::string directory = spool_.path("other");
  for (char& c : directory) {
    if (c == '/') c = '\\';
  }
  ASSERT_EQ(OpenMesgFile(directory.c_str(), &db_), 0);
  EXPECT_TRUE(fs::exists(spool_.path("other") + "/mesg.btr"));
  EXPECT_FALSE(fs::exists(file()));
  MesgRecord record = Record("a", "one");
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  MesgHandle again{};
  ASSERT_EQ(OpenMesgFile(spool_.path("other").c_str(), &again), 0);
  EXPECT_EQ(FindMesgRecord(&again, "a", &record), 0) << "one file under both names";
  EXPECT_EQ(CloseMesgFile(&again), 0);
  EXPECT_EQ(CloseMesgFile(&db_), 0);
}

TEST_F(MesgdbOpen, KeepsWhatWasWritten) {
  MesgRecord record = Record("0001A2B3F", "one", "queue", "HELD");
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  ASSERT_EQ(CloseMesgFile(&db_), 0);
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  MesgRecord read;
  ASSERT_EQ(FindMesgRecord(&db_, "0001A2B3F", &read), 0);
  EXPECT_TRUE(SameBytes(read, record));
  ASSERT_EQ(CloseMesgFile(&db_), 0);
}

TEST_F(MesgdbOpen, CreatingWhatExistsLeavesItAlone) {
  ASSERT_EQ(CreateMesgFile(nullptr), 0);
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  MesgRecord record = Record("a", "one");
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  EXPECT_EQ(CreateMesgFile(nullptr), 59);
  EXPECT_EQ(FindMesgRecord(&db_, "a", &record), 0);
  ASSERT_EQ(CloseMesgFile(&db_), 0);
  EXPECT_EQ(CreateMesgFile(nullptr), 59);
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  EXPECT_EQ(FindMesgRecord(&db_, "a", &record), 0);
  ASSERT_EQ(CloseMesgFile(&db_), 0);
}

TEST_F(MesgdbOpen, AMissingDirectoryGivesAStatusAndAHandleThatIsNotOpen) {
  std::memset(&db_, 0xFF, sizeof db_);
  const std::string missing = spool_.path("missing");
  EXPECT_EQ(OpenMesgFile(missing.c_str(), &db_), 12);
  const std::array<std::uint8_t, 4> cleared{};
  EXPECT_EQ(std::memcmp(&db_, cleared.data(), 4), 0) << "its first word is cleared";
  MesgRecord record;
  EXPECT_EQ(FindMesgRecord(&db_, "a", &record), 3);
  EXPECT_EQ(CloseMesgFile(&db_), 3);
  EXPECT_NE(CreateMesgFile(missing.c_str()), 0);
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(MesgdbOpen, AFailedOpenForgetsTheFileThatTheHandleStoodFor) {
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  const MesgHandle open = db_;
  EXPECT_EQ(OpenMesgFile(spool_.path("missing").c_str(), &db_), 12);
  MesgRecord record;
  EXPECT_EQ(GetFirstMesgRecordByKey(&db_, &record, 0), 3);
  MesgHandle copy = open;
  EXPECT_EQ(GetFirstMesgRecordByKey(&copy, &record, 0), 9) << "the file itself is still open";
  EXPECT_EQ(CloseMesgFile(&copy), 0);
}

TEST_F(MesgdbOpen, WithoutADirectoryThereIsNoFile) {
  EXPECT_EQ(OpenMesgFile("", &db_), 11);
  EXPECT_EQ(CreateMesgFile(""), 11);
}

TEST_F(MesgdbOpen, AForeignFileIsRefusedAndNotWrittenTo) {
  const std::string kinds[] = {"", "short", std::string(100000, 'x'),
                               "SQLite format 3" + std::string(5000, '\0')};
  for (const std::string& bytes : kinds) {
    TempSpool::Write(file(), bytes);
    EXPECT_EQ(OpenMesgFile(nullptr, &db_), 30) << bytes.size();
    EXPECT_EQ(CreateMesgFile(nullptr), 59);
    EXPECT_TRUE(TempSpool::Read(file()) == bytes);
    EXPECT_EQ(Names(spool_.queue()), (std::vector<std::string>{"mesg.btr"}));
  }
}

TEST_F(MesgdbOpen, ADirectoryOfThatNameIsRefused) {
  fs::create_directory(file());
  const int status = OpenMesgFile(nullptr, &db_);
  EXPECT_NE(status, 0);
  EXPECT_NE(status, 12);
  EXPECT_TRUE(fs::is_empty(file()));
}

TEST_F(MesgdbOpen, WithoutPermissionThereIsAStatus) {
  ASSERT_EQ(CreateMesgFile(nullptr), 0);
  fs::permissions(spool_.root(), fs::perms::all);
  fs::permissions(spool_.queue(), fs::perms::all);
  fs::permissions(file(), fs::perms::none);
  const int refused = WithoutPrivileges([&] { return OpenMesgFile(nullptr, &db_) == 46 ? 0 : 1; });
  EXPECT_TRUE(refused == 0 || refused == kNotPossible) << refused;
  fs::permissions(spool_.queue(), fs::perms::owner_read | fs::perms::owner_exec |
                                      fs::perms::others_read | fs::perms::others_exec);
  fs::remove(file());
  const int closed = WithoutPrivileges([&] {
    const int opened = OpenMesgFile(nullptr, &db_);
    return opened == 12 && CreateMesgFile(nullptr) == 46 ? 0 : 1;
  });
  EXPECT_TRUE(closed == 0 || closed == kNotPossible) << closed;
  EXPECT_FALSE(fs::exists(file()));
  fs::permissions(spool_.queue(), fs::perms::owner_all);
}

// However many come at once to an empty directory, they end with one file.
TEST_F(MesgdbOpen, ProcessesThatOpenAtOnceShareOneFile) {
  constexpr int kProcesses = 6;
  for (int round = 0; round < 5; ++round) {
    const std::string directory = spool_.path("round" + std::to_string(round));
    fs::create_directory(directory);
    const std::vector<int> results = InChildren(kProcesses, [&](int i) {
      MesgHandle db{};
      const int status = OpenMesgFile(directory.c_str(), &db);
      if (status != 0) return status;
      MesgRecord record = Record("k" + std::to_string(i), "of " + std::to_string(i));
      const int inserted = InsertMesgRecord(&db, &record);
      CloseMesgFile(&db);
      return inserted;
    });
    EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
    ASSERT_EQ(OpenMesgFile(directory.c_str(), &db_), 0);
    MesgRecord record;
    for (int i = 0; i < kProcesses; ++i) {
      EXPECT_EQ(FindMesgRecord(&db_, ("k" + std::to_string(i)).c_str(), &record), 0);
    }
    EXPECT_EQ(CloseMesgFile(&db_), 0);
  }
}

TEST_F(MesgdbOpen, AHandleCarriedOverAForkIsNotOpenInTheChild) {
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  MesgRecord record = Record("a", "one");
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  EXPECT_EQ(InChild([&] {
              MesgRecord read;
              if (FindMesgRecord(&db_, "a", &read) != 3) return 1;
              if (InsertMesgRecord(&db_, &record) != 3) return 2;
              if (CloseMesgFile(&db_) != 3) return 3;
              if (OpenMesgFile(nullptr, &db_) != 0) return 4;
              if (FindMesgRecord(&db_, "a", &read) != 0) return 5;
              if (DeleteCurrentMesgRecordByKey(&db_, 0) != 0) return 6;
              return CloseMesgFile(&db_);
            }),
            0);
  EXPECT_EQ(FindMesgRecord(&db_, "a", &record), 4);
  EXPECT_EQ(CloseMesgFile(&db_), 0);
}

// Two processes write the same records all the time: no update is lost, every 80 is told.
TEST_F(MesgdbOpen, ProcessesCountTogetherWithoutLosingAnUpdate) {
  spool_.SetIni("[Store]\nDurability=system\n");
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  MesgRecord record = Record("counter", "");
  ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  constexpr int kProcesses = 3;
  constexpr int kEach = 200;
  const std::vector<int> results = InChildren(kProcesses, [&](int) {
    MesgHandle db{};
    if (OpenMesgFile(nullptr, &db) != 0) return 1;
    for (int done = 0; done < kEach;) {
      MesgRecord read;
      if (FindMesgRecord(&db, "counter", &read) != 0) return 2;
      ++read.retryCount;
      const int status = UpdateCurrentMesgRecordByKey(&db, &read, 0);
      if (status != 0 && status != 80) return status;
      if (status == 0) ++done;
    }
    return CloseMesgFile(&db);
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
  ASSERT_EQ(FindMesgRecord(&db_, "counter", &record), 0);
  EXPECT_EQ(record.retryCount, kProcesses * kEach);
  EXPECT_EQ(CloseMesgFile(&db_), 0);
}

}  // namespace
