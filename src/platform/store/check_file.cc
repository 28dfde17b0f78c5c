// A whole file compared with itself.
#include "platform/store/schema.h"
#include "platform/store/shared_file.h"
#include "platform/store/squeeze.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {
namespace {

constexpr int kStepsBetweenProgress = 1 << 20;

using Progress = std::function<bool(std::int64_t)>;

int OnProgress(void* progress) { return (*static_cast<const Progress*>(progress))(0) ? 0 : 1; }

// SQLite's own check of pages and indexes, which can be stopped too.
class Interruptible {
 public:
  Interruptible(sqlite3* db, const Progress& progress) : db_(db) {
    if (progress) {
      sqlite3_progress_handler(db, kStepsBetweenProgress, OnProgress,
                               const_cast<Progress*>(&progress));
    }
  }
  ~Interruptible() { sqlite3_progress_handler(db_, 0, nullptr, nullptr); }
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;

 private:
  sqlite3* db_;
};

Status CheckPages(Connection& connection, const Progress& progress, std::string* problem,
                  bool* stopped) {
  const Interruptible interruptible(connection.db(), progress);
  Statement check(connection, "PRAGMA integrity_check(1)");
  if (check.Step() && check.Bytes(0) != "ok") *problem = check.Bytes(0);
  *stopped = sqlite3_errcode(connection.db()) == SQLITE_INTERRUPT;
  return *stopped ? kOk : check.status();
}

// Columns: number, version, body, keys.
std::string ProblemOf(const Statement& row, const FileDescription& description,
                      std::span<std::byte> record) {
  const std::string name = "record " + std::to_string(row.Number(0));
  if (!Unsqueeze(row.Raw(2), row.Number(0), record)) return name + " is damaged";
  if (row.Number(1) < 1) return name + " has no version";
  for (int i = 0; i < description.index_count; ++i) {
    const KeyDescription& key = description.keys[static_cast<std::size_t>(i)];
    if (row.Bytes(3 + i) != IndexKeyOf(key, record)) {
      return name + " has another key in index " + std::to_string(i);
    }
  }
  return {};
}

Status CheckRecords(Connection& connection, const Progress& progress, std::string* problem) {
  const FileDescription& description = connection.description();
  std::vector<std::byte> record(description.record_bytes);
  std::int64_t done = 0;
  std::int64_t highest = 0;
  Statement all(connection, EveryRecordSql(description));
  while (problem->empty() && all.Step()) {
    highest = all.Number(0);
    *problem = ProblemOf(all, description, record);
    if (progress && !progress(++done)) return kOk;
  }
  if (all.status() != kOk || !problem->empty()) return all.status();
  Statement last(connection, kLastNumber);
  const std::int64_t given = last.Step() ? last.Number(0) : 0;
  if (last.status() == kOk && given < highest) *problem = "a record number may be given twice";
  return last.status();
}

}  // namespace

Status SharedFile::Check(std::string* problem, const std::function<bool(std::int64_t)>& progress) {
  problem->clear();
  return Reading([&] {
    bool stopped = false;
    Status status = CheckPages(connection_, progress, problem, &stopped);
    if (status == kOk && !stopped && problem->empty()) {
      const Show show(connection_);
      status = CheckRecords(connection_, progress, problem);
    }
    if (status == kNotOurFile && problem->empty()) *problem = sqlite3_errmsg(connection_.db());
    return status;
  });
}

Status SharedFile::Checkpoint() {
  return Writing([&] {
    if (connection_.in_transaction()) return kNotAllowed;
    bool complete = false;
    const Status status = connection_.CheckpointNow(SQLITE_CHECKPOINT_PASSIVE, &complete);
    if (status != kOk) return status;
    return complete ? kOk : kBusy;
  });
}

}  // namespace qob::store
