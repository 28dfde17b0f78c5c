// The caller's position block: one cursor, whole and in plain bytes, so that a copy of it is a
// cursor of its own. It holds no pointer and is never known by its address; it may be unaligned.
//
// offset  size  meaning
//      0     4  magic "QPOS"; zero = not open
//      4     4  slot in the process's table of open files
//      8     8  the slot's generation when the file was opened
//     16     4  the process that opened it
//     20     1  index that the place was read by
//     21     1  1 = there is a place, 2 = its record was deleted through this block
//     22     2  length of the record's key in that index, as the index holds it
//     24     8  record number
//     32     8  version of the record as read
//     40     8  hash of the whole key
//     48    80  the key, or its first 80 bytes
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/store/record_file.h"

namespace qob::btrieve {

inline constexpr std::uint32_t kMagic = 0x534F5051;  // "QPOS"
inline constexpr std::size_t kBlockBytes = 128;
inline constexpr std::size_t kKeptKeyBytes = 80;

inline constexpr std::uint8_t kHasPlace = 1;
inline constexpr std::uint8_t kDeletedHere = 2;

// FNV-1a: tells whether a key that the block holds in part is still the same.
constexpr std::uint64_t KeyHash(std::string_view key) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return hash;
}

struct Block {
  std::uint32_t magic = 0;
  std::uint32_t slot = 0;
  std::uint64_t generation = 0;
  std::uint32_t process = 0;
  std::uint8_t index = 0;
  std::uint8_t flags = 0;
  std::uint16_t key_bytes = 0;
  std::int64_t number = 0;
  std::int64_t version = 0;
  std::uint64_t key_hash = 0;
  char key[kKeptKeyBytes] = {};

  static Block Load(const void* position_block) {
    Block block;
    std::memcpy(&block, position_block, sizeof block);
    return block;
  }
  void Save(void* position_block) const { std::memcpy(position_block, this, sizeof *this); }

  bool has_place() const { return (flags & kHasPlace) != 0; }
  // A place whose record may be changed through this block.
  bool has_record() const { return flags == kHasPlace; }
  bool has_whole_key() const { return key_bytes <= kKeptKeyBytes; }
  std::string_view whole_key() const { return {key, key_bytes}; }

  void Forget() { flags = 0; }
  void StandOn(int at_index, std::int64_t at_number, std::int64_t at_version,
               std::string_view at_key) {
    index = static_cast<std::uint8_t>(at_index);
    flags = kHasPlace;
    number = at_number;
    version = at_version;
    key_bytes = static_cast<std::uint16_t>(at_key.size());
    // Only a key that is kept in part is ever compared by its hash.
    key_hash = has_whole_key() ? 0 : KeyHash(at_key);
    std::memset(key, 0, sizeof key);
    std::memcpy(key, at_key.data(), has_whole_key() ? at_key.size() : sizeof key);
  }
  bool IsKey(std::string_view other) const {
    return other.size() == key_bytes && KeyHash(other) == key_hash &&
           std::memcmp(other.data(), key, sizeof key) == 0;
  }
};

static_assert(sizeof(Block) == kBlockBytes);
static_assert(offsetof(Block, generation) == 8 && offsetof(Block, process) == 16);
static_assert(offsetof(Block, index) == 20 && offsetof(Block, flags) == 21);
static_assert(offsetof(Block, key_bytes) == 22 && offsetof(Block, number) == 24);
static_assert(offsetof(Block, version) == 32 && offsetof(Block, key_hash) == 40);
static_assert(offsetof(Block, key) == 48);

}  // namespace qob::btrieve
