// What opening and creating say of what they find, and that they leave it as it is.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "platform/store/squeeze.h"
#include "platform/store_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;
namespace fs = std::filesystem;

class StoreOpen : public StoreFile {
 protected:
  static Status TryOpen(const std::string& path, bool read_only = false) {
    FilePointer file;
    return RecordFile::Open(path, {Durability::kCommit, read_only}, &file);
  }
  Status TryCreate(const std::string& path) const {
    return RecordFile::Create(path, SmallDescription(), {});
  }
  // A file with a few records, everything moved from the log, nothing open.
  void MakeFilled(int records = 20) const {
    const FilePointer file = MakeAndOpen();
    Entry entry;
    for (int i = 0; i < records; ++i) {
      ASSERT_EQ(file->Insert(SmallRecord("text", i, "word", "rest").bytes, &entry), kOk);
    }
    ASSERT_EQ(file->Checkpoint(), kOk);
  }
  void RemoveLog() const {
    fs::remove(Path() + "-wal");
    fs::remove(Path() + "-shm");
  }
  // Bytes of every file in the directory but the gate and the log's index.
  std::map<std::string, std::string> Bytes() const {
    std::map<std::string, std::string> bytes;
    for (const auto& entry : fs::directory_iterator(spool_.queue())) {
      const std::string name = entry.path().filename().string();
      if (name.ends_with("-shm") || name.ends_with("-gate") || !entry.is_regular_file()) continue;
      std::string content = TempSpool::Read(entry.path().string());
      // SQLite makes an empty log as soon as it reads a table.
      if (name.ends_with("-wal") && content.empty()) continue;
      bytes[name] = std::move(content);
    }
    return bytes;
  }
  void ExpectRefusedAndLeftAlone(const char* what) const {
    const auto before = Bytes();
    EXPECT_EQ(TryOpen(Path()), kNotOurFile) << what;
    EXPECT_EQ(TryOpen(Path(), true), kNotOurFile) << what;
    EXPECT_TRUE(Bytes() == before) << what;
  }
  void Sql(const char* sql) const {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(Path().c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    EXPECT_EQ(sqlite3_close(db), SQLITE_OK);
  }
};

TEST_F(StoreOpen, SaysThatAFileIsMissing) {
  EXPECT_EQ(TryOpen(Path()), kNoSuchFile);
  EXPECT_EQ(TryOpen(Path("no/such/directory")), kNoSuchFile);
  EXPECT_TRUE(fs::is_empty(spool_.queue()));
}

TEST_F(StoreOpen, CreatesInADirectoryThatStandsOnly) {
  EXPECT_EQ(TryCreate(Path("no/records.btr")), kDirectoryError);
  EXPECT_EQ(TryCreate(spool_.ini() + "/records.btr"), kDirectoryError);
  EXPECT_EQ(TryCreate(spool_.queue() + "/"), kBadFileName);
  EXPECT_EQ(TryCreate(Path()), kOk);
}

TEST_F(StoreOpen, LeavesAnExistingFileAlone) {
  MakeFilled();
  const auto before = Bytes();
  EXPECT_EQ(TryCreate(Path()), kFileExists);
  EXPECT_TRUE(Bytes() == before);
  spool_.Write(Path("foreign"), "not a record file");
  EXPECT_EQ(TryCreate(Path("foreign")), kFileExists);
  EXPECT_EQ(TempSpool::Read(Path("foreign")), "not a record file");
}

TEST_F(StoreOpen, RefusesWhatIsNoFile) {
  MakeFilled();
  fs::create_directory(Path("directory"));
  fs::create_symlink(Path(), Path("link"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  for (const char* name : {"directory", "link", "pipe"}) {
    EXPECT_EQ(TryOpen(Path(name)), kNotOurFile) << name;
    EXPECT_EQ(TryCreate(Path(name)), kFileExists) << name;
  }
  fs::create_symlink(Path("nothing"), Path("dangling"));
  EXPECT_EQ(TryOpen(Path("dangling")), kNotOurFile);
  EXPECT_EQ(TryCreate(Path("dangling")), kFileExists);
}

TEST_F(StoreOpen, TakesNamesThatSqliteWouldMistake) {
  ASSERT_EQ(chdir(spool_.queue().c_str()), 0);
  for (const char* name : {":memory:", "file:x?mode=memory"}) {
    EXPECT_EQ(TryCreate(name), kOk) << name;
    EXPECT_TRUE(fs::exists(Path(name))) << name;
    EXPECT_EQ(TryOpen(name), kOk) << name;
  }
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(StoreOpen, RefusesForeignFiles) {
  const struct {
    const char* name;
    std::string bytes;
  } rows[] = {{"empty", ""},
              {"text", "Dear Sir,\n"},
              {"a long text", std::string(20000, 'x')},
              {"zeros", std::string(8192, '\0')},
              {"the magic alone", std::string("SQLite format 3\0", 16)}};
  for (const auto& row : rows) {
    spool_.Write(Path(), row.bytes);
    ExpectRefusedAndLeftAlone(row.name);
  }
}

TEST_F(StoreOpen, RefusesAnotherProgramsDatabase) {
  Sql("PRAGMA journal_mode=WAL; CREATE TABLE t(a); INSERT INTO t VALUES(1)");
  ExpectRefusedAndLeftAlone("no application id");
  Sql("PRAGMA application_id=0x514F4252; PRAGMA user_version=1");
  ExpectRefusedAndLeftAlone("no tables of ours");
}

TEST_F(StoreOpen, RefusesAFileWhoseTablesAreNotAsDemanded) {
  const char* const changes[] = {
      "CREATE TRIGGER t AFTER INSERT ON records BEGIN DELETE FROM records; END",
      "CREATE VIEW v AS SELECT 1",
      "CREATE TABLE more(a)",
      "DROP INDEX records_k1",
      "CREATE INDEX another ON records(body)",
      "DROP TABLE notes",
      "ALTER TABLE records ADD COLUMN x",
      "DELETE FROM file",
      "INSERT INTO file VALUES(x'00', x'00')",
      "UPDATE file SET description=x'0102'",
      "UPDATE file SET description=substr(description,1,16)",
      "DROP TABLE file; CREATE VIEW file AS SELECT 1 AS description, 2 AS identity",
      "PRAGMA user_version=2",
      "PRAGMA application_id=1"};
  for (const char* change : changes) {
    MakeFilled();
    Sql(change);
    ExpectRefusedAndLeftAlone(change);
    // Also while the change stands in the log alone.
    fs::remove(Path());
    RemoveLog();
    MakeFilled();
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(Path().c_str(), &db), SQLITE_OK);
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    ASSERT_EQ(sqlite3_exec(db, change, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
    ExpectRefusedAndLeftAlone(change);
    fs::remove(Path());
    RemoveLog();
  }
}

TEST_F(StoreOpen, RefusesAFileCutAnywhere) {
  MakeFilled();
  RemoveLog();
  const std::string whole = TempSpool::Read(Path());
  ASSERT_EQ(whole.size() % 4096, 0U);
  for (std::size_t size = 0; size < whole.size(); size += size < 128 ? 1 : 509) {
    spool_.Write(Path(), std::string_view(whole).substr(0, size));
    ExpectRefusedAndLeftAlone(std::to_string(size).c_str());
    RemoveLog();
  }
  spool_.Write(Path(), whole);
  EXPECT_EQ(TryOpen(Path()), kOk);
}

// Whatever byte is turned: refused, or opened and every answer is either right or says damaged.
TEST_F(StoreOpen, NeverGivesAWrongRecordFromAChangedFile) {
  MakeFilled(3);
  RemoveLog();
  const std::string whole = TempSpool::Read(Path());
  int refused = 0;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    // Most of a page is empty.
    if (at > 100 && at % (whole[at] == '\0' ? 193 : 3) != 0) continue;
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ 0x55);
    spool_.Write(Path(), changed);
    FilePointer file;
    const Status opened = RecordFile::Open(Path(), {Durability::kSystem, true}, &file);
    if (opened != kOk) {
      EXPECT_EQ(opened, kNotOurFile) << at;
      ++refused;
    } else {
      const Status status = file->Snapshot([&](const RecordFile::Seen& seen) {
        const SmallRecord right("text", static_cast<int>(seen.number) - 1, "word", "rest");
        EXPECT_TRUE(!seen.ok || std::memcmp(seen.record.data(), right.bytes, kSmallRecord) == 0)
            << at;
        return true;
      });
      EXPECT_TRUE(status == kOk || status == kNotOurFile) << at << " " << status;
    }
    file.reset();
    EXPECT_TRUE(TempSpool::Read(Path()) == changed) << at;
    RemoveLog();
  }
  EXPECT_GT(refused, 100);
}

TEST_F(StoreOpen, OpensAShortFileWhoseMissingPagesStandInTheLog) {
  const FilePointer file = MakeAndOpen();
  const std::size_t made_with = TempSpool::Read(Path()).size();
  Entry entry;
  {
    Transaction transaction(*file);
    for (int i = 0; i < 500; ++i) {
      ASSERT_EQ(file->Insert(SmallRecord("text", i, "word", "rest").bytes, &entry), kOk);
    }
    ASSERT_EQ(transaction.Commit(), kOk);
  }
  const std::string log = TempSpool::Read(Path() + "-wal");
  ASSERT_EQ(file->Checkpoint(), kOk);
  const std::string whole = TempSpool::Read(Path());
  const std::string other = Path("moved.btr");
  // As a crash in the middle of the moving leaves it: the first page says how long it will be.
  spool_.Write(other, std::string_view(whole).substr(0, made_with));
  EXPECT_EQ(TryOpen(other), kNotOurFile);
  spool_.Write(other + "-wal", log);
  FilePointer moved;
  ASSERT_EQ(RecordFile::Open(other, {}, &moved), kOk);
  std::int64_t records = 0;
  EXPECT_EQ(moved->Count(&records), kOk);
  EXPECT_EQ(records, 500);
  moved.reset();
  // Without its last commit the log is none.
  fs::remove(other + "-shm");
  for (const std::size_t cut : {log.size() - 1, log.size() / 2, std::size_t{40}, std::size_t{0}}) {
    spool_.Write(other, std::string_view(whole).substr(0, made_with));
    spool_.Write(other + "-wal", std::string_view(log).substr(0, cut));
    EXPECT_EQ(TryOpen(other), kNotOurFile) << cut;
    EXPECT_EQ(TempSpool::Read(other + "-wal").size(), cut);
  }
  std::string turned = log;
  turned[100] = static_cast<char>(turned[100] ^ 1);
  spool_.Write(other + "-wal", turned);
  EXPECT_EQ(TryOpen(other), kNotOurFile);
}

TEST_F(StoreOpen, NeverPlaysAJournalBack) {
  MakeFilled();
  RemoveLog();
  spool_.Write(Path() + "-journal", "whatever this is");
  ExpectRefusedAndLeftAlone("journal");
}

TEST_F(StoreOpen, MovesALogWithoutItsFileAway) {
  MakeFilled();
  const std::string log = TempSpool::Read(Path() + "-wal");
  ASSERT_FALSE(log.empty());
  for (int round = 0; round < 2; ++round) {
    fs::remove(Path());
    spool_.Write(Path() + "-wal", log + std::to_string(round));
    ASSERT_EQ(TryOpen(Path()), kNoSuchFile);
    ASSERT_EQ(TryCreate(Path()), kOk);
    std::int64_t records = -1;
    EXPECT_EQ(OpenIt()->Count(&records), kOk);
    EXPECT_EQ(records, 0);
  }
  const std::string corrupt = spool_.queue() + "/corrupt/records.btr-wal";
  EXPECT_EQ(TempSpool::Read(corrupt), log + "0");
  EXPECT_EQ(TempSpool::Read(corrupt + ".1"), log + "1");
}

TEST_F(StoreOpen, SweepsWhatAKilledCreatorLeft) {
  for (const char* suffix : {"-new", "-new-wal", "-new-shm", "-new-journal"}) {
    spool_.Write(Path() + suffix, "half of it");
  }
  EXPECT_EQ(TryCreate(Path()), kOk);
  for (const auto& entry : fs::directory_iterator(spool_.queue())) {
    EXPECT_EQ(entry.path().string().find("-new"), std::string::npos) << entry.path();
  }
  EXPECT_EQ(TryOpen(Path()), kOk);
}

TEST_F(StoreOpen, MakesFilesForTheOwnerAlone) {
  const mode_t before = umask(0);
  MakeFilled();
  umask(before);
  for (const char* suffix : {"", "-wal", "-shm", "-gate"}) {
    struct stat status {};
    ASSERT_EQ(stat((Path() + suffix).c_str(), &status), 0) << suffix;
    EXPECT_EQ(status.st_mode & 07777, 0600U) << suffix;
  }
}

TEST_F(StoreOpen, OneOfManyCreatorsMakesTheFileAndAllOpenIt) {
  for (int round = 0; round < 10; ++round) {
    const std::string path = Path(("file" + std::to_string(round)).c_str());
    const std::vector<int> results = InChildren(8, [&](int who) {
      const Status created = RecordFile::Create(path, SmallDescription(), {});
      if (created != kOk && created != kFileExists) return 100 + created;
      FilePointer file;
      if (RecordFile::Open(path, {}, &file) != kOk) return 2;
      Entry entry;
      if (file->Insert(SmallRecord("a", who).bytes, &entry) != kOk) return 3;
      return created == kOk ? 0 : 1;
    });
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), 1), 7);
    FilePointer file;
    ASSERT_EQ(RecordFile::Open(path, {}, &file), kOk);
    std::int64_t records = 0;
    EXPECT_EQ(file->Count(&records), kOk);
    EXPECT_EQ(records, 8);
  }
  EXPECT_FALSE(fs::exists(spool_.queue() + "/corrupt"));
}

