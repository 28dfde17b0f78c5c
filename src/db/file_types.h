// The file type database "magicdb": records kept by the process's relation, and look-ups that open
// it for themselves. Results are dbErrors, kMisused without Open.
#pragma once
#include <cstdint>
#include <functional>
#include <string_view>

#include "db/rows.h"

namespace qob::db {

// Opens the process's relation, placing the seed where there is none; true when it is open. Throws
// std::bad_alloc.
bool OpenFileTypes();
void CloseFileTypes();

std::int32_t AddFileType(const MagicRecord& record);
// Each acts on the first record with that extension, ASCII case ignored; 17 when there is none.
std::int32_t ReplaceFileType(const MagicRecord& record);
std::int32_t DeleteFileType(std::string_view extension);
std::int32_t FindFileType(std::string_view extension, MagicRecord* out);

// The process's pass over all records.
std::int32_t FirstFileType(MagicRecord* out);
std::int32_t NextFileType(MagicRecord* out);

// The first record that `match` takes, handed to `take`; false when there is none or no relation.
// Throws std::bad_alloc.
using FileTypeMatch = std::function<bool(const MagicRow&)>;
using FileTypeUse = std::function<void(const MagicRow&)>;
bool LookUpFileType(const FileTypeMatch& match, const FileTypeUse& take);

// What the look-ups compare. A field equals a text when both are the same up to the field's end.
bool HasExtension(const MagicRow& row, std::string_view extension);
bool HasContentType(const MagicRow& row, std::string_view type, std::string_view subtype);
// The field holds exactly both, each padded with blanks to four characters.
bool HasMacTypes(const MagicRow& row, std::string_view type, std::string_view creator);

}  // namespace qob::db
