// "<name>.id0": what "<name>.db" must be. It is written when a relation is made, is never changed
// afterwards, and is made again from the record file when it is missing or wrong.
//
// offset size  meaning
//      0    8  "QOBRELN1"
//      8    4  size of a record
//     12    4  place of the key in the record, from 0
//     16    4  length of the key's field
//     20    4  1 = several records may have the same key, else 0
//     24   16  the record file's identity
//     40   24  the relation's name, as much of it as there is room for, NULs behind it
//
// Numbers are little-endian.
#pragma once
#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/store/record_file.h"

namespace qob::tessera {

inline constexpr std::size_t kIndexFileBytes = 64;
using IndexBytes = std::array<char, kIndexFileBytes>;

// The description of a relation's record file; keys of every relation mind no case.
store::FileDescription RelationDescription(std::uint16_t record_bytes, std::uint16_t key_offset,
                                           std::uint16_t key_bytes, bool duplicates);
// A file that such a description made, and not just any record file.
bool IsRelation(const store::FileDescription& description);

// What must stand in the index file of that record file.
IndexBytes ExpectedIndex(std::string_view name, const store::RecordFile& file);
// Makes the index file at `path` while nobody else does, unless is_right() by then; `like` is the
// record file, whose owner and permissions it gets.
store::Status MakeIndexFile(const std::string& path, const std::string& like,
                            const IndexBytes& bytes, const std::function<bool()>& is_right);

}  // namespace qob::tessera