TEST_F(StoreOpen, ReadsWithoutWriting) {
  MakeFilled();
  const auto before = Bytes();
  const FilePointer file = OpenIt({Durability::kCommit, true});
  EXPECT_TRUE(file->read_only());
  Entry entry;
  SmallRecord record;
  EXPECT_EQ(file->Find(0, Seek::kFirst, {}, &entry, record.bytes), kOk);
  EXPECT_EQ(file->Insert(record.bytes, &entry), kNoPermission);
  EXPECT_EQ(file->Update(&entry, record.bytes), kNoPermission);
  EXPECT_EQ(file->Delete(entry), kNoPermission);
  EXPECT_EQ(file->AddMark("x", 1), kNoPermission);
  EXPECT_EQ(file->RemoveMark("x", 1), kNoPermission);
  EXPECT_EQ(file->PutNote(1, "x"), kNoPermission);
  EXPECT_EQ(file->RemoveNote(1), kNoPermission);
  EXPECT_EQ(file->Checkpoint(), kNoPermission);
  Transaction transaction(*file);
  EXPECT_EQ(transaction.begun(), kNoPermission);
  EXPECT_EQ(transaction.Commit(), kNoPermission);
  EXPECT_TRUE(Bytes() == before);
}

TEST_F(StoreOpen, LetsAReaderAndAWriterOfOneProcessSee) {
  MakeFilled(1);
  const FilePointer reader = OpenIt({Durability::kCommit, true});
  const FilePointer writer = OpenIt();
  Entry entry;
  ASSERT_EQ(writer->Insert(SmallRecord("b", 1).bytes, &entry), kOk);
  std::int64_t records = 0;
  EXPECT_EQ(reader->Count(&records), kOk);
  EXPECT_EQ(records, 2);
  EXPECT_EQ(reader->Insert(SmallRecord("b", 1).bytes, &entry), kNoPermission);
}

