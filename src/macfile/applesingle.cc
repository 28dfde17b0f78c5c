#include "macfile/applesingle.h"

#include <algorithm>
#include <array>

#include "macfile/big_endian.h"

namespace qob::applesingle {
namespace {

enum Id : std::uint32_t { kDataFork = 1, kResourceFork = 2, kRealName = 3, kFinderInfo = 9 };

Entry* Find(Entries* entries, std::uint32_t id) {
  switch (id) {
    case kDataFork:
      return &entries->data_fork;
    case kResourceFork:
      return &entries->resource_fork;
    case kRealName:
      return &entries->real_name;
    case kFinderInfo:
      return &entries->finder_info;
    default:
      return nullptr;
  }
}

bool LiesInside(const Entry& entry, std::int64_t file_size) {
  return entry.length == 0 || std::int64_t{entry.offset} + entry.length <= file_size;
}

void AppendEntry(std::string* to, Id id, std::uint32_t offset, std::uint32_t length) {
  AppendBigEndian32(to, id);
  AppendBigEndian32(to, offset);
  AppendBigEndian32(to, length);
}

}  // namespace

bool ParseEntries(std::string_view head, Entries* entries) {
  *entries = Entries();
  if (head.size() < kFixedSize || BigEndian32(head.data()) != kMagic) return false;
  const bool cut = head.size() >= kExaminedSize;
  head = head.substr(0, kExaminedSize);
  const std::size_t count = BigEndian16(head.data() + 24);
  const std::size_t standing = (head.size() - kFixedSize) / kDescriptorSize;
  if (count > standing && !cut) return false;
  for (std::size_t i = 0; i < std::min(count, standing); ++i) {
    const char* at = head.data() + kFixedSize + i * kDescriptorSize;
    Entry* entry = Find(entries, BigEndian32(at));
    if (entry == nullptr || entry->present) continue;
    *entry = {true, BigEndian32(at + 4), BigEndian32(at + 8)};
  }
  return true;
}

bool LieInside(const Entries& entries, std::int64_t file_size) {
  return LiesInside(entries.data_fork, file_size) && LiesInside(entries.resource_fork, file_size) &&
         LiesInside(entries.real_name, file_size) && LiesInside(entries.finder_info, file_size);
}

bool ReadEntries(os::Handle file, Entries* entries) {
  std::array<char, kExaminedSize> head;
  const os::Result<std::int64_t> size = os::FileSize(file);
  if (!size || !os::SeekFile(file, 0, os::From::kStart)) return false;
  const os::Result<std::size_t> got = os::ReadFile(file, head.data(), head.size());
  return got && ParseEntries({head.data(), got.value}, entries) && LieInside(*entries, size.value);
}

bool ReadEntry(os::Handle file, const Entry& entry, std::size_t limit, std::string* bytes) {
  bytes->assign(std::min<std::size_t>(entry.length, limit), '\0');
  if (bytes->empty()) return true;
  if (!os::SeekFile(file, entry.offset, os::From::kStart)) return false;
  const os::Result<std::size_t> got = os::ReadFile(file, bytes->data(), bytes->size());
  return got && got.value == bytes->size();
}

FinderInfo ParseFinderInfo(std::string_view bytes) {
  std::array<char, 10> held{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), held.size()), held.begin());
  return {BigEndian32(held.data()), BigEndian32(held.data() + 4),
          static_cast<std::uint16_t>(BigEndian16(held.data() + 8))};
}

std::string MakeHeader(std::uint32_t data_length, std::uint32_t resource_length,
                       std::uint32_t name_length) {
  std::string header;
  header.reserve(kWrittenHeaderSize);
  AppendBigEndian32(&header, kMagic);
  AppendBigEndian32(&header, kVersion);
  header.append(16, '\0');
  AppendBigEndian16(&header, kWrittenEntries);
  std::uint32_t offset = kWrittenHeaderSize;
  AppendEntry(&header, kDataFork, offset, data_length);
  AppendEntry(&header, kResourceFork, offset += data_length, resource_length);
  AppendEntry(&header, kRealName, offset += resource_length, name_length);
  AppendEntry(&header, kFinderInfo, offset += name_length, kFinderInfoSize);
  return header;
}

std::string MakeFinderInfo(const FinderInfo& info) {
  std::string bytes;
  AppendBigEndian32(&bytes, info.type);
  AppendBigEndian32(&bytes, info.creator);
  AppendBigEndian16(&bytes, info.flags);
  bytes.append(kFinderInfoSize - bytes.size(), '\0');
  return bytes;
}

}  // namespace qob::applesingle
