// A relation's files, looked at and opened.
#pragma once
#include <memory>
#include <string>
#include <string_view>

#include "platform/os/file.h"
#include "platform/store/record_file.h"

namespace qob::tessera {

inline constexpr char kDataExtension[] = ".db";
inline constexpr char kIndexExtension[] = ".id0";

struct OpenRelation {
  std::shared_ptr<store::RecordFile> file;
  std::string index_path;
};

// kNotOpen when there is no record file, kBufferTooShort when it has length zero: what a seed may
// take the place of. kNotOurFile, kNoPermission and all others: not to be touched. Throws
// std::bad_alloc.
store::Status Open(std::string_view directory, std::string_view name, OpenRelation* relation);
store::Status Create(std::string_view directory, std::string_view name,
                     const store::FileDescription& description);

}  // namespace qob::tessera
