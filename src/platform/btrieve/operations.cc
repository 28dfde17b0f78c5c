#include "platform/btrieve/operations.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "platform/btrieve/hooks.h"
#include "platform/btrieve/open_files.h"
#include "platform/spool/store_settings.h"

namespace qob::btrieve {
namespace {

using store::Entry;
using store::RecordFile;
using store::Status;

constexpr std::int8_t kReadOnly = -2;
constexpr std::size_t kPositionBytes = 4;
constexpr std::size_t kCountAt = 6;  // of the number of records in the file part

bool HasIndex(const RecordFile& file, int index) {
  return index >= 0 && index < file.description().index_count;
}

// What every operation on a record asks of its arguments before it looks at the file.
Status Checked(const RecordFile& file, const Arguments& in, bool with_record) {
  if (!HasIndex(file, in.key_number)) return store::kNoSuchIndex;
  if (with_record && in.data.size() < file.description().record_bytes) {
    return store::kBufferTooShort;
  }
  return store::kOk;
}

std::span<std::byte> RecordPart(const RecordFile& file, const Arguments& in) {
  return in.data.first(file.description().record_bytes);
}

// The key to seek, as the index holds it. False for one that is no value of that index.
bool SoughtKey(const store::KeyDescription& key, const Arguments& in, std::string* sought) {
  if (in.key == nullptr) return false;
  std::size_t length = std::min<std::size_t>(in.key_length, key.length);
  if (key.type == store::kTypeText) {
    length = strnlen(in.key, length);
  } else if (length < key.length) {
    return false;
  }
  *sought = store::IndexKey(key, std::as_bytes(std::span(in.key, length)));
  return true;
}

// The whole key of the block's place. One that did not fit the block is taken from its record, as
// long as that still has it: without it the place in the index cannot be told.
Status WholeKey(RecordFile& file, const Block& block, std::string* key) {
  if (block.has_whole_key()) {
    *key = block.whole_key();
    return store::kOk;
  }
  std::vector<std::byte> record(file.description().record_bytes);
  Entry entry;
  const Status status = file.Read(block.number, block.index, &entry, record);
  if (status == store::kNotFound) return store::kLostPosition;
  if (status != store::kOk) return status;
  if (!block.IsKey(entry.key)) return store::kLostPosition;
  *key = std::move(entry.key);
  return store::kOk;
}

// What a get does to the block: a seek that finds nothing leaves no place behind.
Outcome Arrived(Status status, int index, const Entry& entry, std::size_t used, Block* block) {
  if (status == store::kOk) {
    block->StandOn(index, entry.number, entry.version, entry.key);
    return {status, used};
  }
  if (status == store::kNotFound || status == store::kEndOfFile) block->Forget();
  return {status};
}

}  // namespace

Outcome Create(const Arguments& in) {
  if (in.key == nullptr || *in.key == '\0') return {store::kBadFileName};
  store::FileDescription description;
  const Status status = store::ReadDescription(in.data, &description);
  if (status != store::kOk) return {status};
  return {RecordFile::Create(in.key, description, spool::StoreCreateOptions()), in.data.size()};
}

Outcome Open(const Arguments& in, std::uint32_t process, Block* block) {
  if (in.key == nullptr || *in.key == '\0') return {store::kBadFileName};
  store::OpenOptions options = spool::StoreOpenOptions();
  options.read_only = in.key_number == kReadOnly;
  OpenFiles& files = OpenFiles::Of(process);
  std::shared_ptr<RecordFile> file;
  Status status = RecordFile::Open(in.key, options, &file);
  if (status != store::kOk) return {status};
  OpenFiles::Key key;
  status = files.Add(std::move(file), &key);
  if (status != store::kOk) return {status};
  *block =
      Block{.magic = kMagic, .slot = key.slot, .generation = key.generation, .process = process};
  return {};
}

Outcome Insert(RecordFile& file, const Arguments& in, Block* block) {
  Status status = Checked(file, in, true);
  if (status != store::kOk) return {status};
  const std::span<const std::byte> record = RecordPart(file, in);
  // Before the insert: behind it nothing may fail any more.
  const std::string key =
      store::IndexKeyOf(file.description().keys[static_cast<std::size_t>(in.key_number)], record);
  Entry entry;
  status = file.Insert(record, &entry);
  if (status != store::kOk) return {status};
  block->StandOn(in.key_number, entry.number, entry.version, key);
  return {store::kOk, record.size()};
}

Outcome Update(RecordFile& file, const Arguments& in, Block* block) {
  Status status = Checked(file, in, true);
  if (status != store::kOk) return {status};
  if (!block->has_record()) return {store::kNoPosition};
  RunBeforeWrite();
  const std::span<const std::byte> record = RecordPart(file, in);
  Entry entry{.number = block->number, .version = block->version, .key = {}};
  status = file.Update(&entry, record);
  if (status != store::kOk) return {status};
  block->version = entry.version;
  return {store::kOk, record.size()};
}

Outcome Delete(RecordFile& file, const Arguments& in, Block* block) {
  Status status = Checked(file, in, false);
  if (status != store::kOk) return {status};
  if (!block->has_record()) return {store::kNoPosition};
  RunBeforeWrite();
  status = file.Delete({.number = block->number, .version = block->version, .key = {}});
  if (status == store::kOk) block->flags |= kDeletedHere;
  return {status};
}

Outcome Get(RecordFile& file, store::Seek seek, const Arguments& in, Block* block) {
  const Status status = Checked(file, in, true);
  if (status != store::kOk) return {status};
  std::string key;
  const auto index = static_cast<std::size_t>(in.key_number);
  if (seek != store::Seek::kFirst && !SoughtKey(file.description().keys[index], in, &key)) {
    return {store::kNotAllowed};
  }
  const std::span<std::byte> record = RecordPart(file, in);
  Entry entry;
  return Arrived(file.Find(in.key_number, seek, key, &entry, record), in.key_number, entry,
                 record.size(), block);
}

Outcome GetNext(RecordFile& file, const Arguments& in, Block* block) {
  Status status = Checked(file, in, true);
  if (status != store::kOk) return {status};
  if (!block->has_place()) return {store::kNoPosition};
  if (block->index != in.key_number) return {store::kOtherIndex};
  std::string key;
  status = WholeKey(file, *block, &key);
  if (status != store::kOk) return {status};
  const std::span<std::byte> record = RecordPart(file, in);
  Entry entry;
  status = file.Next(in.key_number, key, block->number, &entry, record);
  if (status != store::kOk) return {status};
  return Arrived(status, in.key_number, entry, record.size(), block);
}

Outcome GetPosition(const Arguments& in, const Block& block) {
  if (in.data.size() < kPositionBytes) return {store::kBufferTooShort};
  if (!block.has_record()) return {store::kNoPosition};
  if (block.number > std::numeric_limits<std::uint32_t>::max()) return {store::kNumberTooLarge};
  for (std::size_t i = 0; i < kPositionBytes; ++i) {
    in.data[i] = static_cast<std::byte>(block.number >> (8 * i));
  }
  return {store::kOk, kPositionBytes};
}

Outcome GetDirect(RecordFile& file, const Arguments& in, Block* block) {
  Status status = Checked(file, in, true);
  if (status != store::kOk) return {status};
  if (in.data.size() < kPositionBytes) return {store::kBufferTooShort};
  std::int64_t number = 0;
  for (std::size_t i = 0; i < kPositionBytes; ++i) {
    number |= std::to_integer<std::int64_t>(in.data[i]) << (8 * i);
  }
  const std::span<std::byte> record = RecordPart(file, in);
  Entry entry;
  status = file.Read(number, in.key_number, &entry, record);
  return Arrived(status, in.key_number, entry, record.size(), block);
}

Outcome Stat(RecordFile& file, const Arguments& in) {
  store::FileDescription description = file.description();
  description.keys.resize(description.index_count);
  std::string bytes = store::WriteDescription(description);
  if (in.data.size() < bytes.size()) return {store::kBufferTooShort};
  std::int64_t records = 0;
  const Status status = file.Count(&records);
  if (status != store::kOk) return {status};
  const auto shown = static_cast<std::uint32_t>(
      std::min<std::int64_t>(records, std::numeric_limits<std::uint32_t>::max()));
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[kCountAt + i] = static_cast<char>(shown >> (8 * i) & 0xFF);
  }
  std::memcpy(in.data.data(), bytes.data(), bytes.size());
  return {store::kOk, bytes.size()};
}

}  // namespace qob::btrieve
