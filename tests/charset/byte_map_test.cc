// Blanks and 8-bit bytes of a text, against looking at every byte.
#include "charset/byte_map.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/exact_copy.h"

namespace qob {
namespace {

std::size_t Find(std::string_view text, std::size_t from, bool (*wanted)(char)) {
  while (from < text.size() && !wanted(text[from])) ++from;
  return std::min(from, text.size());
}
bool IsBlank(char c) { return c == ' '; }
bool IsEightBit(char c) { return (c & 0x80) != 0; }

void ExpectWholeMap(std::string_view text) {
  const testing::ExactCopy copy(text);
  const ByteMap map(copy.view());
  for (std::size_t from = 0; from <= text.size() + 1; ++from) {
    ASSERT_EQ(map.NextBlank(from), Find(text, from, IsBlank)) << from;
    ASSERT_EQ(map.NextEightBit(from), Find(text, from, IsEightBit)) << from;
  }
  for (std::size_t before = 0; before <= text.size(); ++before) {
    for (const std::size_t floor : {std::size_t{0}, before / 2, before}) {
      std::size_t start = before;
      while (start > floor && text[start - 1] != ' ') --start;
      ASSERT_EQ(map.WordStart(floor, before), start) << floor << ' ' << before;
    }
  }
}

TEST(ByteMap, KnowsEveryByteForWhatItIs) {
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  ExpectWholeMap(all);
  ExpectWholeMap("");
}

TEST(ByteMap, HoldsForTextsOfEveryLength) {
  std::minstd_rand random(512);
  for (std::size_t size = 0; size < 700; ++size) {
    std::string text(size, 'x');
    const auto sparse = random() % 40 + 1;
    for (char& c : text) {
      if (random() % sparse == 0) c = random() % 2 == 0 ? ' ' : static_cast<char>(random() % 256);
    }
    ExpectWholeMap(text);
  }
}

}  // namespace
}  // namespace qob
