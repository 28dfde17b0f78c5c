// A file is made under another name, whole and on stable storage, and then given its own: nobody
// ever finds it without its tables. A seed is placed by the same steps.
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "platform/os/directory.h"
#include "platform/os/directory_lock.h"
#include "platform/os/file.h"
#include "platform/os/file_identity.h"
#include "platform/os/file_status.h"
#include "platform/os/path.h"
#include "platform/store/file_layer.h"
#include "platform/store/record_file.h"
#include "platform/store/registry.h"
#include "platform/store/schema.h"
#include "platform/store/settings.h"
#include "platform/store/sqlite_status.h"

namespace qob::store {
namespace {

constexpr char kNewSuffix[] = "-new";
constexpr char kCorruptDirectory[] = "corrupt";
constexpr int kMostOldLogs = 10000;
constexpr std::size_t kCopyBytes = std::size_t{64} << 10;

std::string DirectoryOf(const std::string& path) {
  const std::size_t at = os::LastSeparator(path);
  if (at == std::string::npos) return ".";
  return at == 0 ? path.substr(0, 1) : path.substr(0, at);
}

std::string Native(const std::string& path) {
  const std::string native = os::NativePath(path);
  return native.front() == '/' ? native : "./" + native;
}

struct CloseDatabase {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

Status Execute(sqlite3* db, const std::string& sql) {
  return StatusOfResult(db, sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr));
}

std::string TablesSql(const FileDescription& description) {
  std::string sql = "PRAGMA application_id=" + std::to_string(kApplicationId) +
                    ";PRAGMA user_version=" + std::to_string(kFormatVersion) + ";";
  for (const SchemaObject& object : DemandedSchema(description)) sql += object.sql + ";";
  return sql;
}

Status InsertDescription(sqlite3* db, const FileDescription& description,
                         const std::string& identity) {
  const std::string bytes = WriteDescription(description);
  sqlite3_stmt* statement = nullptr;
  int rc = sqlite3_prepare_v2(db, "INSERT INTO file VALUES(?1,coalesce(?2,randomblob(16)))", -1,
                              &statement, nullptr);
  if (rc == SQLITE_OK) {
    rc = sqlite3_bind_blob64(statement, 1, bytes.data(), bytes.size(), SQLITE_STATIC);
  }
  if (rc == SQLITE_OK && !identity.empty()) {
    rc = sqlite3_bind_blob64(statement, 2, identity.data(), identity.size(), SQLITE_STATIC);
  }
  if (rc == SQLITE_OK) rc = sqlite3_step(statement);
  sqlite3_finalize(statement);
  return StatusOfResult(db, rc);
}

Status SwitchToLog(sqlite3* db) {
  sqlite3_stmt* statement = nullptr;
  int rc = sqlite3_prepare_v2(db, "PRAGMA journal_mode=WAL", -1, &statement, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_step(statement);
  const auto* mode =
      rc == SQLITE_ROW ? reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)) : nullptr;
  const bool short_of_memory = rc == SQLITE_ROW && mode == nullptr;
  const bool switched = mode != nullptr && std::strcmp(mode, "wal") == 0;
  if (rc == SQLITE_ROW) rc = sqlite3_step(statement);  // commits the switch
  sqlite3_finalize(statement);
  if (rc != SQLITE_DONE) return StatusOfResult(db, rc);
  if (short_of_memory) return kNoMemory;
  if (!switched) return kIoError;  // the file system has no shared memory or no locks
  return StatusOfResult(
      db, sqlite3_wal_checkpoint_v2(db, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr));
}

Status Build(const std::string& path, const FileDescription& description,
             const std::string& identity) {
  const char* const layer = LayerName();
  if (layer == nullptr) return kNoMemory;
  sqlite3* opened = nullptr;
  const ApartFromParent apart(ForkGeneration());
  const int flags =
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  const int rc = sqlite3_open_v2(Native(path).c_str(), &opened, flags, layer);
  const Database db(opened);
  if (db == nullptr) return kNoMemory;
  if (rc != SQLITE_OK) return StatusOfResult(db.get(), rc);
  Status status =
      Execute(db.get(), "PRAGMA page_size=" + std::to_string(kPageBytes) +
                            ";PRAGMA auto_vacuum=NONE;PRAGMA encoding='UTF-8';"
                            "PRAGMA synchronous=FULL;PRAGMA temp_store=MEMORY;BEGIN IMMEDIATE");
  if (status == kOk) status = Execute(db.get(), TablesSql(description));
  if (status == kOk) status = InsertDescription(db.get(), description, identity);
  if (status == kOk) status = Execute(db.get(), "COMMIT");
  return status == kOk ? SwitchToLog(db.get()) : status;
}

bool Stands(const std::string& path) { return static_cast<bool>(os::StatusOf(path)); }

// A log that survived its file holds changes to a file that is gone: to be kept, and kept away from
// the new one.
Status MoveAway(const std::string& directory, const std::string& path) {
  if (!Stands(path)) return kOk;
  const std::string corrupt = directory + "\\" + kCorruptDirectory;
  const int made = os::MakeDirectory(corrupt);
  if (made != 0 && made != os::kExists) return StatusOfError(made);
  const std::string place = corrupt + "\\" + std::string(os::FileNamePart(path));
  int error = os::RenameFile(path, place, false);
  for (int i = 1; error == os::kExists && i < kMostOldLogs; ++i) {
    error = os::RenameFile(path, place + "." + std::to_string(i), false);
  }
  if (error == 0) error = os::FlushDirectory(corrupt);
  return StatusOfError(error);
}

// The name that a file has while it is made, and those that SQLite makes beside it. Composed before
// anything stands, so that nothing can fail for want of memory afterwards.
class Temporary {
 public:
  explicit Temporary(const std::string& path) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal", "-gate"}) {
      names_.push_back(path + kNewSuffix + suffix);
    }
  }
  const std::string& name() const { return names_.front(); }
  // Also what a creator that was killed left behind: nobody else is at work while the directory is
  // locked.
  Status Remove() const {
    Status status = kOk;
    for (const std::string& name : names_) {
      const int error = os::RemoveFile(name);
      if (error != 0 && error != os::kNotFound) status = StatusOfError(error);
    }
    return status;
  }

 private:
  std::vector<std::string> names_;
};

