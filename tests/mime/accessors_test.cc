// The calls that read a pool and its records, and the layout of both.
#include <cstddef>
#include <string>
#include <vector>

#include "mime/part_pool.h"
#include "mime_support.h"

namespace qob::testing {
namespace {

static_assert(offsetof(MimeBodyPart, fileName) == 8 * sizeof(void*));
static_assert(offsetof(MimeBodyPart, contentStart) == 10 * sizeof(void*));
static_assert(offsetof(MimeBodyPart, trueName) == 10 * sizeof(void*) + 16);
static_assert(sizeof(MimeBodyPart) == 13 * sizeof(void*) + 16);

MimeMessagePool PoolOf(std::vector<MimeBodyPart*>* parts) {
  return {parts->data(), static_cast<std::int32_t>(parts->size())};
}

TEST(MimeAccessors, GiveNullForANullRecord) {
  EXPECT_EQ(MimeGetContentType(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentSubtype(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentTypeParams(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentDisposition(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentDispositionParams(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentID(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentDescription(nullptr), nullptr);
  EXPECT_EQ(MimeGetContentTransferEncoding(nullptr), nullptr);
  EXPECT_EQ(MimeGetTrueName(nullptr), nullptr);
  EXPECT_EQ(MimeGetNumberOfMessage(nullptr), -1);
  EXPECT_EQ(MimeGetMsg(nullptr, 0), nullptr);
  EXPECT_EQ(GetFromMsgPool(nullptr, 0), nullptr);
}

TEST(MimeAccessors, GiveTheRecordsOwnFields) {
  char texts[7][2] = {"a", "b", "c", "d", "e", "f", "g"};
  ms parameters{nullptr, nullptr};
  ms more{nullptr, nullptr};
  MimeBodyPart part{};
  part.contentId = texts[0];
  part.contentDescription = texts[1];
  part.contentType = texts[2];
  part.contentSubtype = texts[3];
  part.contentTransferEncoding = texts[4];
  part.contentDisposition = texts[5];
  part.trueName = texts[6];
  part.contentTypeParams = &parameters;
  part.contentDispositionParams = &more;
  EXPECT_EQ(MimeGetContentID(&part), texts[0]);
  EXPECT_EQ(MimeGetContentDescription(&part), texts[1]);
  EXPECT_EQ(MimeGetContentType(&part), texts[2]);
  EXPECT_EQ(MimeGetContentSubtype(&part), texts[3]);
  EXPECT_EQ(MimeGetContentTransferEncoding(&part), texts[4]);
  EXPECT_EQ(MimeGetContentDisposition(&part), texts[5]);
  EXPECT_EQ(MimeGetTrueName(&part), texts[6]);
  EXPECT_EQ(MimeGetContentTypeParams(&part), &parameters);
  EXPECT_EQ(MimeGetContentDispositionParams(&part), &more);
}

TEST(MimeAccessors, IndexOutsideThePoolGivesNull) {
  MimeBodyPart first{};
  MimeBodyPart second{};
  std::vector<MimeBodyPart*> parts = {&first, &second};
  const MimeMessagePool pool = PoolOf(&parts);
  const MimeMessagePool empty{};
  EXPECT_EQ(GetFromMsgPool(&pool, 1), &second);
  EXPECT_EQ(GetFromMsgPool(&pool, 2), nullptr);
  EXPECT_EQ(GetFromMsgPool(&pool, -1), nullptr);
  EXPECT_EQ(GetFromMsgPool(&empty, 0), nullptr);
  EXPECT_EQ(MimeGetMsg(&pool, 0), &first);
  EXPECT_EQ(MimeGetMsg(&pool, 2), nullptr);
  EXPECT_EQ(MimeGetMsg(&empty, 0), nullptr);
  EXPECT_EQ(MimeGetNumberOfMessage(&pool), 2);
  EXPECT_EQ(MimeGetNumberOfMessage(&empty), 0);
}

TEST(MimeCounts, TwoChildrenAreTwoLeavesUnderOneHeader) {
  MimeBodyPart leaves[2] = {};
  MimeBodyPart* children[] = {&leaves[0], &leaves[1]};
  MimeBodyPart part{};
  part.children = children;
  part.childCount = 2;
  std::int32_t counter = 1;
  MimeGetNumLeafBodyParts(&part, &counter);
  EXPECT_EQ(counter, 2);
  counter = 0;
  MimeGetNumMultipartHeaders(&part, &counter);
  EXPECT_EQ(counter, 1);
}

TEST(MimeCounts, AddToTheCallersCounter) {
  MimeBodyPart leaf{};
  std::int32_t counter = 41;
  MimeGetNumLeafBodyParts(&leaf, &counter);
  MimeGetNumMultipartHeaders(&leaf, &counter);
  EXPECT_EQ(counter, 41);
}

TEST(MimeCounts, NullArgumentsDoNothing) {
  std::int32_t counter = 7;
  MimeBodyPart leaf{};
  MimeGetNumLeafBodyParts(nullptr, &counter);
  MimeGetNumMultipartHeaders(nullptr, &counter);
  MimeGetNumLeafBodyParts(&leaf, nullptr);
  MimeGetNumMultipartHeaders(&leaf, nullptr);
  EXPECT_EQ(counter, 7);
}

TEST(MimeCounts, OnlyTheLowSixteenBitsOfTheChildCountCount) {
  MimeBodyPart leaves[2] = {};
  MimeBodyPart* children[] = {&leaves[0], &leaves[1]};
  MimeBodyPart part{};
  part.children = children;
  part.childCount = 0x70002;
  std::int32_t counter = 1;
  MimeGetNumLeafBodyParts(&part, &counter);
  EXPECT_EQ(counter, 2);
}

TEST(MimeCounts, NestedContainersAddUp) {
  MimeBodyPart leaves[5] = {};
  MimeBodyPart* low[] = {&leaves[0], &leaves[1], &leaves[2]};
  MimeBodyPart inner{};
  inner.children = low;
  inner.childCount = 3;
  MimeBodyPart* high[] = {&leaves[3], &inner, &leaves[4]};
  MimeBodyPart outer{};
  outer.children = high;
  outer.childCount = 3;
  std::int32_t counter = 1;
  MimeGetNumLeafBodyParts(&outer, &counter);
  EXPECT_EQ(counter, 5);
  counter = 0;
  MimeGetNumMultipartHeaders(&outer, &counter);
  EXPECT_EQ(counter, 2);
}

TEST(MimeCounts, TreeOfAMillionLevelsIsCountedWithoutRecursion) {
  constexpr std::size_t kDepth = 1000000;
  std::vector<MimeBodyPart> parts(kDepth);
  std::vector<MimeBodyPart*> links(kDepth);
  for (std::size_t i = 0; i + 1 < kDepth; ++i) {
    links[i] = &parts[i + 1];
    parts[i].children = &links[i];
    parts[i].childCount = 1;
  }
  std::int32_t counter = 1;
  MimeGetNumLeafBodyParts(&parts[0], &counter);
  EXPECT_EQ(counter, 1);
  counter = 0;
  MimeGetNumMultipartHeaders(&parts[0], &counter);
  EXPECT_EQ(counter, static_cast<std::int32_t>(kDepth - 1));
}

TEST(PartPool, AddChildLinksAndSetsRoles) {
  const PoolPtr pool = NewPool();
  MimeBodyPart* container = AddPart(pool.get(), "file", 0);
  for (int i = 0; i < 100; ++i) {
    MimeBodyPart* child = AddPart(pool.get(), "file", i);
    ASSERT_EQ(AddChild(container, child), 0);
    EXPECT_EQ(container->childCount, i + 1);
    EXPECT_EQ(container->children[i], child);
    EXPECT_EQ(child->role, 2);
    EXPECT_EQ(child->contentStart, i);
  }
  EXPECT_EQ(container->role, 1);
  EXPECT_EQ(pool->count, 101);
}

TEST(PartPool, AddChildRefusesNull) {
  MimeBodyPart part{};
  EXPECT_EQ(AddChild(nullptr, &part), -1);
  EXPECT_EQ(AddChild(&part, nullptr), -1);
  EXPECT_EQ(part.role, 0);
}

TEST(PartPool, TruncateReleasesFromAnIndexOn) {
  const PoolPtr pool = NewPool();
  std::vector<MimeBodyPart*> parts;
  for (int i = 0; i < 37; ++i) parts.push_back(AddPart(pool.get(), "file", i));
  for (const std::int32_t count : {37, 36, 20, 5, 1}) {
    TruncatePool(pool.get(), count);
    ASSERT_EQ(pool->count, count);
    for (std::int32_t i = 0; i < count; ++i)
      EXPECT_EQ(pool->parts[i], parts[static_cast<std::size_t>(i)]);
  }
  EXPECT_NE(AddPart(pool.get(), "file", 9), nullptr);
  EXPECT_EQ(pool->count, 2);
  TruncatePool(pool.get(), 0);
  EXPECT_EQ(pool->count, 0);
  EXPECT_EQ(pool->parts, nullptr);
  EXPECT_NE(AddPart(pool.get(), "file", 9), nullptr);
  TruncatePool(nullptr, 0);
}

}  // namespace
}  // namespace qob::testing
