// Which pages a log holds: SQLite's write-ahead log, read through its file layer.
//
// header: offset size                     frame: offset size
//   0  4  0x377F0682 or 0x377F0683          0  4  page number
//   4  4  3007000                           4  4  pages of the file after a commit, else 0
//   8  4  page size                         8  8  salts as in the header
//  12  4  number of this log               16  8  checksums of all that stands before
//  16  8  salts                            24  .  the page
//  24  8  checksums of the 24 bytes above
//
// Big-endian; the checksums are sums over words that are big-endian when the first number is odd,
// else little-endian.
#pragma once
#include <cstdint>
#include <sqlite3.h>

namespace qob::store {

// *all: every page from `first` to `last` stands in a committed frame. A log that is missing or
// ends in rubbish holds what stands before; an error is one of reading.
int LogHoldsPages(sqlite3_vfs* base, sqlite3_filename path, std::uint32_t first, std::uint32_t last,
                  bool* all);

}  // namespace qob::store
