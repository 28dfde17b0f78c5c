// What of a caller's record gets on disk, and how it comes back.
#include "db/rows.h"

#include <gtest/gtest.h>

#include "db/db_fixture.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

using namespace db;

// A record out of a block of 377 bytes, all 'z' before.
class OutBlock {
 public:
  OutBlock() : block_(std::string(377, 'z')) {}
  MagicRecord* get() { return reinterpret_cast<MagicRecord*>(block_.data()); }
  std::string bytes() const { return std::string(block_.view()); }

 private:
  ExactCopy block_;
};

MagicRow Row(std::string_view fields) {
  MagicRow row{};
  std::memcpy(reinterpret_cast<char*>(&row) + 4, fields.data(), fields.size());
  return row;
}

std::string Stored(const MagicRow& row) {
  return {reinterpret_cast<const char*>(&row), sizeof row};
}

std::string Full() {
  return std::string(10, 'a') + std::string(50, 'b') + std::string(128, 'c') +
         std::string(50, 'd') + std::string(128, 'e') + std::string(10, 'f');
}

TEST(MagicRow, TakesEachTextUpToItsNul) {
  MagicRecord record{};
  std::memset(&record, 'z', sizeof record);
  std::strcpy(record.extension, "gif");
  std::strcpy(record.contentType, "image");
  std::strcpy(record.contentSubtype, "gif");
  std::strcpy(record.textA, "base64");
  std::strcpy(record.textB, "");
  std::strcpy(record.macTypeCreator, "GIFfogle");
  MagicRow row{};
  row.key = 7;
  StoreMagic(record, &row);
  std::string wanted(380, '\0');
  wanted[0] = 7;
  wanted.replace(4, 3, "gif");
  wanted.replace(14, 5, "image");
  wanted.replace(64, 3, "gif");
  wanted.replace(192, 6, "base64");
  wanted.replace(370, 8, "GIFfogle");
  EXPECT_EQ(Stored(row), wanted);
}

TEST(MagicRow, KeepsTextsThatFillTheirPlaces) {
  MagicRecord record{};
  std::memcpy(&record, Full().data(), sizeof record);
  MagicRow row{};
  StoreMagic(record, &row);
  EXPECT_EQ(Stored(row), std::string(4, '\0') + Full());
}

TEST(MagicRow, WritesTextsWithTheirNulsAndNothingElse) {
  std::string fields(376, '\0');
  fields.replace(0, 3, "gif");
  fields.replace(10, 5, "image");
  fields.replace(366, 8, "GIFfogle");
  OutBlock out;
  TakeMagic(Row(fields), out.get());
  std::string wanted(377, 'z');
  wanted.replace(0, 4, std::string("gif\0", 4));
  wanted.replace(10, 6, std::string("image\0", 6));
  wanted[60] = wanted[188] = wanted[238] = '\0';
  wanted.replace(366, 9, std::string("GIFfogle\0", 9));
  EXPECT_EQ(out.bytes(), wanted);
}

// Each NUL falls on the next field's first byte and is written over by it; the last one needs the
// 377th byte.
TEST(MagicRow, LetsEachFullTextRunIntoTheNext) {
  OutBlock out;
  TakeMagic(Row(Full()), out.get());
  EXPECT_EQ(out.bytes(), Full() + std::string(1, '\0'));
}

TEST(MagicRow, EndsAFullTextWhereTheNextIsEmpty) {
  std::string fields(376, '\0');
  fields.replace(0, 10, "abcdefghij");
  fields.replace(238, 128, std::string(128, 'e'));
  OutBlock out;
  TakeMagic(Row(fields), out.get());
  EXPECT_STREQ(out.get()->extension, "abcdefghij");
  EXPECT_EQ(std::string(out.get()->textB), std::string(128, 'e'));
  EXPECT_EQ(out.bytes()[376], 'z');
}

TEST(PeerRow, HasTheTwelveNumbersInOrderBeforeTheDomain) {
  const PeerRecord record = Peer("example.org", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -12});
  PeerRow row{};
  row.unused = 99;
  SetKey(row.domain, "example.org");
  StorePeerValues(record, &row);
  const std::string stored(reinterpret_cast<const char*>(&row), sizeof row);
  EXPECT_EQ(NumberAt(stored, 0), 99);
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(NumberAt(stored, 4 + static_cast<std::size_t>(i) * 4), i + 1);
  }
  EXPECT_EQ(NumberAt(stored, 48), -12);
  EXPECT_EQ(TextAt(stored, 52, 128), "example.org");
}

TEST(PeerRow, LeavesTheCallersReservedBytes) {
  PeerRow row{};
  SetKey(row.domain, "example.org");
  row.values[11] = 6;
  PeerRecord out{};
  std::memset(&out, 'z', sizeof out);
  TakePeer(row, &out);
  EXPECT_STREQ(out.domain, "example.org");
  EXPECT_EQ(out.reserved, 0x7a7a7a7a);
  EXPECT_EQ(out.flag0, 0);
  EXPECT_EQ(out.MaxMesgPerSession, 6);
}

TEST(SetKey, ClearsThePlaceAndLeavesRoomForTheNul) {
  char field[8] = {'z', 'z', 'z', 'z', 'z', 'z', 'z', 'z'};
  SetKey(field, "abc");
  EXPECT_EQ(std::string(field, 8), std::string("abc\0\0\0\0\0", 8));
  SetKey(field, "abcdefgh");
  EXPECT_STREQ(field, "abcdefg");
  SetKey(field, "");
  EXPECT_EQ(std::string(field, 8), std::string(8, '\0'));
}

}  // namespace
}  // namespace qob::testing
