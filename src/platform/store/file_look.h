// Is this a whole record file? Asked before SQLite reads it, of the file's first bytes, its length
// and its log.
//
// offset size  what must stand there (numbers here are big-endian)
//      0   16  "SQLite format 3", NUL
//     16    2  4096, the page size
//     18    2  2 and 2: the file has a log
//     20    4  0, 64, 32, 32
//     28    4  number of pages; the file is as long, or the log holds what is missing
//     44    4  4, the format of the schema
//     56    4  1: UTF-8
//     60    4  format version
//     68    4  application id
#pragma once
#include <sqlite3.h>

namespace qob::store {

// SQLITE_OK, SQLITE_NOTADB, or the error of reading. `file` is open through `base`; `name` is as
// SQLite gave it to the layer.
int LookAtFile(sqlite3_vfs* base, sqlite3_filename name, sqlite3_file* file);

}  // namespace qob::store
