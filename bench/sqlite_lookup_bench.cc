// The same look-ups as anyone would write them with SQLite: a table with an index on what is looked
// for, opened for reading, asked and closed on every call. The journal mode is SQLite's own: with a
// write-ahead log each opening and closing would make and remove a log.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "lookup_data.h"
#include "workload.h"

namespace {

using bench::kLookupRecords;

std::string Path() { return (bench::OutputDirectory() / "lookups.sqlite").string(); }

class Database {
 public:
  explicit Database(int flags) {
    Must(sqlite3_open_v2(Path().c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr));
    sqlite3_busy_timeout(handle_, 30'000);
  }
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  void Run(const char* sql) { Must(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }
  void Must(int result) const {
    if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(handle_));
  }
  sqlite3* handle() { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

class Statement {
 public:
  Statement(Database& database, const char* sql) : database_(database) {
    database.Must(sqlite3_prepare_v2(database.handle(), sql, -1, &statement_, nullptr));
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // The record of that key goes to `to`; null when it is only to be there.
  bool Find(std::string_view key, void* to, std::size_t size) {
    sqlite3_reset(statement_);
    Bind(1, key);
    if (sqlite3_step(statement_) != SQLITE_ROW) return false;
    if (to != nullptr) std::memcpy(to, sqlite3_column_blob(statement_, 0), size);
    return true;
  }
  void Insert(std::string_view key, const void* record, std::size_t size) {
    Bind(1, key);
    sqlite3_bind_blob(statement_, 2, record, static_cast<int>(size), SQLITE_STATIC);
    if (sqlite3_step(statement_) != SQLITE_DONE) throw std::runtime_error("insert failed");
    database_.Must(sqlite3_reset(statement_));
  }

 private:
  void Bind(int place, std::string_view text) {
    database_.Must(sqlite3_bind_text(statement_, place, text.data(), static_cast<int>(text.size()),
                                     SQLITE_STATIC));
  }
  Database& database_;
  sqlite3_stmt* statement_ = nullptr;
};

void Fill() {
  if (std::filesystem::exists(Path())) return;
  Database database(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  for (const char* table : {"magic", "peer", "ban"}) {
    const std::string name = table;
    database.Run(("CREATE TABLE " + name +
                  "(id INTEGER PRIMARY KEY, k TEXT COLLATE NOCASE, rec BLOB);"
                  "CREATE INDEX i" +
                  name + " ON " + name + "(k)")
                     .c_str());
  }
  database.Run("BEGIN");
  {
    Statement magic(database, "INSERT INTO magic(k, rec) VALUES(?, ?)");
    Statement peer(database, "INSERT INTO peer(k, rec) VALUES(?, ?)");
    Statement ban(database, "INSERT INTO ban(k, rec) VALUES(?, ?)");
    for (int i = 0; i < kLookupRecords; ++i) {
      const MagicRecord type = bench::MagicOf(i);
      const PeerRecord record = bench::PeerOf(i);
      magic.Insert(type.extension, &type, sizeof type);
      peer.Insert(record.domain, &record, sizeof record);
      ban.Insert(bench::BannedOf(i), "", 0);
    }
  }
  database.Run("COMMIT");
}

// One call: opened, asked, closed.
template <class Ask>
void LookUp(benchmark::State& state, std::string (*text)(int), Ask&& ask) {
  std::vector<std::string> texts;
  for (int i = 0; i < kLookupRecords; ++i) texts.push_back(text(bench::Scattered(i)));
  for (auto _ : state) {
    for (int i = 0; i < kLookupRecords; ++i) {
      Database database(SQLITE_OPEN_READONLY);
      if (!ask(database, texts[static_cast<std::size_t>(i)], bench::Scattered(i))) {
        throw std::runtime_error("not found");
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kLookupRecords);
}

std::string ExtensionOf(int number) { return bench::MagicOf(number).extension; }

void PeerGetter(benchmark::State& state) {
  LookUp(state, bench::HostOf, [](Database& database, const std::string& host, int number) {
    Statement statement(database, "SELECT rec FROM peer WHERE k = ?");
    PeerRecord record;
    for (std::string_view name = host;;) {
      if (statement.Find(name, &record, sizeof record) && record.QueueRunInterval > 0) break;
      const std::size_t stop = name.find('.');
      if (stop == std::string_view::npos) return false;
      name.remove_prefix(stop + 1);
    }
    return record.QueueRunInterval == number + 1;
  });
}
void MagicLookup(benchmark::State& state) {
  LookUp(state, ExtensionOf, [](Database& database, const std::string& extension, int) {
    Statement statement(database, "SELECT rec FROM magic WHERE k = ? ORDER BY id LIMIT 1");
    MagicRecord record;
    return statement.Find(extension, &record, sizeof record);
  });
}
void BanCheck(benchmark::State& state) {
  LookUp(state, bench::BannedOf, [](Database& database, const std::string& address, int) {
    Statement statement(database, "SELECT 1 FROM ban WHERE k = ?");
    return statement.Find(address, nullptr, 0);
  });
}

BENCHMARK(PeerGetter)->Name("peer_getter")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MagicLookup)->Name("magic_lookup")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BanCheck)->Name("ban_check")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  Fill();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
