// The peer of the message database: a plain SQLite program as anyone would write it by hand.
// Records are stored whole, beside them the three keys with an index each; write-ahead log,
// synchronous=FULL, SQLite's own checkpoints at 1,000 pages.
//
// A first word "frozen" shows what SQLite gives when one transaction and one statement stay open
// over all calls: a view that no longer changes, and a log that cannot be cut while it lasts.
#include <sqlite3.h>

#include <cstring>
#include <stdexcept>

#include "queue_side.h"

namespace {

using bench::QueueSide;

constexpr const char* kSettings =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA wal_autocheckpoint=1000;";
constexpr const char* kSchema =
    "CREATE TABLE r(id INTEGER PRIMARY KEY AUTOINCREMENT, k0 TEXT, k1 TEXT, k2 TEXT, rec BLOB);"
    "CREATE INDEX i0 ON r(k0); CREATE INDEX i1 ON r(k1); CREATE INDEX i2 ON r(k2);";

std::string PathIn(const std::string& directory) { return directory + "/peer.db"; }

class Database {
 public:
  explicit Database(const std::string& path) {
    Must(sqlite3_open(path.c_str(), &handle_));
    sqlite3_busy_timeout(handle_, 30'000);
    Run(kSettings);
  }
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Run(const char* sql) { Must(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Must(sqlite3_prepare_v3(handle_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
  }
  void Must(int result) const {
    if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(handle_));
  }

 private:
  sqlite3* handle_ = nullptr;
};

class Peer : public QueueSide {
 public:
  Peer(const std::string& directory, bool frozen)
      : database_(PathIn(directory)),
        frozen_(frozen),
        insert_(database_.Prepare("INSERT INTO r(k0, k1, k2, rec) VALUES(?, ?, ?, ?)")),
        find_(database_.Prepare("SELECT id, rec FROM r WHERE k0 = ? ORDER BY k0, id LIMIT 1")),
        next_(database_.Prepare(
            "SELECT id, rec, k0 FROM r WHERE (k0, id) > (?, ?) ORDER BY k0, id LIMIT 1")),
        walk_(database_.Prepare("SELECT id, rec FROM r WHERE k0 >= ? ORDER BY k0, id")) {
    if (frozen_) database_.Run("BEGIN");
  }
  ~Peer() override {
    for (sqlite3_stmt* statement : {insert_, find_, next_, walk_}) sqlite3_finalize(statement);
    if (frozen_) database_.Run("COMMIT");
  }

  void Insert(MesgRecord* record) override {
    BindText(insert_, 1, record->key);
    BindText(insert_, 2, record->directoryName);
    BindText(insert_, 3, record->stateText);
    sqlite3_bind_blob(insert_, 4, record, sizeof *record, SQLITE_STATIC);
    if (sqlite3_step(insert_) != SQLITE_DONE) throw std::runtime_error("insert failed");
    database_.Must(sqlite3_reset(insert_));
  }

  void Find(const char* key, MesgRecord* record) override {
    sqlite3_stmt* statement = frozen_ ? walk_ : find_;
    sqlite3_reset(walk_);
    BindText(statement, 1, key);
    if (!Take(statement, record)) throw std::runtime_error("not found");
    if (!frozen_) sqlite3_reset(find_);
  }

  bool Next(MesgRecord* record) override {
    if (frozen_) return Take(walk_, record);
    BindText(next_, 1, key_);
    sqlite3_bind_int64(next_, 2, number_);
    const bool found = Take(next_, record);
    sqlite3_reset(next_);
    return found;
  }

  void Begin() { database_.Run("BEGIN"); }
  void Commit() { database_.Run("COMMIT"); }

 private:
  static void BindText(sqlite3_stmt* statement, int at, const char* text) {
    sqlite3_bind_text(statement, at, text, -1, SQLITE_STATIC);
  }

  bool Take(sqlite3_stmt* statement, MesgRecord* record) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_DONE) return false;
    if (result != SQLITE_ROW || sqlite3_column_bytes(statement, 1) != sizeof *record)
      throw std::runtime_error("cannot read");
    number_ = sqlite3_column_int64(statement, 0);
    std::memcpy(record, sqlite3_column_blob(statement, 1), sizeof *record);
    std::memcpy(key_, record->key, sizeof key_);
    return true;
  }

  Database database_;
  bool frozen_;
  sqlite3_stmt* insert_;
  sqlite3_stmt* find_;
  sqlite3_stmt* next_;
  sqlite3_stmt* walk_;
  std::int64_t number_ = 0;
  char key_[sizeof(MesgRecord::key)] = {};
};

void Create(const std::string& directory) { Database(PathIn(directory)).Run(kSchema); }

void Fill(const std::string& directory, std::uint32_t messages, bench::Order order) {
  Create(directory);
  Peer peer(directory, false);
  MesgRecord record;
  const std::uint64_t records = std::uint64_t{messages} * bench::kRecordsPerMessage;
  for (std::uint64_t i = 0; i < records; ++i) {
    if (i % 10'000 == 0) peer.Begin();
    bench::ComposeRecord(i, order, &record);
    peer.Insert(&record);
    if (i % 10'000 == 9'999 || i + 1 == records) peer.Commit();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool frozen = argc > 1 && std::strcmp(argv[1], "frozen") == 0;
  const bench::QueueMaker maker = {
      Create,
      [frozen](const std::string& directory) { return std::make_unique<Peer>(directory, frozen); },
      Fill};
  return bench::RunQueueBench(frozen ? argc - 1 : argc, frozen ? argv + 1 : argv, maker);
}
