// The AppleSingle header: entries in any place and order, lengths that lie.
#include "macfile/applesingle.h"

#include <gtest/gtest.h>

#include "macfile/plain_binhex.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

using applesingle::Entries;
using applesingle::Entry;

struct Descriptor {
  std::uint64_t id, offset, length;
};

std::string Head(const std::vector<Descriptor>& descriptors, std::size_t count) {
  std::string head =
      Big(0x00051600, 4) + Big(0x00020000, 4) + std::string(16, '\0') + Big(count, 2);
  for (const Descriptor& d : descriptors)
    head += Big(d.id, 4) + Big(d.offset, 4) + Big(d.length, 4);
  return head;
}
std::string Head(const std::vector<Descriptor>& descriptors) {
  return Head(descriptors, descriptors.size());
}

bool Parse(std::string_view head, Entries* entries) {
  return applesingle::ParseEntries(ExactCopy(head).view(), entries);
}

void ExpectEntry(const Entry& entry, std::uint32_t offset, std::uint32_t length) {
  EXPECT_TRUE(entry.present);
  EXPECT_EQ(entry.offset, offset);
  EXPECT_EQ(entry.length, length);
}

TEST(AppleSingle, HasItsHeaderIn74Bytes) {
  const std::string expected = Head({{1, 74, 10}, {2, 84, 20}, {3, 104, 5}, {9, 109, 32}});
  EXPECT_EQ(expected.size(), 74U);
  EXPECT_EQ(applesingle::MakeHeader(10, 20, 5), expected);
}

TEST(AppleSingle, HasItsFinderInfoIn32Bytes) {
  EXPECT_EQ(applesingle::MakeFinderInfo({0x54455854, 0x74747874, 0x2140}),
            std::string("TEXTttxt\x21\x40", 10) + std::string(22, '\0'));
}

TEST(AppleSingle, IsReadInAnyOrderAndIgnoresOtherEntries) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({{9, 300, 32},
                          {5, 1, 2},
                          {3, 400, 7},
                          {0, 9, 9},
                          {2, 500, 1},
                          {8, 3, 3},
                          {1, 600, 2},
                          {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}}),
                    &entries));
  ExpectEntry(entries.data_fork, 600, 2);
  ExpectEntry(entries.resource_fork, 500, 1);
  ExpectEntry(entries.real_name, 400, 7);
  ExpectEntry(entries.finder_info, 300, 32);
}

TEST(AppleSingle, NeedsNoEntryAtAll) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({}), &entries));
  EXPECT_FALSE(entries.data_fork.present || entries.resource_fork.present ||
               entries.real_name.present || entries.finder_info.present);
}

TEST(AppleSingle, TakesTheFirstOfTwoEntriesWithOneId) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({{1, 100, 1}, {1, 200, 2}}), &entries));
  ExpectEntry(entries.data_fork, 100, 1);
}

TEST(AppleSingle, IsRefusedWhenCutAtAnyByteOfItsDescriptors) {
  const std::string head = Head({{1, 74, 0}, {2, 74, 0}, {3, 74, 0}, {9, 74, 0}});
  for (std::size_t size = 0; size < head.size(); ++size) {
    Entries entries;
    EXPECT_FALSE(Parse(std::string_view(head).substr(0, size), &entries)) << size;
  }
}

TEST(AppleSingle, IsRefusedWithMoreEntriesThanItHas) {
  Entries entries;
  EXPECT_FALSE(Parse(Head({{1, 74, 0}}, 2), &entries));
  EXPECT_FALSE(Parse(Head({{1, 74, 0}}, 0xFFFF), &entries));
}

TEST(AppleSingle, IsRefusedWithAnotherMagic) {
  Entries entries;
  std::string head = Head({{1, 74, 0}});
  head[3] = 7;  // AppleDouble
  EXPECT_FALSE(Parse(head, &entries));
}

TEST(AppleSingle, IsExaminedNoFurtherThan8192Bytes) {
  std::vector<Descriptor> many(680, {4, 0, 0});  // 26 + 680 * 12 = 8186
  many.push_back({1, 9000, 1});
  Entries entries;
  std::string head = Head(many) + std::string(100, '\0');
  ASSERT_TRUE(Parse(head, &entries));
  EXPECT_FALSE(entries.data_fork.present);
  many[679] = {1, 9000, 1};
  ASSERT_TRUE(Parse(Head(many) + std::string(100, '\0'), &entries));
  ExpectEntry(entries.data_fork, 9000, 1);
}

TEST(AppleSingle, LetsEntriesOverlapButNotLeaveTheFile) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({{1, 10, 90}, {2, 0, 100}, {3, 99, 1}, {9, 100, 0}}), &entries));
  EXPECT_TRUE(applesingle::LieInside(entries, 100));
  EXPECT_FALSE(applesingle::LieInside(entries, 99));
}

TEST(AppleSingle, LetsAnEmptyEntryPointAnywhere) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({{1, 0xFFFFFFFF, 0}}), &entries));
  EXPECT_TRUE(applesingle::LieInside(entries, 38));
}

TEST(AppleSingle, AddsOffsetAndLengthWithoutOverflow) {
  Entries entries;
  ASSERT_TRUE(Parse(Head({{1, 0xFFFFFFFF, 0xFFFFFFFF}}), &entries));
  EXPECT_FALSE(applesingle::LieInside(entries, 1000));
  ASSERT_TRUE(Parse(Head({{2, 0xFFFFFFF0, 0x20}}), &entries));
  EXPECT_FALSE(applesingle::LieInside(entries, 1000));
}

TEST(AppleSingle, FillsShortFinderInfoWithZeros) {
  const applesingle::FinderInfo info = applesingle::ParseFinderInfo(ExactCopy("TEXTtt").view());
  EXPECT_EQ(info.type, 0x54455854U);
  EXPECT_EQ(info.creator, 0x74740000U);
  EXPECT_EQ(info.flags, 0);
}

}  // namespace
}  // namespace qob::testing
