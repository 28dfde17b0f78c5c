// How a connection begins: SQLite told to trust nothing it reads, and the file compared with what
// its description demands.
#include <algorithm>
#include <cstring>
#include <string>

#include "platform/os/file_identity.h"
#include "platform/os/file_status.h"
#include "platform/os/path.h"
#include "platform/os/process.h"
#include "platform/store/connection.h"
#include "platform/store/file_layer.h"
#include "platform/store/schema.h"
#include "platform/store/settings.h"
#include "platform/store/sqlite_status.h"
#include "platform/store/statement.h"

namespace qob::store {
namespace {

// In KiB, and only as much as is read: the pages of a million recipients. Lookups among 1.25
// million were 1.4 times as fast as with 8 MiB, where each one reads two pages from the system; a
// file of 10,000 fills 2 MiB.
constexpr int kCacheKib = 256 * 1024;
constexpr int kLogFrameBytes = 4096 + 24;

// No path that SQLite could take for a name of another kind (":memory:", "file:").
std::string PlainPath(const std::string& path) {
  std::string native = os::NativePath(path);
  if (native.empty() || native.front() != '/') native.insert(0, "./");
  return native;
}

}  // namespace

Status Connection::Open(const std::string& path, const OpenOptions& options,
                        std::uint64_t generation, std::unique_ptr<Connection>* connection) {
  std::unique_ptr<Connection> made(new Connection);
  made->process_ = os::ProcessId();
  made->path_ = path;
  made->read_only_ = options.read_only;
  made->patience_ = Patience(WaitMs());
  Status status = made->OpenDatabase(generation);
  if (status == kOk) status = made->Configure(options);
  if (status == kOk) status = made->ReadSchema();
  if (status != kOk) return status;
  made->statements_.resize(static_cast<std::size_t>(
      kFixedStatements + made->description_.index_count * kStatementsPerIndex));
  made->LookAtLog();
  if (!options.read_only) made->OpenGate();
  *connection = std::move(made);
  return kOk;
}

Status Connection::OpenDatabase(std::uint64_t generation) {
  const char* const layer = LayerName();
  if (layer == nullptr) return kNoMemory;
  const int access = read_only_ ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  const ApartFromParent apart(generation);
  const int rc = sqlite3_open_v2(PlainPath(path_).c_str(), &db_,
                                 access | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, layer);
  if (db_ == nullptr) return kNoMemory;
  if (rc != SQLITE_OK) return StatusOfResult(db_, rc);
  // SQLite opens for reading what it may not write.
  return !read_only_ && sqlite3_db_readonly(db_, "main") != 0 ? kNoPermission : kOk;
}

Status Connection::Configure(const OpenOptions& options) {
  for (const int option : {SQLITE_DBCONFIG_DEFENSIVE, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE}) {
    sqlite3_db_config(db_, option, 1, nullptr);
  }
  for (const int option : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_TRIGGER,
                           SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION}) {
    sqlite3_db_config(db_, option, 0, nullptr);
  }
  sqlite3_limit(db_, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_busy_handler(db_, OnBusy, this);
  sqlite3_wal_hook(db_, OnCommit, this);
  int keep = 1;
  sqlite3_file_control(db_, "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
  const std::int64_t log_bytes = std::int64_t{LogLimitPages()} * kLogFrameBytes;
  const std::string settings =
      "PRAGMA cell_size_check=ON;PRAGMA temp_store=MEMORY;PRAGMA secure_delete=FAST;"
      "PRAGMA cache_size=-" +
      std::to_string(kCacheKib) + ";PRAGMA journal_size_limit=" + std::to_string(log_bytes);
  const Status status = Execute(settings.c_str());
  return status == kOk ? SetDurability(options.durability) : status;
}

// Other threads may be at work in the connection by now.
Status Connection::Strengthen(Durability durability) {
  if (durability == durability_ || durability_ == Durability::kCommit) return kOk;
  const Status entered = Enter(false);
  if (entered != kOk) return entered;
  const Status status = SetDurability(durability);
  Leave(false);
  return status;
}

Status Connection::SetDurability(Durability durability) {
  const Status status = Execute(durability == Durability::kCommit ? "PRAGMA synchronous=FULL"
                                                                  : "PRAGMA synchronous=NORMAL");
  if (status == kOk) durability_ = durability;
  return status;
}

Status Connection::Execute(const char* sql) {
  return Note(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr), false);
}

// Nothing but sqlite_schema is asked before it is known to hold what it must: a view or trigger of
// somebody else's making could stand under any name.
Status Connection::ReadSchema() {
  std::vector<SchemaObject> found;
  Statement schema(*this, "SELECT type,name,tbl_name,coalesce(sql,'') FROM sqlite_schema");
  constexpr std::size_t kMostObjects = 1000;
  while (schema.Step() && found.size() < kMostObjects) {
    const auto text = [&](int column) { return std::string(schema.Bytes(column)); };
    found.push_back({text(0), text(1), text(2), text(3)});
  }
  if (schema.status() != kOk) return schema.status();
  const SchemaObject file{"table", "file", "file", kFileTable};
  if (std::find(found.begin(), found.end(), file) == found.end()) return kNotOurFile;
  Status status = ReadOwnDescription();
  if (status != kOk) return status;
  std::vector<SchemaObject> demanded = DemandedSchema(description_);
  demanded.push_back(
      {"table", "sqlite_sequence", "sqlite_sequence", "CREATE TABLE sqlite_sequence(name,seq)"});
  std::sort(found.begin(), found.end());
  std::sort(demanded.begin(), demanded.end());
  return found == demanded ? ReadHeaderNumbers() : kNotOurFile;
}

Status Connection::ReadOwnDescription() {
  Statement file(*this, "SELECT description,identity FROM file");
  if (!file.Step()) return file.status() == kOk ? kNotOurFile : file.status();
  const std::string_view bytes = file.Bytes(0);
  const Status status =
      ReadDescription(std::as_bytes(std::span(bytes.data(), bytes.size())), &description_);
  const std::string_view identity = file.Bytes(1);
  if (status != kOk || identity.size() != identity_.size()) return kNotOurFile;
  std::memcpy(identity_.data(), identity.data(), identity_.size());
  if (file.Step()) return kNotOurFile;
  return file.status();
}

// The log may hold a newer first page than the one that was looked at.
Status Connection::ReadHeaderNumbers() {
  const struct {
    const char* sql;
    std::int64_t value;
  } numbers[] = {{"PRAGMA application_id", kApplicationId},
                 {"PRAGMA user_version", kFormatVersion},
                 {"PRAGMA page_size", kPageBytes}};
  for (const auto& number : numbers) {
    Statement statement(*this, number.sql);
    if (!statement.Step()) return statement.status() == kOk ? kNotOurFile : statement.status();
    if (statement.Number(0) != number.value) return kNotOurFile;
  }
  return kOk;
}

bool Connection::IsUnderItsName() {
  int moved = 0;
  return sqlite3_file_control(db_, "main", SQLITE_FCNTL_HAS_MOVED, &moved) != SQLITE_OK ||
         moved == 0;
}

// SQLite has opened it with the first read, and made it when there was none.
void Connection::LookAtLog() {
  log_path_ = path_ + "-wal";
  const os::Result<os::FileStatus> log = os::StatusOf(log_path_);
  log_device_ = log.value.device;
  log_inode_ = log.value.inode;
}

bool Connection::HasItsLog() const {
  const os::Result<os::FileStatus> log = os::StatusOf(log_path_);
  return log && log.value.device == log_device_ && log.value.inode == log_inode_;
}

int Connection::Prepare(int slot, sqlite3_stmt** statement) {
  sqlite3_stmt*& kept = statements_[static_cast<std::size_t>(slot)];
  int rc = SQLITE_OK;
  if (kept == nullptr) {
    const std::string sql = SqlOf(slot);
    rc = sqlite3_prepare_v3(db_, sql.c_str(), static_cast<int>(sql.size()),
                            SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
  }
  *statement = kept;
  return rc;
}

std::string Connection::SqlOf(int slot) const {
  switch (slot) {
    case kBegin:
      return "BEGIN IMMEDIATE";
    case kEnd:
      return "COMMIT";
    case kUndo:
      return "ROLLBACK";
    case kLastNumber:
      return "SELECT seq FROM sqlite_sequence WHERE name='records'";
    case kInsert:
      return InsertSql(description_);
    case kUpdateBody:
      return UpdateBodySql(description_);
    case kUpdateAll:
      return UpdateAllSql(description_);
    case kDelete:
      return "DELETE FROM records WHERE number=?1 AND version=?2";
    case kCountAll:
      return "SELECT count(*) FROM records";
    case kAddMark:
      return "INSERT INTO marks(name,id) VALUES(?1,?2)";
    case kRemoveMark:
      return "DELETE FROM marks WHERE id=?2 AND name=?1";
    case kNextMark:
      return "SELECT seq,id FROM marks INDEXED BY marks_name WHERE name=?1 AND seq>?2 "
             "ORDER BY seq LIMIT 1";
    case kHasMark:
      return "SELECT 1 FROM marks INDEXED BY marks_id WHERE id=?1 LIMIT 1";
    case kPutNote:
      return "INSERT OR REPLACE INTO notes(id,bytes) VALUES(?1,?2)";
    case kGetNote:
      return "SELECT bytes FROM notes WHERE id=?1";
    case kRemoveNote:
      return "DELETE FROM notes WHERE id=?1";
    default:
      break;
  }
  const int index = (slot - kFixedStatements) / kStatementsPerIndex;
  const int kind = (slot - kFixedStatements) % kStatementsPerIndex;
  if (kind == kNextOffset) return NextSql(index);
  return kind == kReadOffset ? ReadSql(index) : FindSql(index, kind);
}

}  // namespace qob::store
