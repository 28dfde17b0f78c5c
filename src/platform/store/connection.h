// The one connection of this process to a record file: SQLite's handle, its prepared statements,
// the turns of the threads, the gate between the processes, and what was found wrong.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "platform/os/gate.h"
#include "platform/store/description.h"
#include "platform/store/image.h"
#include "platform/store/read_ahead.h"
#include "platform/store/record_file.h"
#include "platform/store/turns.h"

namespace qob::store {

// Statements kept prepared; those per index come in groups behind kFixedStatements.
enum Slot : int {
  kBegin,
  kEnd,
  kUndo,
  kLastNumber,
  kInsert,
  kUpdateBody,
  kUpdateAll,
  kDelete,
  kCountAll,
  kAddMark,
  kRemoveMark,
  kNextMark,
  kHasMark,
  kPutNote,
  kGetNote,
  kRemoveNote,
  kFixedStatements
};
// Per index: the four of Seek, next, read.
inline constexpr int kNextOffset = 4;
inline constexpr int kReadOffset = 5;
inline constexpr int kStatementsPerIndex = 6;

class Connection {
 public:
  // path in library form.
  static Status Open(const std::string& path, const OpenOptions& options, std::uint64_t generation,
                     std::unique_ptr<Connection>* connection);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const FileDescription& description() const { return description_; }
  const Identity& identity() const { return identity_; }
  bool read_only() const { return read_only_; }
  // The file is still the one that stands under the name.
  bool IsUnderItsName();
  bool HasItsLog() const;
  // A later open asks for the stronger promise.
  Status Strengthen(Durability durability);
  bool spoilt() const { return damaged_ || no_more_writes_; }

  // A stay in the connection. Leave for every Enter that gave kOk.
  Status Enter(bool write);
  void Leave(bool write);
  // While records are shown one by one nothing may be written by the one who looks.
  void Showing(bool begins) { showing_ += begins ? 1 : -1; }

  // Inside a stay. Gives SQLite's result; the statement stays the connection's.
  int Prepare(int slot, sqlite3_stmt** statement);
  // The status of a result; remembers what spoils the connection.
  Status Note(int rc, bool write);
  sqlite3* db() { return db_; }
  std::string* squeezed() { return &squeezed_; }
  // Null where entries may not come from what was read ahead.
  ReadAhead* Ahead();
  ImageKeeper& images() { return images_; }

  Status Begin();
  Status Commit();
  void Rollback();
  bool in_transaction() const { return in_transaction_; }
  // Inside a write stay: several statements as one, in the transaction that stands or one of its
  // own.
  template <class Work>
  Status AsOne(Work&& work) {
    if (in_transaction_) return work();
    Status status = Run(kBegin);
    if (status != kOk) return status;
    const UndoAtEnd undo{*this};
    status = work();
    return status == kOk ? Run(kEnd) : status;
  }

  // Inside a write stay.
  Status CheckpointNow(int mode, bool* complete);
  std::uint32_t process() const { return process_; }

  // The registry's.
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  int references = 0;

 private:
  struct UndoAtEnd {
    Connection& connection;
    ~UndoAtEnd() { connection.Undo(); }
  };
  Connection() = default;
  Status OpenDatabase(std::uint64_t generation);
  Status Configure(const OpenOptions& options);
  Status SetDurability(Durability durability);
  Status ReadSchema();
  Status ReadOwnDescription();
  Status ReadHeaderNumbers();
  Status Execute(const char* sql);
  void LookAtLog();
  void OpenGate();
  Status Run(int slot);
  Status MayEnter(bool write) const;
  Status EnterGate();
  void LeaveGate();
  void EndTransaction();
  void Undo();
  void CheckpointIfDue();
  std::string SqlOf(int slot) const;
  static int OnBusy(void* connection, int count);
  static int OnCommit(void* connection, sqlite3* db, const char* name, int pages);

  sqlite3* db_ = nullptr;
  std::uint32_t process_ = 0;
  std::string path_;
  std::string log_path_;
  std::uint64_t log_device_ = 0;
  std::uint64_t log_inode_ = 0;
  FileDescription description_;
  Identity identity_{};
  bool read_only_ = false;
  Durability durability_ = Durability::kSystem;
  std::vector<sqlite3_stmt*> statements_;
  std::string squeezed_;
  ReadAhead ahead_;
  ImageKeeper images_;

  Turns turns_;
  Patience patience_{0};
  int showing_ = 0;
  std::unique_ptr<os::Gate> gate_;
  bool in_gate_ = false;
  bool in_transaction_ = false;
  Status transaction_failure_ = kOk;

  std::atomic<bool> damaged_{false};
  std::atomic<bool> no_more_writes_{false};
  bool committed_ = false;   // at least once
  bool log_is_old_ = false;  // the last commit was the first
  int log_pages_ = 0;
  int checkpoint_due_at_ = 0;  // 0 = at the limit
};

}  // namespace qob::store
