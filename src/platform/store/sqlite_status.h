// What SQLite's results mean to a caller of the store.
#pragma once
#include <sqlite3.h>

#include "platform/store/status.h"

namespace qob::store {

// rc: an extended result code of `db`.
Status StatusOfResult(sqlite3* db, int rc);
// The file itself is to blame: nothing more is done with it.
inline bool SaysDamaged(int rc) {
  return (rc & 0xFF) == SQLITE_CORRUPT || (rc & 0xFF) == SQLITE_NOTADB;
}

}  // namespace qob::store
