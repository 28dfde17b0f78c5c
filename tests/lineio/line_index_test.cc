// The marks of a stretch against a search byte by byte.
#include "lineio/line_index.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/exact_copy.h"

namespace qob {
namespace {

const std::uint8_t* BytesOf(std::string_view text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

TEST(LineIndex, KnowsNothingBeforeItIsBuilt) {
  LineIndex index{};
  const std::string text(100, '\n');
  EXPECT_EQ(index.Take(BytesOf(text)), 0U);
}

TEST(LineIndex, AgreesWithASearchForAnyBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string text(random() % 1500, 'x');
    const std::size_t every = 1 + random() % 90;
    for (char& c : text) c = random() % every == 0 ? '\n' : static_cast<char>(random());
    const testing::ExactCopy copy(text);
    LineIndex index{};
    index.MoveTo(BytesOf(copy.view()), copy.size());
    const std::size_t marked = std::min<std::size_t>(text.size(), LineIndex::kStretch) / 64 * 64;
    std::size_t at = 0;
    for (std::size_t end = text.find('\n'); end < marked; end = text.find('\n', at)) {
      ASSERT_EQ(index.Take(BytesOf(copy.view()) + at), end + 1 - at);
      at = end + 1;
    }
    ASSERT_EQ(index.Take(BytesOf(copy.view()) + at), 0U);
  }
}

TEST(LineIndex, AnswersOnlyWhereItStands) {
  const std::string text = std::string(20, 'a') + "\n" + std::string(60, 'b') + "\n";
  LineIndex index{};
  index.MoveTo(BytesOf(text), text.size());
  EXPECT_EQ(index.Take(BytesOf(text) + 1), 0U);
  EXPECT_EQ(index.Take(BytesOf(text)), 21U);
  index.MoveTo(BytesOf(text) + 5, text.size() - 5);
  EXPECT_EQ(index.Take(BytesOf(text)), 0U);
  EXPECT_EQ(index.Take(BytesOf(text) + 5), 16U);
  EXPECT_EQ(index.Take(BytesOf(text) + 21), 0U);  // in the last, unfinished step
  index.MoveTo(BytesOf(text) + 20, text.size() - 20);
  EXPECT_EQ(index.Take(BytesOf(text) + 20), 1U);
  index.Forget();
  EXPECT_EQ(index.Take(BytesOf(text)), 0U);
}

}  // namespace
}  // namespace qob
