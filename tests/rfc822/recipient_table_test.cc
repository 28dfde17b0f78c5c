// The table: how it grows, what is left untouched, and how it is released whatever stands in it.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "rfc822/address_support.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

char* Own(const char* text) {
  char* copy = static_cast<char*>(std::malloc(std::strlen(text) + 1));
  std::strcpy(copy, text);
  return copy;
}

TEST(RecipientTable, TwoAddressesThenOneMore) {
  Table table;
  EXPECT_EQ(table.Parse("a@b, c@d"), 2);
  EXPECT_EQ(table.Parse("e@f"), 3);
  EXPECT_EQ(table.get()->count, 3U);
  EXPECT_STREQ(table.get()->tail->address, "e@f");
  EXPECT_EQ(table.get()->tail->next, nullptr);
}

TEST(RecipientTable, EmptyOrBlankListAddsNothingAndGivesZero) {
  Table table;
  table.Parse("a@b");
  for (const char* blank : {"", " ", "\t\r\n\v\f "}) EXPECT_EQ(table.Parse(blank), 0) << blank;
  EXPECT_EQ(table.get()->count, 1U);
}

TEST(RecipientTable, ListWithoutAGoodAddressGivesTheCountItHad) {
  Table table;
  EXPECT_EQ(table.Parse("<>"), 0);
  table.Parse("a@b");
  EXPECT_EQ(table.Parse("<>, x y"), 1);
  EXPECT_EQ(table.Parse(","), 1);
}

TEST(RecipientTable, ResetZeroesWithoutReleasing) {
  RecipTbl table{};
  char one[] = "a@b";
  ASSERT_EQ(RecipParse(one, &table, 0), 1);
  RecipTbl kept = table;
  char two[] = "c@d, e@f";
  EXPECT_EQ(RecipParse(two, &table, 1), 2);
  EXPECT_STREQ(kept.head->address, "a@b");  // still there, still the caller's
  EXPECT_STREQ(table.head->address, "c@d");
  Clear_RT(&kept);
  Clear_RT(&table);
}

TEST(RecipientTable, ResetHappensAlsoWhenNothingIsParsed) {
  RecipTbl table{};
  char list[] = "a@b";
  RecipParse(list, &table, 0);
  RecipTbl kept = table;
  EXPECT_EQ(RecipParse(nullptr, &table, 1), 0);
  EXPECT_EQ(table.head, nullptr);
  EXPECT_EQ(table.tail, nullptr);
  EXPECT_EQ(table.count, 0U);
  table = kept;
  char odd[] = "\"";
  EXPECT_EQ(ST_RecipParse(odd, &table, 7), 0);
  EXPECT_EQ(table.count, 0U);
  Clear_RT(&kept);
}

TEST(RecipientTable, NullTableGivesZeroAndLeavesTheTextAlone) {
  char list[] = "\\\"\\\"";
  EXPECT_EQ(RecipParse(list, nullptr, 1), 0);
  EXPECT_STREQ(list, "\\\"\\\"");
}

TEST(RecipientTable, AllThreeNamesDoTheSame) {
  for (auto* parse : {&RecipParse, &QOB_RecipParse, &ST_RecipParse}) {
    RecipTbl table{};
    char list[] = "a@b, J <c@d>";
    EXPECT_EQ(parse(list, &table, 1), 2);
    EXPECT_STREQ(table.tail->phrase, "J");
    Clear_RT(&table);
  }
}

TEST(ClearTable, EmptiesAndReturnsTheSameTable) {
  Table table;
  table.Parse("a@b, c@d");
  EXPECT_EQ(Clear_RT(table.get()), table.get());
  EXPECT_EQ(table.get()->head, nullptr);
  EXPECT_EQ(table.get()->tail, nullptr);
  EXPECT_EQ(table.get()->count, 0U);
  EXPECT_EQ(Clear_RT(table.get()), table.get());
  EXPECT_EQ(Clear_RT(nullptr), nullptr);
}

TEST(ClearTable, ReleasesNodesBuiltByHandAndReplacedStrings) {
  RecipTbl table{};
  char list[] = "a@b";
  RecipParse(list, &table, 1);
  std::free(table.head->address);
  table.head->address = Own("other@place");
  std::free(table.head->domain);
  table.head->domain = nullptr;
  auto* node = static_cast<RecipNode*>(std::calloc(1, sizeof(RecipNode)));
  node->address = Own("by@hand");
  table.tail->next = node;
  table.tail = node;
  ++table.count;
  Clear_RT(&table);  // the leak checker has the last word
  EXPECT_EQ(table.head, nullptr);
}

