// One run of a statement: bound, stepped, and reset at the end, so that no read stays open.
#pragma once
#include <cstdint>
#include <string_view>

#include <sqlite3.h>

#include "platform/store/connection.h"

namespace qob::store {

class Statement {
 public:
  enum class Kind { kRead, kWrite };
  // One of those that the connection keeps.
  Statement(Connection& connection, int slot, Kind kind = Kind::kRead)
      : connection_(connection), write_(kind == Kind::kWrite) {
    Note(connection.Prepare(slot, &statement_));
  }
  // One for this time alone.
  Statement(Connection& connection, std::string_view sql)
      : connection_(connection), write_(false), own_(true) {
    Note(sqlite3_prepare_v2(connection.db(), sql.data(), static_cast<int>(sql.size()), &statement_,
                            nullptr));
  }
  ~Statement() {
    if (own_) {
      sqlite3_finalize(statement_);
    } else if (statement_ != nullptr) {
      sqlite3_reset(statement_);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void Bind(int parameter, std::int64_t number) {
    if (status_ == kOk) Note(sqlite3_bind_int64(statement_, parameter, number));
  }
  // The bytes must stay until the statement ends.
  void Bind(int parameter, std::string_view bytes) {
    if (status_ != kOk) return;
    Note(sqlite3_bind_blob64(statement_, parameter, bytes.empty() ? "" : bytes.data(), bytes.size(),
                             SQLITE_STATIC));
  }

  // A row stands; false at the end and after an error.
  bool Step() {
    if (status_ != kOk) return false;
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) Note(rc);
    return false;
  }
  Status status() const { return status_; }

  std::int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
  // Good until the next step. A failed allocation shows as no bytes: see Take.
  std::string_view Bytes(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, size);
  }
  std::span<const std::byte> Raw(int column) const {
    const std::string_view bytes = Bytes(column);
    return std::as_bytes(std::span(bytes.data(), bytes.size()));
  }

 private:
  void Note(int rc) {
    if (rc != SQLITE_OK) status_ = connection_.Note(rc, write_);
  }

  Connection& connection_;
  sqlite3_stmt* statement_ = nullptr;
  Status status_ = kOk;
  bool write_;
  bool own_ = false;
};

}  // namespace qob::store
