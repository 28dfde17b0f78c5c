// The description of a record file: record length and keys, as 16 bytes and 16 bytes per key.
//
// file part                          key part
// offset size                        offset size
//      0    2 record length               0    2 position of the key in the record, from 1
//      2    2 page size                   2    2 length
//      4    2 number of indexes           4    2 flags
//      6    4 number of records (Stat)    6    4 distinct values (unused: 0)
//     10    2 file flags                 10    1 extended type
//     12    2 reserved                   11    1 null value
//     14    2 preallocated pages         12    4 reserved
//
// All numbers little-endian. Only the first `index_count` keys form indexes; further descriptions
// are kept as they stand.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/status.h"

namespace qob::store {

inline constexpr std::uint16_t kKeyDuplicates = 0x001;
inline constexpr std::uint16_t kKeyModifiable = 0x002;
inline constexpr std::uint16_t kKeyExtendedType = 0x100;
inline constexpr std::uint16_t kKeyAnyCase = 0x400;

inline constexpr std::uint8_t kTypeInteger = 1;  // signed, little-endian, 1, 2, 4 or 8 bytes
inline constexpr std::uint8_t kTypeText = 11;    // ends at its NUL or with the field

struct KeyDescription {
  std::uint16_t position = 1;
  std::uint16_t length = 0;
  std::uint16_t flags = 0;
  std::uint8_t type = kTypeText;
  std::uint8_t null_value = 0;
};

struct FileDescription {
  std::uint16_t record_bytes = 0;
  std::uint16_t page_bytes = 4096;
  std::uint16_t index_count = 0;
  std::uint16_t flags = 0;
  std::uint16_t preallocated_pages = 0;
  std::vector<KeyDescription> keys;  // at least index_count of them
};

inline constexpr std::size_t kFilePartBytes = 16;
inline constexpr std::size_t kKeyPartBytes = 16;

// kNotAllowed for bytes that describe no file: no record, an index outside the record, fewer keys
// than indexes; kBadKeyType for an index of a type that is not kept.
Status ReadDescription(std::span<const std::byte> bytes, FileDescription* description);
std::string WriteDescription(const FileDescription& description);

// A key as the index holds it: the bytes compare as the values do. Text is cut at its NUL and
// folded where the index minds no case; an integer is eight bytes, most significant first, its sign
// bit turned.
// `value` is the value as a caller gives it: text without its NUL, or the little-endian bytes.
std::string IndexKey(const KeyDescription& key, std::span<const std::byte> value);
// The same of the field in a record.
std::string IndexKeyOf(const KeyDescription& key, std::span<const std::byte> record);

}  // namespace qob::store
