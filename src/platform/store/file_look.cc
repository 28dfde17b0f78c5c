#include "platform/store/file_look.h"

#include <cstring>
#include <memory>

#include "platform/store/log_pages.h"
#include "platform/store/schema.h"

namespace qob::store {
namespace {

constexpr int kHeaderBytes = 100;
constexpr char kMagic[] = "SQLite format 3";
constexpr std::uint32_t kSchemaFormat = 4;
constexpr int kLooks = 5;

std::uint32_t LoadBig32(const unsigned char* from) {
  return std::uint32_t{from[0]} << 24 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 8 |
         from[3];
}

bool IsOurHeader(const unsigned char* header) {
  constexpr unsigned char kShape[] = {kPageBytes >> 8, kPageBytes & 0xFF, 2, 2, 0, 64, 32, 32};
  return std::memcmp(header, kMagic, sizeof kMagic) == 0 &&
         std::memcmp(header + 16, kShape, sizeof kShape) == 0 && LoadBig32(header + 28) > 0 &&
         LoadBig32(header + 44) == kSchemaFormat && LoadBig32(header + 56) == 1 &&
         LoadBig32(header + 60) == kFormatVersion && LoadBig32(header + 68) == kApplicationId;
}

bool Exists(sqlite3_vfs* base, const char* path) {
  int found = 0;
  return base->xAccess(base, path, SQLITE_ACCESS_EXISTS, &found) == SQLITE_OK && found != 0;
}

}  // namespace

int LookAtFile(sqlite3_vfs* base, sqlite3_filename name, sqlite3_file* file) {
  // Our files never have one; SQLite would play it back into the file.
  if (Exists(base, sqlite3_filename_journal(name))) return SQLITE_NOTADB;
  unsigned char header[kHeaderBytes];
  sqlite3_int64 last_size = -1;
  for (int look = 0; look < kLooks; ++look) {
    int rc = file->pMethods->xRead(file, header, kHeaderBytes, 0);
    if (rc == SQLITE_IOERR_SHORT_READ) return SQLITE_NOTADB;
    if (rc != SQLITE_OK) return rc;
    if (!IsOurHeader(header)) return SQLITE_NOTADB;
    sqlite3_int64 size = 0;
    rc = file->pMethods->xFileSize(file, &size);
    if (rc != SQLITE_OK) return rc;
    const std::uint32_t pages = LoadBig32(header + 28);
    const auto present = static_cast<std::uint64_t>(size) / kPageBytes;
    if (present >= pages) return SQLITE_OK;
    // Another process may be moving its log into the file at this moment, and begin a new log as
    // soon as it has: then the file has grown meanwhile.
    if (size == last_size) return SQLITE_NOTADB;
    last_size = size;
    bool all = false;
    rc = LogHoldsPages(base, sqlite3_filename_wal(name), static_cast<std::uint32_t>(present) + 1,
                       pages, &all);
    if (rc != SQLITE_OK || all) return rc;
  }
  return SQLITE_NOTADB;
}

}  // namespace qob::store