// A node with nothing in it, at that place.
RecipNode* EmptyNode() { return static_cast<RecipNode*>(std::calloc(1, sizeof(RecipNode))); }

TEST(ClearTable, StopsAtAPointerThatIsNoMemory) {
  void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  std::vector<std::uintptr_t> bad = {8, 4095, std::uintptr_t{0x1234} << 48, 0xDEADBEEF00000001,
                                     reinterpret_cast<std::uintptr_t>(page)};
  for (const std::uintptr_t place : bad) {
    SCOPED_TRACE(place);
    RecipTbl table{};
    table.head = reinterpret_cast<RecipNode*>(place);  // NOLINT: that is the point
    table.count = 1;
    EXPECT_EQ(Clear_RT(&table), &table);
    EXPECT_EQ(table.head, nullptr);
    table.head = EmptyNode();
    table.head->next = reinterpret_cast<RecipNode*>(place);  // NOLINT
    table.count = 2;
    Clear_RT(&table);
    EXPECT_EQ(table.head, nullptr);
  }
  munmap(page, 4096);
}

TEST(ClearTable, StopsAtAMisalignedNode) {
  RecipTbl table{};
  table.head = EmptyNode();
  char* odd = reinterpret_cast<char*>(table.head) + 1;
  table.head->next = reinterpret_cast<RecipNode*>(odd);  // NOLINT
  Clear_RT(&table);
  EXPECT_EQ(table.head, nullptr);
}

// ---- memory that runs out

TEST(RecipientTableFaults, KeepsWholeNodesOnly) {
  const std::vector<Entry> whole = ParseList("a@b, J Doe <c@d> (x), G: e@f, g@h;");
  std::vector<Entry> found;
  FailEachAllocation(
      [&] {
        RecipTbl table{};
        char list[] = "a@b, J Doe <c@d> (x), G: e@f, g@h;";
        const int count = RecipParse(list, &table, 1);
        SuspendFailing(true);
        found = Entries(table);
        EXPECT_EQ(found.size(), table.count);
        EXPECT_TRUE(count == 0 || count == static_cast<int>(found.size()));
        Clear_RT(&table);
        SuspendFailing(false);
      },
      [&](bool triggered) {
        if (!triggered) {
          EXPECT_EQ(found, whole);
        }
        for (const Entry& e : found) {
          EXPECT_NE(std::find(whole.begin(), whole.end(), e), whole.end());
        }
      });
}

TEST(RecipientTableFaults, NoMemoryForANodeEndsTheCallWithZero) {
  RecipTbl table{};
  char list[] = "a@b, c@d, e@f";
  int count = -1;
  {
    FailAllocations fail(8, Failing::kOnce);  // seven blocks make a node
    count = RecipParse(list, &table, 1);
  }
  EXPECT_EQ(count, 0);
  EXPECT_EQ(table.count, 1U);
  EXPECT_EQ(Entries(table)[0].address, "a@b");
  Clear_RT(&table);
}

TEST(RecipientTableFaults, NoMemoryForAStringCostsThatAddress) {
  for (std::uint64_t nth = 9; nth <= 14; ++nth) {
    RecipTbl table{};
    char list[] = "a@b, c@d, e@f";
    int count = -1;
    {
      FailAllocations fail(nth, Failing::kOnce);
      count = RecipParse(list, &table, 1);
    }
    EXPECT_EQ(count, 2) << nth;
    EXPECT_STREQ(table.tail->address, "e@f");
    Clear_RT(&table);
  }
}

TEST(RecipientTable, NothingButTheNodesIsAllocated) {
  RecipTbl table{};
  char list[] = "John Smith <john.smith@x.example>, a@b (c), \"d, e\" <f@g.h.i>, [1.2.3.4]";
  const std::uint64_t before = AllocationCount();
  RecipParse(list, &table, 1);
  EXPECT_EQ(AllocationCount() - before, 4U * 7U);
  Clear_RT(&table);
}

}  // namespace
}  // namespace qob::testing
