#include "platform/store/connection.h"

#include <algorithm>
#include <chrono>

#include "platform/os/file_identity.h"
#include "platform/os/path.h"
#include "platform/os/process.h"
#include "platform/store/schema.h"
#include "platform/store/settings.h"
#include "platform/store/sqlite_status.h"

namespace qob::store {

Connection::~Connection() {
  for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
  sqlite3_close(db_);
}

// ---- stays

Status Connection::Enter(bool write) {
  if (os::ProcessId() != process_) return kNotOpen;
  if (write && read_only_) return kNoPermission;
  Patience patience(WaitMs());
  if (!turns_.Enter(patience)) return kBusy;
  patience_ = patience;
  Status status = MayEnter(write);
  if (status == kOk && write && !in_transaction_) status = EnterGate();
  if (status != kOk) turns_.Leave();
  return status;
}

Status Connection::MayEnter(bool write) const {
  if (damaged_) return kNotOurFile;
  if (write && no_more_writes_) return kIoError;
  if (write && showing_ > 0) return kNotAllowed;
  // After some errors SQLite ends the whole transaction; what came next would stand alone.
  if (in_transaction_ && sqlite3_get_autocommit(db_) != 0) return transaction_failure_;
  return kOk;
}

void Connection::Leave(bool write) {
  if (write && !in_transaction_) {
    CheckpointIfDue();
    LeaveGate();
  }
  turns_.Leave();
}

Status Connection::Note(int rc, bool write) {
  const Status status = StatusOfResult(db_, rc);
  if (SaysDamaged(rc)) damaged_ = true;
  // What the system did with the bytes is unknown, and asking it again would not tell.
  if (write && (rc & 0xFF) == SQLITE_IOERR && rc != SQLITE_IOERR_NOMEM) no_more_writes_ = true;
  if (in_transaction_ && status != kOk && transaction_failure_ == kOk) {
    transaction_failure_ = status;
  }
  return status;
}

ReadAhead* Connection::Ahead() {
  if (sqlite3_txn_state(db_, "main") != SQLITE_TXN_NONE) return nullptr;
  if (ahead_.log_index() == nullptr) {
    constexpr int kRegionBytes = 32768;
    sqlite3_file* file = nullptr;
    void volatile* begin = nullptr;
    sqlite3_file_control(db_, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (file == nullptr || file->pMethods == nullptr || file->pMethods->iVersion < 2)
      return nullptr;
    const int rc = file->pMethods->xShmMap(file, 0, kRegionBytes, 0, &begin);
    if (rc == SQLITE_OK && begin != nullptr) ahead_.SetLogIndex(const_cast<void*>(begin));
  }
  return ahead_.log_index() != nullptr ? &ahead_ : nullptr;
}

// ---- the gate and the log

void Connection::OpenGate() {
  os::Result<std::unique_ptr<os::Gate>> gate = os::Gate::Open(path_ + "-gate", path_);
  gate_ = gate ? std::move(gate.value) : nullptr;
}

Status Connection::EnterGate() {
  for (int tries = 0; gate_ != nullptr && tries < 2; ++tries) {
    const int error = gate_->Enter(static_cast<int>(patience_.Left().count()));
    in_gate_ = error == 0;
    if (error == 0) return kOk;
    if (error == os::kTimedOut) return kBusy;
    OpenGate();
  }
  return kOk;  // SQLite's own locks keep the file safe; the gate keeps order
}

void Connection::LeaveGate() {
  if (!in_gate_) return;
  in_gate_ = false;
  gate_->Leave();
}

int Connection::OnCommit(void* connection, sqlite3*, const char*, int pages) {
  auto* self = static_cast<Connection*>(connection);
  if (pages < self->log_pages_) self->checkpoint_due_at_ = 0;  // the log was begun anew
  self->log_pages_ = pages;
  self->log_is_old_ = !self->committed_;
  self->committed_ = true;
  return SQLITE_OK;
}

void Connection::CheckpointIfDue() {
  const int limit = LogLimitPages();
  if (!in_gate_ || no_more_writes_ || damaged_) return;
  if (log_pages_ < std::max(limit, checkpoint_due_at_)) return;
  // A moved log is begun anew by the commit after it, but one that comes when all have closed the
  // file does not know that it was moved: processes that commit once and go would make it longer
  // and longer. So what was found over the limit is cut.
  bool complete = false;
  CheckpointNow(log_is_old_ ? SQLITE_CHECKPOINT_TRUNCATE : SQLITE_CHECKPOINT_PASSIVE, &complete);
  // A reader may hold the log; trying at every commit would make each as slow as a checkpoint.
  checkpoint_due_at_ = log_pages_ + std::max(limit / 4, 1);
}

Status Connection::CheckpointNow(int mode, bool* complete) {
  *complete = false;
  if (!in_gate_) return kOk;
  patience_ = Patience(0);  // readers are not waited for
  const auto start = std::chrono::steady_clock::now();
  int in_log = 0;
  int moved = 0;
  const int rc = sqlite3_wal_checkpoint_v2(db_, nullptr, mode, &in_log, &moved);
  const auto took = std::chrono::steady_clock::now() - start;
  NoteCheckpoint(std::chrono::duration_cast<std::chrono::microseconds>(took).count());
  *complete = rc == SQLITE_OK && in_log == moved;
  const bool in_use = (rc & 0xFF) == SQLITE_BUSY || (rc & 0xFF) == SQLITE_LOCKED;
  return in_use ? kOk : Note(rc, true);
}

// Others who hold the file leave it within milliseconds, or are not of our kind.
int Connection::OnBusy(void* connection, int count) {
  auto* self = static_cast<Connection*>(connection);
  const auto left = self->patience_.Left().count();
  if (left <= 0) return 0;
  constexpr int kLongestPauseMs = 20;
  const int pause = std::min(1 + count / 4, kLongestPauseMs);
  os::SleepMs(static_cast<int>(std::min<std::int64_t>(pause, left)));
  return 1;
}

// ---- transactions

Status Connection::Begin() {
  const Status status = Enter(true);
  if (status != kOk) return status;
  if (in_transaction_) {
    turns_.Leave();
    return kNotAllowed;
  }
  const Status begun = Run(kBegin);
  if (begun != kOk) {
    Leave(true);
    return begun;
  }
  in_transaction_ = true;
  transaction_failure_ = kOk;
  return kOk;
}

Status Connection::Commit() {
  if (os::ProcessId() != process_) return kNotOpen;
  if (!turns_.Mine() || !in_transaction_ || showing_ > 0) return kNotAllowed;
  Status status = damaged_ ? kNotOurFile : kOk;
  if (status == kOk && sqlite3_get_autocommit(db_) != 0) status = transaction_failure_;
  if (status == kOk) status = Run(kEnd);
  EndTransaction();
  return status;
}

void Connection::Rollback() {
  if (os::ProcessId() != process_ || !turns_.Mine() || !in_transaction_) return;
  EndTransaction();
}

// Nothing is left to undo after a commit.
void Connection::Undo() {
  if (sqlite3_get_autocommit(db_) == 0 && Run(kUndo) != kOk) no_more_writes_ = true;
}

void Connection::EndTransaction() {
  Undo();
  in_transaction_ = false;
  Leave(true);
}

Status Connection::Run(int slot) {
  sqlite3_stmt* statement = nullptr;
  int rc = Prepare(slot, &statement);
  if (rc == SQLITE_OK) {
    rc = sqlite3_step(statement);
    sqlite3_reset(statement);
  }
  return Note(rc, true);
}

}  // namespace qob::store
