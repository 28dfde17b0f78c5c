// String chains: the exported calls and the builder behind the library's own lists.
#include "util/string_chain.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/heap.h"
#include "support/exact_copy.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

std::vector<std::string> TextsOf(const ms* chain) {
  std::vector<std::string> texts;
  for (; chain != nullptr; chain = chain->next)
    texts.push_back(chain->text == nullptr ? "(none)" : chain->text);
  return texts;
}

using Expected = std::vector<std::string>;

TEST(StringChain, AppendsCopiesInOrder) {
  ms* chain = nullptr;
  std::string text = "first";
  EXPECT_EQ(appendString(&chain, text.c_str()), 1);
  text = "other";
  EXPECT_EQ(appendString(&chain, ""), 1);
  EXPECT_EQ(appendString(&chain, "third"), 1);
  EXPECT_EQ(TextsOf(chain), (Expected{"first", "", "third"}));
  freeStringChain(chain);
  freeStringChain(nullptr);
}

TEST(StringChain, RefusesPointersThatCannotBeUsed) {
  ms* chain = nullptr;
  EXPECT_EQ(appendString(nullptr, "a"), 0);
  EXPECT_EQ(appendString(&chain, nullptr), 0);
  EXPECT_EQ(appendString(reinterpret_cast<ms**>(16), "a"), 0);
  EXPECT_EQ(appendString(&chain, reinterpret_cast<const char*>(100)), 0);
  EXPECT_EQ(chain, nullptr);
  chain = reinterpret_cast<ms*>(8);
  EXPECT_EQ(appendString(&chain, "a"), 0);
  alignas(ms) char bytes[3 * sizeof(ms)] = {};
  chain = reinterpret_cast<ms*>(bytes + 1);
  EXPECT_EQ(appendString(&chain, "a"), 0);
  EXPECT_EQ(chain, reinterpret_cast<ms*>(bytes + 1));
}

// A page that may be read, before one that may not.
class TwoPages {
 public:
  TwoPages() : size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    void* pages =
        mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    start_ = static_cast<char*>(pages);
    mprotect(start_ + size_, size_, PROT_NONE);
  }
  ~TwoPages() { munmap(start_, 2 * size_); }
  char* end() { return start_ + size_; }

 private:
  std::size_t size_;
  char* start_;
};

TEST(StringChain, RefusesATextThatRunsIntoUnreadableMemory) {
  TwoPages pages;
  std::memset(pages.end() - 5, 'x', 5);
  ms* chain = nullptr;
  EXPECT_EQ(appendString(&chain, pages.end() - 5), 0);
  EXPECT_EQ(chain, nullptr);
  pages.end()[-1] = '\0';
  EXPECT_EQ(appendString(&chain, pages.end() - 5), 1);
  EXPECT_EQ(TextsOf(chain), Expected{"xxxx"});
  freeStringChain(chain);
}

TEST(StringChain, RefusesAChainThatLeadsIntoUnreadableMemory) {
  TwoPages pages;
  ms* last = reinterpret_cast<ms*>(pages.end()) - 1;
  *last = ms{};
  ms first{nullptr, last};
  ms* chain = &first;
  EXPECT_EQ(appendString(&chain, "a"), 1);
  EXPECT_STREQ(last->next->text, "a");
  freeStringChain(last->next);
  last->next = reinterpret_cast<ms*>(pages.end());
  EXPECT_EQ(appendString(&chain, "a"), 0);
  ms* straddling = reinterpret_cast<ms*>(pages.end() - sizeof(ms) / 2);
  last->next = straddling;
  EXPECT_EQ(appendString(&chain, "a"), 0);
  EXPECT_EQ(last->next, straddling);
}

TEST(StringChain, TakesTextsUpToTheirLimit) {
  ms* chain = nullptr;
  EXPECT_EQ(appendString(&chain, std::string(65535, 'x').c_str()), 0);
  EXPECT_EQ(chain, nullptr);
  EXPECT_EQ(appendString(&chain, std::string(65534, 'x').c_str()), 1);
  ASSERT_NE(chain, nullptr);
  EXPECT_EQ(std::strlen(chain->text), 65534U);
  freeStringChain(chain);
}

TEST(StringChain, AFailedCopyLeavesANodeWithoutText) {
  std::vector<Expected> seen;
  int result = 0;
  ms* chain = nullptr;
  FailEachAllocation([&] { result = appendString(&chain, "a"); },
                     [&](bool failed) {
                       EXPECT_EQ(result, failed ? 0 : 1);
                       seen.push_back(TextsOf(chain));
                       freeStringChain(chain);
                       chain = nullptr;
                     });
  const std::vector<Expected> expected = {{}, {"(none)"}, {"a"}, {}, {"(none)"}, {"a"}};
  EXPECT_EQ(seen, expected);
}

TEST(StringChain, WalksOverNodesWithoutText) {
  ms* chain = static_cast<ms*>(std::calloc(1, sizeof(ms)));
  EXPECT_EQ(appendString(&chain, "a"), 1);
  EXPECT_EQ(TextsOf(chain), (Expected{"(none)", "a"}));
  freeStringChain(chain);
}

TEST(ChainBuilder, BuildsAndHandsOut) {
  ChainBuilder builder;
  EXPECT_EQ(builder.head(), nullptr);
  builder.Append("a");
  builder.Append(ExactCopy("bc").view());
  EXPECT_EQ(TextsOf(builder.head()), (Expected{"a", "bc"}));
  ms* chain = builder.Release();
  EXPECT_EQ(builder.head(), nullptr);
  builder.Append("freed with the builder");
  EXPECT_EQ(TextsOf(chain), (Expected{"a", "bc"}));
  freeStringChain(chain);
}

TEST(ChainBuilder, AppendingManyIsLinear) {
  const auto work = [](int count) {
    ChainBuilder builder;
    const std::uint64_t before = AllocationCount();
    for (int i = 0; i < count; ++i) builder.Append("x");
    return AllocationCount() - before;
  };
  EXPECT_EQ(work(100000), 2 * work(50000));
}

TEST(ChainBuilder, WithoutMemoryTheChainIsAsBefore) {
  ChainBuilder builder;
  builder.Append("kept");
  FailEachAllocation(
      [&] {
        try {
          builder.Append("new");
        } catch (const std::bad_alloc&) {
        }
      },
      [&](bool failed) {
        EXPECT_EQ(TextsOf(builder.head()).size(), failed ? 1U : 2U);
        if (failed) return;
        freeStringChain(builder.Release());
        builder.Append("kept");
      });
}

}  // namespace
}  // namespace qob::testing