// The log and its index are made at once, for a reader without write permission could not.
// The file is whole without them.
void MakeLog(const std::string& path) try {
  std::shared_ptr<RecordFile> file;
  if (RecordFile::Open(path, {}, &file) != kOk) return;
  os::MatchOwnership(path + "-wal", path);
  os::MatchOwnership(path + "-shm", path);
} catch (const std::bad_alloc&) {
}

Status Publish(const std::string& directory, const Temporary& temporary, const std::string& path,
               const std::string& group) {
  int error = os::ShareWithGroup(temporary.name(), group);
  if (error == os::kNotFound) return kNotAllowed;  // no such group
  if (error == 0) error = os::FlushPath(temporary.name());
  if (error == 0) error = os::LinkFile(temporary.name(), path);
  if (error != 0) return StatusOfError(error);
  temporary.Remove();  // a name that stays is swept by whoever creates next
  return StatusOfError(os::FlushDirectory(directory));
}

// build(name) fills the empty file of that name.
template <class Builder>
Status MakeWhole(const std::string& path, const std::string& directory,
                 const CreateOptions& options, Builder&& build) {
  for (const char* suffix : {"-wal", "-shm"}) {
    const Status status = MoveAway(directory, path + suffix);
    if (status != kOk) return status;
  }
  const Temporary temporary(path);
  Status status = temporary.Remove();
  if (status == kOk) status = StatusOfError(os::MakeEmptyFile(temporary.name()));
  try {
    if (status == kOk) status = build(temporary.name());
    if (status == kOk) status = Publish(directory, temporary, path, options.group);
  } catch (const std::bad_alloc&) {
    status = kNoMemory;
  }
  if (status != kOk) temporary.Remove();
  if (status == kOk) MakeLog(path);
  return status;
}

