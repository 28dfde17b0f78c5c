// offset  width  field
//      0      4  magic 00051600
//      4      4  version 00020000
//      8     16  zero
//     24      2  number of entries: 3
//     26   3x12  entries: identifier, offset, length (data fork 1, real name 3, Finder info 9)
//     62         data fork, name, Finder info (type 4, creator 4, zero to 32); all numbers
//     big-endian
#include "applesingle.h"

namespace cli {
namespace {

constexpr std::string_view kMagic("\x00\x05\x16\x00", 4);
constexpr std::string_view kVersion("\x00\x02\x00\x00", 4);
constexpr std::uint32_t kHeadBytes = 62;
constexpr std::uint32_t kFinderBytes = 32;

std::string Big(std::uint32_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
    text += static_cast<char>(value >> shift & 0xFF);
  return text;
}

std::string EntryRow(std::uint32_t identifier, std::uint32_t offset, std::uint32_t length) {
  return Big(identifier, 4) + Big(offset, 4) + Big(length, 4);
}

}  // namespace

bool IsAppleSingle(std::string_view first_bytes) { return first_bytes.starts_with(kMagic); }

std::string AppleSingleHead(const MacFile& file) {
  const std::uint32_t name_at = kHeadBytes + file.data_bytes;
  const std::uint32_t name_bytes = static_cast<std::uint32_t>(file.name.size());
  std::string head(kMagic);
  head += kVersion;
  head += std::string(16, '\0') + Big(3, 2);
  head += EntryRow(1, kHeadBytes, file.data_bytes);
  head += EntryRow(3, name_at, name_bytes);
  return head + EntryRow(9, name_at + name_bytes, kFinderBytes);
}

std::string AppleSingleTail(const MacFile& file) {
  std::string finder = file.type + file.creator;
  finder.resize(kFinderBytes, '\0');
  return file.name + finder;
}

}  // namespace cli
