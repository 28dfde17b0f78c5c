// A record file in a directory of its own, for tests of the store.
#pragma once
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/store/record_file.h"
#include "support/temp_spool.h"

namespace qob::testing {

// 64 bytes: a text of 16 that minds no case, an integer of 4, a text of 12, the rest free.
inline constexpr std::size_t kSmallRecord = 64;

inline store::FileDescription SmallDescription() {
  using namespace store;
  FileDescription description;
  description.record_bytes = kSmallRecord;
  description.index_count = 3;
  description.keys = {
      {1, 16, kKeyDuplicates | kKeyModifiable | kKeyExtendedType | kKeyAnyCase, kTypeText, 0},
      {17, 4, kKeyDuplicates | kKeyModifiable | kKeyExtendedType, kTypeInteger, 0},
      {21, 12, kKeyDuplicates | kKeyModifiable | kKeyExtendedType, kTypeText, 0},
      {33, 32, kKeyExtendedType, kTypeText, 0}};
  return description;
}

struct SmallRecord {
  std::byte bytes[kSmallRecord] = {};

  SmallRecord() = default;
  SmallRecord(std::string_view text, std::int32_t number, std::string_view word = {},
              std::string_view rest = {}) {
    std::memcpy(bytes, text.data(), std::min<std::size_t>(text.size(), 16));
    for (int i = 0; i < 4; ++i) {
      bytes[16 + i] = static_cast<std::byte>(static_cast<std::uint32_t>(number) >> (8 * i));
    }
    if (!word.empty()) std::memcpy(bytes + 20, word.data(), std::min<std::size_t>(word.size(), 12));
    if (!rest.empty()) std::memcpy(bytes + 32, rest.data(), std::min<std::size_t>(rest.size(), 32));
  }
  std::string text() const { return Field(0, 16); }
  std::string rest() const { return Field(32, 32); }
  std::int32_t number() const {
    std::uint32_t value = 0;
    for (int i = 4; i-- > 0;) value = value << 8 | std::to_integer<std::uint32_t>(bytes[16 + i]);
    return static_cast<std::int32_t>(value);
  }
  bool operator==(const SmallRecord& other) const {
    return std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
  }

 private:
  std::string Field(std::size_t from, std::size_t size) const {
    const char* field = reinterpret_cast<const char*>(bytes + from);
    return {field, strnlen(field, size)};
  }
};

using FilePointer = std::shared_ptr<store::RecordFile>;

class StoreFile : public ::testing::Test {
 protected:
  std::string Path(const char* name = "records.btr") const { return spool_.queue() + "/" + name; }
  FilePointer MakeAndOpen(const store::FileDescription& description = SmallDescription()) const {
    EXPECT_EQ(store::RecordFile::Create(Path(), description, {}), store::kOk);
    return OpenIt();
  }
  FilePointer OpenIt(store::OpenOptions options = {}) const {
    FilePointer file;
    EXPECT_EQ(store::RecordFile::Open(Path(), options, &file), store::kOk);
    return file;
  }
  static std::string Key(const store::RecordFile& file, int index, std::string_view value) {
    return store::IndexKey(file.description().keys[static_cast<std::size_t>(index)],
                           std::as_bytes(std::span(value)));
  }
  static std::string Key(const store::RecordFile& file, int index, std::int32_t value) {
    const SmallRecord record("", value);
    return store::IndexKeyOf(file.description().keys[static_cast<std::size_t>(index)],
                             record.bytes);
  }

  TempSpool spool_;
};

}  // namespace qob::testing