TEST_F(StoreOpen, IsReadByAMemberOfTheGroupAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  for (const char* directory : {"", "/queue"}) chmod((spool_.root() + directory).c_str(), 0755);
  ASSERT_EQ(RecordFile::Create(Path(), SmallDescription(), {"nogroup"}), kOk);
  struct stat status {};
  for (const char* suffix : {"", "-wal", "-shm"}) {
    ASSERT_EQ(stat((Path() + suffix).c_str(), &status), 0) << suffix;
    EXPECT_EQ(status.st_mode & 07777, 0640U) << suffix;
    EXPECT_EQ(status.st_gid, 65534U) << suffix;
  }
  {
    Entry entry;
    ASSERT_EQ(OpenIt()->Insert(SmallRecord("a", 1).bytes, &entry), kOk);
  }
  const auto read_all = [&] {
    FilePointer file;
    std::int64_t records = 0;
    if (RecordFile::Open(Path(), {}, &file) != kNoPermission) return 1;
    if (RecordFile::Open(Path(), {Durability::kCommit, true}, &file) != kOk) return 2;
    if (file->Count(&records) != kOk || records < 1) return 3;
    return 0;
  };
  EXPECT_EQ(WithoutPrivileges(read_all), 0) << "with nobody else";
  const FilePointer writer = OpenIt();
  EXPECT_EQ(WithoutPrivileges(read_all), 0) << "beside a writer";
  chmod(Path().c_str(), 0600);
  EXPECT_EQ(WithoutPrivileges([&] { return TryOpen(Path(), true); }), kNoPermission);
}

