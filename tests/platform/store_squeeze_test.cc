// The bytes of squeezed records, written down by hand, and what is refused.
#include "platform/store/squeeze.h"

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/store/crc32c.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

using store::Crc32c;
using store::Crc32cByTable;
using store::Squeeze;
using store::Unsqueeze;

std::span<const std::byte> Bytes(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

std::string Squeezed(std::string_view record, std::int64_t number = 1) {
  std::string squeezed = "whatever stood there";
  Squeeze(Bytes(record), number, &squeezed);
  return squeezed;
}

// False, or true and the same record again.
bool ComesBack(std::string_view squeezed, std::int64_t number, std::string_view record) {
  std::vector<char> exact(squeezed.begin(), squeezed.end());
  std::string out(record.size(), '?');
  return Unsqueeze(std::as_bytes(std::span(exact)), number,
                   std::as_writable_bytes(std::span(out))) &&
         out == record;
}

// As the format says, by the plainest means.
std::string Checksummed(std::string pieces, std::int64_t number) {
  std::string all = pieces;
  for (int i = 0; i < 8; ++i) all += static_cast<char>(number >> (8 * i));
  const std::uint32_t crc = Crc32cByTable(0, Bytes(all));
  std::string head;
  for (int i = 0; i < 4; ++i) head += static_cast<char>(crc >> (8 * i));
  return head + pieces;
}

TEST(Crc32cSum, GivesThePublishedValues) {
  EXPECT_EQ(Crc32c(0, Bytes("123456789")), 0xE3069283U);
  EXPECT_EQ(Crc32cByTable(0, Bytes("123456789")), 0xE3069283U);
  EXPECT_EQ(Crc32c(0, Bytes(std::string(32, '\0'))), 0x8A9136AAU);
  EXPECT_EQ(Crc32c(0, Bytes(std::string(32, '\xFF'))), 0x62A8AB43U);
  EXPECT_EQ(Crc32c(Crc32c(0, Bytes("1234")), Bytes("56789")), 0xE3069283U);
}

TEST(Crc32cSum, IsTheSameByInstructionAndByTable) {
  std::mt19937 random(7);
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(Crc32c(5, Bytes(bytes)), Crc32cByTable(5, Bytes(bytes)));
    bytes += static_cast<char>(random());
  }
}

TEST(SqueezedRecord, LooksAsDescribed) {
  EXPECT_EQ(Squeezed(std::string(100, '\0')), Checksummed("", 1));
  EXPECT_EQ(Squeezed("ab" + std::string(100, '\0')), Checksummed("\x02"
                                                                 "ab",
                                                                 1));
  EXPECT_EQ(Squeezed("ab" + std::string(200, '\0') + "c"), Checksummed(std::string("\x02"
                                                                                   "ab\xC8\x01\x01"
                                                                                   "c"),
                                                                       1));
  EXPECT_EQ(Squeezed(std::string(10, '\0') + "c", 258), Checksummed(std::string("\x00\x0A\x01"
                                                                                "c",
                                                                                4),
                                                                    258));
  EXPECT_EQ(Squeezed(std::string("a\0b", 3)), Checksummed(std::string("\x03"
                                                                      "a\0b",
                                                                      4),
                                                          1));
}

TEST(SqueezedRecord, ComesBackWhateverItHolds) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    std::string record(1 + random() % 400, '\0');
    const std::size_t zeros_of_ten = random() % 11;
    for (char& c : record) {
      if (random() % 10 >= zeros_of_ten) c = static_cast<char>(random());
    }
    const std::string squeezed = Squeezed(record, round);
    EXPECT_LE(squeezed.size(), record.size() + 7);
    ASSERT_TRUE(ComesBack(squeezed, round, record)) << round;
  }
}

TEST(SqueezedRecord, ComesBackAtEveryLengthOfRun) {
  for (std::size_t bytes = 0; bytes < 300; bytes += 7) {
    for (std::size_t zeros = 0; zeros < 300; ++zeros) {
      const std::string record = std::string(bytes, 'x') + std::string(zeros, '\0') + "yz";
      ASSERT_TRUE(ComesBack(Squeezed(record), 1, record)) << bytes << " " << zeros;
    }
  }
}

TEST(SqueezedRecord, TakesTheLongestRecord) {
  std::string record(65535, 'x');
  ASSERT_TRUE(ComesBack(Squeezed(record), 1, record));
  for (std::size_t i = 0; i < record.size(); i += 5) record.replace(i, 4, 4, '\0');
  ASSERT_TRUE(ComesBack(Squeezed(record), 1, record));
}

TEST(SqueezedRecord, IsRefusedWhenCutAnywhere) {
  const std::string record =
      "sender" + std::string(90, '\0') + "more" + std::string(20, '\0') + "end";
  const std::string squeezed = Squeezed(record);
  for (std::size_t size = 0; size < squeezed.size(); ++size) {
    EXPECT_FALSE(ComesBack(squeezed.substr(0, size), 1, record)) << size;
  }
}

TEST(SqueezedRecord, IsRefusedWithAnyBitTurned) {
  const std::string record = "sender" + std::string(90, '\0') + "more";
  const std::string squeezed = Squeezed(record);
  for (std::size_t bit = 0; bit < squeezed.size() * 8; ++bit) {
    std::string turned = squeezed;
    turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ (1 << (bit % 8)));
    EXPECT_FALSE(ComesBack(turned, 1, record)) << bit;
  }
}

TEST(SqueezedRecord, IsRefusedUnderAnotherNumber) {
  const std::string record = "sender";
  EXPECT_TRUE(ComesBack(Squeezed(record, 7), 7, record));
  EXPECT_FALSE(ComesBack(Squeezed(record, 7), 8, record));
}

TEST(SqueezedRecord, IsRefusedWhenItsCountsReachBeyond) {
  const struct {
    const char* name;
    std::string pieces;
  } rows[] = {
      {"more bytes than follow",
       "\x05"
       "ab"},
      {"more bytes than the record has", std::string("\x09"
                                                     "abcdefghi")},
      {"more zeros than the record has", std::string("\x01"
                                                     "a\x08")},
      {"a count without end", "\x80"},
      {"a count of too many bytes", std::string("\x80\x80\x80\x80\x00", 5)},
      {"a second piece beyond the end", std::string("\x01"
                                                    "a\x07\x01"
                                                    "b")},
      {"a huge count", "\xFF\xFF\xFF\x7F"},
  };
  for (const auto& row : rows) {
    std::vector<std::byte> out(8);
    EXPECT_FALSE(Unsqueeze(Bytes(Checksummed(row.pieces, 1)), 1, out)) << row.name;
  }
}

}  // namespace
}  // namespace qob::testing
