#include "platform/store/description.h"

#include <algorithm>
#include <cstring>

#include "platform/os/ascii.h"
#include "platform/store/little_endian.h"

namespace qob::store {
namespace {

constexpr std::uint16_t kKnownFlags =
    kKeyDuplicates | kKeyModifiable | kKeyExtendedType | kKeyAnyCase;
constexpr std::uint16_t kMostIndexes = 119;

std::uint16_t Load16(std::span<const std::byte> bytes, std::size_t offset) {
  return LoadLittle<std::uint16_t>(bytes.data() + offset);
}

KeyDescription ReadKey(std::span<const std::byte> part) {
  KeyDescription key;
  key.position = Load16(part, 0);
  key.length = Load16(part, 2);
  key.flags = Load16(part, 4);
  key.type = std::to_integer<std::uint8_t>(part[10]);
  key.null_value = std::to_integer<std::uint8_t>(part[11]);
  return key;
}

Status JudgeIndex(const KeyDescription& key, std::uint16_t record_bytes) {
  if (key.position == 0 || key.length == 0 || key.position - 1 + key.length > record_bytes) {
    return kNotAllowed;
  }
  if ((key.flags & kKeyExtendedType) == 0 || (key.flags & ~kKnownFlags) != 0) return kBadKeyType;
  if (key.type == kTypeText) return kOk;
  const bool whole = key.length == 1 || key.length == 2 || key.length == 4 || key.length == 8;
  return key.type == kTypeInteger && whole ? kOk : kBadKeyType;
}

std::string TextKey(const KeyDescription& key, std::span<const std::byte> value) {
  const char* text = reinterpret_cast<const char*>(value.data());
  const std::size_t length = value.empty() ? 0 : strnlen(text, value.size());
  std::string folded(text, length);
  if ((key.flags & kKeyAnyCase) != 0) {
    for (char& c : folded) c = static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  }
  return folded;
}

std::string IntegerKey(const KeyDescription& key, std::span<const std::byte> value) {
  const std::size_t size = std::min<std::size_t>({value.size(), key.length, 8});
  std::uint64_t number = 0;
  for (std::size_t i = size; i-- > 0;) {
    number = number << 8 | std::to_integer<std::uint64_t>(value[i]);
  }
  if (size > 0 && size < 8 && (number >> (8 * size - 1)) != 0) {
    number |= ~std::uint64_t{0} << (8 * size);
  }
  number ^= std::uint64_t{1} << 63;
  std::string ordered(8, '\0');
  for (std::size_t i = 8; i-- > 0; number >>= 8) ordered[i] = static_cast<char>(number & 0xFF);
  return ordered;
}

}  // namespace

Status ReadDescription(std::span<const std::byte> bytes, FileDescription* description) {
  *description = {};
  if (bytes.size() < kFilePartBytes) return kNotAllowed;
  description->record_bytes = Load16(bytes, 0);
  description->page_bytes = Load16(bytes, 2);
  description->index_count = Load16(bytes, 4);
  description->flags = Load16(bytes, 10);
  description->preallocated_pages = Load16(bytes, 14);
  for (bytes = bytes.subspan(kFilePartBytes); bytes.size() >= kKeyPartBytes;
       bytes = bytes.subspan(kKeyPartBytes)) {
    description->keys.push_back(ReadKey(bytes));
  }
  if (description->record_bytes == 0 || description->index_count > kMostIndexes ||
      description->index_count > description->keys.size()) {
    return kNotAllowed;
  }
  for (std::size_t i = 0; i < description->index_count; ++i) {
    const Status status = JudgeIndex(description->keys[i], description->record_bytes);
    if (status != kOk) return status;
  }
  return kOk;
}

std::string WriteDescription(const FileDescription& description) {
  std::string bytes(kFilePartBytes + description.keys.size() * kKeyPartBytes, '\0');
  auto* at = reinterpret_cast<std::byte*>(bytes.data());
  StoreLittle(description.record_bytes, at);
  StoreLittle(description.page_bytes, at + 2);
  StoreLittle(description.index_count, at + 4);
  StoreLittle(description.flags, at + 10);
  StoreLittle(description.preallocated_pages, at + 14);
  for (const KeyDescription& key : description.keys) {
    at += kKeyPartBytes;  // the file part is as long as a key part
    StoreLittle(key.position, at);
    StoreLittle(key.length, at + 2);
    StoreLittle(key.flags, at + 4);
    at[10] = std::byte{key.type};
    at[11] = std::byte{key.null_value};
  }
  return bytes;
}

std::string IndexKey(const KeyDescription& key, std::span<const std::byte> value) {
  return key.type == kTypeInteger ? IntegerKey(key, value) : TextKey(key, value);
}

std::string IndexKeyOf(const KeyDescription& key, std::span<const std::byte> record) {
  const std::size_t from = key.position - std::size_t{1};
  if (key.position == 0 || from >= record.size()) return IndexKey(key, {});
  return IndexKey(key,
                  record.subspan(from, std::min<std::size_t>(key.length, record.size() - from)));
}

}  // namespace qob::store