TEST_F(StoreOpen, NeedsPermissionToCreate) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  chmod(spool_.root().c_str(), 0755);
  chmod(spool_.queue().c_str(), 0755);
  EXPECT_EQ(WithoutPrivileges([&] { return TryCreate(Path()); }), kNoPermission);
  EXPECT_TRUE(fs::is_empty(spool_.queue()));
}

TEST_F(StoreOpen, FindsWhatIsWrongInAFile) {
  const struct {
    const char* change;
    const char* problem;
  } rows[] = {{"UPDATE records SET body=x'00' WHERE number=2", "record 2 is damaged"},
              {"UPDATE records SET body=(SELECT body FROM records WHERE number=1) WHERE number=3",
               "record 3 is damaged"},
              {"UPDATE records SET k2=x'61' WHERE number=4", "record 4 has another key in index 2"},
              {"UPDATE sqlite_sequence SET seq=5 WHERE name='records'",
               "a record number may be given twice"}};
  for (const auto& row : rows) {
    MakeFilled();
    Sql(row.change);
    const FilePointer file = OpenIt();
    std::string problem;
    EXPECT_EQ(file->Check(&problem, {}), kOk) << row.change;
    EXPECT_EQ(problem, row.problem);
    std::int64_t asked = 0;
    EXPECT_EQ(file->Check(&problem, [&](std::int64_t done) { return (asked = done) < 1; }), kOk);
    EXPECT_EQ(asked, 1);
    EXPECT_THROW(file->Check(&problem,
                             [](std::int64_t done) -> bool {
                               if (done > 0) throw 1;
                               return true;
                             }),
                 int);
    EXPECT_EQ(file->AddMark("written", 1), kOk) << "what was shown is over";
    fs::remove(Path());
    RemoveLog();
  }
}

}  // namespace
}  // namespace qob::testing
