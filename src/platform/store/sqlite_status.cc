#include "platform/store/sqlite_status.h"

#include <cerrno>

namespace qob::store {
namespace {

Status StatusOfOpening(int error) {
  const Status status = StatusOfError(error);
  return status == kIoError ? kNoPermission : status;
}

}  // namespace

Status StatusOfError(int error) {
  switch (error) {
    case 0:
      return kOk;
    case ENOENT:
    case ENOTDIR:
      return kNoSuchFile;
    case EEXIST:
      return kFileExists;
    case EACCES:
    case EPERM:
    case EROFS:
      return kNoPermission;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kDiskFull;
    case EMFILE:
    case ENFILE:
      return kTooManyOpen;
    case ENOMEM:
      return kNoMemory;
    case ETIMEDOUT:
    case EWOULDBLOCK:
    case EBUSY:
      return kBusy;
    case ENAMETOOLONG:
    case EINVAL:
      return kBadFileName;
    default:
      return kIoError;
  }
}

Status StatusOfResult(sqlite3* db, int rc) {
  switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return kOk;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // a table or index that every file of ours has is not there
      return kNotOurFile;
    case SQLITE_FULL:
      return kDiskFull;
    case SQLITE_NOMEM:
      return kNoMemory;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return kBusy;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return kNoPermission;
    case SQLITE_CONSTRAINT:
      return kDuplicateKey;
    case SQLITE_CANTOPEN:
      return StatusOfOpening(sqlite3_system_errno(db));
    case SQLITE_IOERR:
      if (rc == SQLITE_IOERR_NOMEM) return kNoMemory;
      return StatusOfError(sqlite3_system_errno(db)) == kDiskFull ? kDiskFull : kIoError;
    default:
      return kIoError;
  }
}

}  // namespace qob::store
