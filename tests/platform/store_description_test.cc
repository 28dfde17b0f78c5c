// Descriptions as bytes, and keys that compare as their values do.
#include "platform/store/description.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qob::testing {
namespace {

using namespace store;

constexpr std::uint16_t kText = kKeyDuplicates | kKeyModifiable | kKeyExtendedType;

std::span<const std::byte> Bytes(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

FileDescription Sample() {
  FileDescription description;
  description.record_bytes = 0x0234;
  description.page_bytes = 4096;
  description.index_count = 1;
  description.flags = 14;
  description.preallocated_pages = 3;
  description.keys = {{1, 16, kText | kKeyAnyCase, kTypeText, 0},
                      {0x0120, 4, kText, kTypeInteger, 9}};
  return description;
}

TEST(StoreDescription, IsWrittenAtItsOffsets) {
  const std::string expected(
      "\x34\x02\x00\x10\x01\x00\x00\x00\x00\x00\x0E\x00\x00\x00\x03\x00"
      "\x01\x00\x10\x00\x03\x05\x00\x00\x00\x00\x0B\x00\x00\x00\x00\x00"
      "\x20\x01\x04\x00\x03\x01\x00\x00\x00\x00\x01\x09\x00\x00\x00\x00",
      48);
  EXPECT_EQ(WriteDescription(Sample()), expected);
}

TEST(StoreDescription, IsReadAsItWasWritten) {
  FileDescription read;
  ASSERT_EQ(ReadDescription(Bytes(WriteDescription(Sample())), &read), kOk);
  EXPECT_EQ(WriteDescription(read), WriteDescription(Sample()));
  ASSERT_EQ(read.keys.size(), 2U);
  EXPECT_EQ(read.keys[1].position, 0x0120);
  EXPECT_EQ(read.keys[1].null_value, 9);
  EXPECT_EQ(read.preallocated_pages, 3);
}

TEST(StoreDescription, IsRefusedCutAnywhere) {
  const std::string bytes = WriteDescription(Sample());
  FileDescription read;
  for (std::size_t size = 0; size < 32; ++size) {
    EXPECT_EQ(ReadDescription(Bytes(std::string_view(bytes).substr(0, size)), &read), kNotAllowed)
        << size;
  }
  // From here on the one index is described.
  EXPECT_EQ(ReadDescription(Bytes(std::string_view(bytes).substr(0, 32)), &read), kOk);
}

TEST(StoreDescription, IsRefusedWhenItCannotBe) {
  const struct {
    const char* name;
    void (*change)(FileDescription*);
    Status expected;
  } rows[] = {
      {"no record", [](FileDescription* d) { d->record_bytes = 0; }, kNotAllowed},
      {"more indexes than keys", [](FileDescription* d) { d->index_count = 3; }, kNotAllowed},
      {"no position", [](FileDescription* d) { d->keys[0].position = 0; }, kNotAllowed},
      {"no length", [](FileDescription* d) { d->keys[0].length = 0; }, kNotAllowed},
      {"behind the record", [](FileDescription* d) { d->keys[0].position = 0x0235; }, kNotAllowed},
      {"reaching out of it", [](FileDescription* d) { d->keys[0].position = 0x0226; }, kNotAllowed},
      {"a type not kept", [](FileDescription* d) { d->keys[0].type = 14; }, kBadKeyType},
      {"no extended type", [](FileDescription* d) { d->keys[0].flags = 3; }, kBadKeyType},
      {"segments", [](FileDescription* d) { d->keys[0].flags |= 0x10; }, kBadKeyType},
      {"descending", [](FileDescription* d) { d->keys[0].flags |= 0x40; }, kBadKeyType},
      {"an integer of three bytes",
       [](FileDescription* d) { d->keys[0].type = kTypeInteger, d->keys[0].length = 3; },
       kBadKeyType},
      {"its last byte", [](FileDescription* d) { d->keys[0].position = 0x0225; }, kOk},
      {"a bad key that forms no index", [](FileDescription* d) { d->keys[1].type = 99; }, kOk},
      {"no index at all", [](FileDescription* d) { d->index_count = 0; }, kOk},
  };
  for (const auto& row : rows) {
    FileDescription description = Sample();
    row.change(&description);
    FileDescription read;
    EXPECT_EQ(ReadDescription(Bytes(WriteDescription(description)), &read), row.expected)
        << row.name;
  }
}

template <class Integer>
std::string KeyOfInteger(Integer value) {
  const KeyDescription key{1, sizeof(Integer), kText, kTypeInteger, 0};
  std::string little;
  for (std::size_t i = 0; i < sizeof(Integer); ++i) {
    little += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
  }
  return IndexKey(key, Bytes(little));
}

template <class Integer>
void ExpectOrder(const std::vector<Integer>& ascending) {
  for (std::size_t i = 1; i < ascending.size(); ++i) {
    EXPECT_LT(KeyOfInteger(ascending[i - 1]), KeyOfInteger(ascending[i])) << i;
  }
}

TEST(StoreIndexKey, OrdersIntegersOfEveryLength) {
  ExpectOrder<std::int8_t>({-128, -1, 0, 1, 127});
  ExpectOrder<std::int16_t>({-32768, -256, -1, 0, 1, 255, 256, 32767});
  ExpectOrder<std::int32_t>({INT32_MIN, -65536, -256, -1, 0, 1, 255, 256, INT32_MAX});
  ExpectOrder<std::int64_t>({INT64_MIN, -1, 0, 1, 1LL << 40, INT64_MAX});
  EXPECT_EQ(KeyOfInteger<std::int8_t>(-5), KeyOfInteger<std::int64_t>(-5));
  EXPECT_EQ(KeyOfInteger<std::int32_t>(1), std::string("\x80\0\0\0\0\0\0\x01", 8));
}

TEST(StoreIndexKey, CutsTextAtItsNul) {
  const KeyDescription key{1, 16, kText, kTypeText, 0};
  EXPECT_EQ(IndexKey(key, Bytes(std::string_view("ab\0cd", 5))), "ab");
  EXPECT_EQ(IndexKey(key, Bytes("")), "");
  EXPECT_EQ(IndexKey(key, {}), "");
}

TEST(StoreIndexKey, FoldsOnlyWhereTheIndexMindsNoCase) {
  KeyDescription key{1, 16, kText, kTypeText, 0};
  EXPECT_EQ(IndexKey(key, Bytes("Queue\xC4")), "Queue\xC4");
  key.flags |= kKeyAnyCase;
  EXPECT_EQ(IndexKey(key, Bytes("QueUE\xC4")), "queue\xC4");
}

TEST(StoreIndexKey, ComesFromTheFieldOfTheRecord) {
  const std::string record = "0123456789";
  EXPECT_EQ(IndexKeyOf({3, 4, kText, kTypeText, 0}, Bytes(record)), "2345");
  EXPECT_EQ(IndexKeyOf({9, 4, kText, kTypeText, 0}, Bytes(record)), "89");
  EXPECT_EQ(IndexKeyOf({11, 4, kText, kTypeText, 0}, Bytes(record)), "");
  EXPECT_EQ(IndexKeyOf({0, 4, kText, kTypeText, 0}, Bytes(record)), "");
}

}  // namespace
}  // namespace qob::testing
