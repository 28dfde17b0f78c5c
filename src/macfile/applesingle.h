// AppleSingle: one byte stream that holds both forks of a Macintosh file and what describes it.
//
//   offset  width  field
//        0      4  magic 0x00051600
//        4      4  version 0x00020000
//        8     16  filler, zero
//       24      2  number of entries
//       26     12  per entry: id, offset of its data from the start of the file, length (4 each)
//
// with all integers big-endian. Entry ids: 1 data fork, 2 resource fork, 3 real name (no
// terminator), 9 Finder info (type 4, creator 4, flags 2, the rest zero; 32 in all).
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/file.h"

namespace qob::applesingle {

inline constexpr std::uint32_t kMagic = 0x00051600;
inline constexpr std::uint32_t kVersion = 0x00020000;
inline constexpr std::size_t kFixedSize = 26;
inline constexpr std::size_t kDescriptorSize = 12;
inline constexpr std::size_t kWrittenEntries = 4;
inline constexpr std::size_t kWrittenHeaderSize = kFixedSize + kWrittenEntries * kDescriptorSize;
static_assert(kWrittenHeaderSize == 74);
inline constexpr std::size_t kExaminedSize = 8192;  // a reader looks for descriptors no further
inline constexpr std::size_t kFinderInfoSize = 32;

struct Entry {
  bool present = false;
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
};

struct Entries {
  Entry data_fork;
  Entry resource_fork;
  Entry real_name;
  Entry finder_info;
};

struct FinderInfo {
  std::uint32_t type = 0;
  std::uint32_t creator = 0;
  std::uint16_t flags = 0;
};

// Reads header and descriptors from the file's first bytes (at most kExaminedSize count). False
// when this is no AppleSingle file or its descriptors end early. An id that appears twice counts
// the first time.
bool ParseEntries(std::string_view head, Entries* entries);
// Every entry that is not empty lies inside a file of that size. Entries may overlap.
bool LieInside(const Entries& entries, std::int64_t file_size);

// ParseEntries on an open file, with every entry inside it.
bool ReadEntries(os::Handle file, Entries* entries);
// The first `limit` bytes of an entry, fewer when it is shorter; false when they cannot be read.
bool ReadEntry(os::Handle file, const Entry& entry, std::size_t limit, std::string* bytes);
// What a Finder info entry says; bytes it lacks are zero.
FinderInfo ParseFinderInfo(std::string_view bytes);

// The header as this library writes it: data fork, resource fork, real name and Finder info follow
// in this order.
std::string MakeHeader(std::uint32_t data_length, std::uint32_t resource_length,
                       std::uint32_t name_length);
std::string MakeFinderInfo(const FinderInfo& info);

}  // namespace qob::applesingle
