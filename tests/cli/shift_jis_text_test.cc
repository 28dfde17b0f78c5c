// Conversion block by block gives the same wherever a block ends.
#include "shift_jis_text.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace cli {
namespace {

const ShiftJisTable& Table() {
  static const ShiftJisTable table;
  return table;
}

struct Converted {
  std::string text;
  std::size_t misfits;
  std::string first;
};

Converted ToShiftJis(std::string_view text, std::size_t cut, std::size_t second) {
  Utf8ToShiftJis converter(Table(), "?");
  Converted result;
  converter.Take(text.substr(0, cut), &result.text);
  converter.Take(text.substr(cut, second), &result.text);
  converter.Take(text.substr(cut).substr(std::min(second, text.size() - cut)), &result.text);
  converter.Finish(&result.text);
  result.misfits = converter.misfits().count;
  result.first = converter.misfits().first;
  return result;
}

// A byte order mark, characters of one to four bytes, malformed bytes, a character cut by the end.
constexpr std::string_view kText =
    "\xEF\xBB\xBF"
    "a\xE3\x81\x82\xC2\xB1\xEF\xBD\xB6\xF0\x9F\x98\x80\xFF\xE3\x41\xE3\xE3\x81\x84\xC3";
constexpr std::string_view kShiftJis = "a\x82\xA0\x81\x7D\xB6???A?\x82\xA2?";

TEST(Utf8ToShiftJis, GivesTheSameWhereverABlockEnds) {
  for (std::size_t cut = 0; cut <= kText.size(); ++cut) {
    for (std::size_t second = 0; second <= kText.size() - cut; ++second) {
      const Converted result = ToShiftJis(kText, cut, second);
      ASSERT_EQ(result.text, kShiftJis) << cut << " " << second;
      ASSERT_EQ(result.misfits, 5u);
      ASSERT_EQ(result.first, "U+1F600");
    }
  }
}

TEST(ShiftJisToUtf8, GivesTheSameWhereverABlockEnds) {
  constexpr std::string_view kFrom =
      "\\~\x82\xA0\x81\x7D\xB6\x81\x0A\xFF\x88\x9F\x85\x40\x87\x40\x82";
  constexpr std::string_view kTo =
      "\\~\xE3\x81\x82\xC2\xB1\xEF\xBD\xB6\xEF\xBF\xBD\n\xEF\xBF\xBD\xE4\xBA\x9C\xEF\xBF\xBD"
      "\xE2\x91\xA0\xEF\xBF\xBD";
  for (std::size_t cut = 0; cut <= kFrom.size(); ++cut) {
    ShiftJisToUtf8 converter(Table());
    std::string text;
    converter.Take(kFrom.substr(0, cut), &text);
    converter.Take(kFrom.substr(cut), &text);
    converter.Finish(&text);
    ASSERT_EQ(text, kTo) << cut;
    ASSERT_EQ(converter.misfits().count, 4u);
    ASSERT_EQ(converter.misfits().first_line, 1u);
  }
}

TEST(ShiftJisTable, KeepsTheStandardsCodeForACharacterThatAVendorHasTwice) {
  EXPECT_EQ(Table().CodeOf(0x222A), 0x81BE);  // union, also 879B
  EXPECT_EQ(Table().CodeOf(0x301C), 0x8160);
  EXPECT_EQ(Table().CodeOf(0xFF5E), 0x8160);
  EXPECT_EQ(Table().CodeOf(0x00A5), 0);
  EXPECT_EQ(Table().CodeOf(0x20000), 0);
  EXPECT_EQ(Table().CharacterOf(0x8160), 0x301Cu);
}

}  // namespace
}  // namespace cli