// `make(directory)` while nobody else makes a file there.
template <class Maker>
Status InLockedDirectory(const std::string& path, Maker&& make) {
  os::DirectoryLock lock;
  const std::string directory = DirectoryOf(path);
  const int error = lock.Take(directory, WaitMs());
  if (error == os::kNotFound || error == ENOTDIR) return kDirectoryError;
  if (error != 0) return StatusOfError(error);
  return make(directory);
}

Status CreateFile(const std::string& path, const FileDescription& description,
                  const CreateOptions& options) {
  if (os::FileNamePart(path).empty()) return kBadFileName;
  const std::string written = WriteDescription(description);
  FileDescription read;
  const Status valid = ReadDescription(std::as_bytes(std::span(written)), &read);
  if (valid != kOk) return valid;
  if (Stands(path)) return kFileExists;
  return InLockedDirectory(path, [&](const std::string& directory) {
    if (Stands(path)) return kFileExists;
    return MakeWhole(path, directory, options, [&](const std::string& name) {
      return Build(name, description, options.identity);
    });
  });
}

// Anything but a file without a byte in it, which cannot be anybody's record file.
bool IsTaken(const std::string& path) {
  const auto found = os::StatusOf(path);
  return found && (found.value.kind != os::FileKind::kFile || found.value.size != 0);
}

// What may be opened is known: a seed is no place for a lock or a log, and is only read.
Status CopyBytes(const std::string& from, const std::string& to) {
  os::OpenMode reading;
  reading.sequential = true;
  const auto source = os::OpenFile(from, reading);
  if (!source) return StatusOfError(source.error);
  const os::FileHandle held_source(source.value);
  os::OpenMode writing;
  writing.access = os::Access::kWrite;
  writing.share = os::Share::kRead;
  writing.through_links = false;
  const auto target = os::OpenFile(to, writing);
  if (!target) return StatusOfError(target.error);
  const os::FileHandle held_target(target.value);
  const auto block = std::make_unique<std::byte[]>(kCopyBytes);
  for (;;) {
    const auto read = os::ReadFile(source.value, block.get(), kCopyBytes);
    if (!read) return StatusOfError(read.error);
    if (read.value == 0) return kOk;
    const auto written = os::WriteFile(target.value, block.get(), read.value);
    if (!written) return StatusOfError(written.error);
    if (written.value != read.value) return kDiskFull;
  }
}

// A seed that somebody has worked on has a part of its records in its log.
Status CopyLog(const std::string& seed, const std::string& name, bool* copied) {
  const auto log = os::StatusOf(seed + "-wal");
  *copied = log && log.value.size > 0;
  if (!*copied) return kOk;
  const Status status = StatusOfError(os::MakeEmptyFile(name + "-wal"));
  return status == kOk ? CopyBytes(seed + "-wal", name + "-wal") : status;
}

Status CopySeed(const std::string& seed, const std::string& name) {
  bool has_log = false;
  Status status = CopyBytes(seed, name);
  if (status == kOk) status = CopyLog(seed, name, &has_log);
  if (status != kOk) return status;
  std::shared_ptr<RecordFile> file;
  status = RecordFile::Open(name, {}, &file);  // what is no record file is not placed
  return status == kOk && has_log ? file->Checkpoint() : status;
}

Status PlaceFile(const std::string& path, const std::string& seed, const CreateOptions& options) {
  if (os::FileNamePart(path).empty()) return kBadFileName;
  if (IsTaken(path)) return kFileExists;
  if (!Stands(seed)) return kNoSuchFile;
  return InLockedDirectory(path, [&](const std::string& directory) {
    if (IsTaken(path)) return kFileExists;
    return MakeWhole(path, directory, options, [&](const std::string& name) {
      const Status status = CopySeed(seed, name);
      if (status != kOk || !Stands(path)) return status;
      return StatusOfError(os::RemoveFile(path));  // the file of length zero
    });
  });
}

}  // namespace

Status RecordFile::Create(std::string_view path, const FileDescription& description,
                          const CreateOptions& options) {
  try {
    return CreateFile(std::string(path), description, options);
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

Status RecordFile::Place(std::string_view path, std::string_view seed,
                         const CreateOptions& options) {
  try {
    return PlaceFile(std::string(path), std::string(seed), options);
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

}  // namespace qob::store
