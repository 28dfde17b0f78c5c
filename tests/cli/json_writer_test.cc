// The writer of long lists writes what the library of the short ones writes.
#include "json_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "json_line.h"

namespace cli {
namespace {

std::string Written(std::string_view text) {
  JsonWriter writer;
  writer.BeginLine("s/1");
  writer.Text("name", text);
  writer.EndLine();
  return std::string(writer.text());
}

std::string Expected(std::string_view text) {
  Json object;
  object["schema"] = "s/1";
  PutText(&object, "name", text);
  return JsonText(object) + "\n";
}

TEST(JsonWriter, EscapesEveryByteAsTheOtherDoes) {
  for (int c = 0; c < 256; ++c) {
    const std::string text = "a" + std::string(1, static_cast<char>(c)) + "b";
    EXPECT_EQ(Written(text), Expected(text)) << c;
  }
}

TEST(JsonWriter, EscapesEveryCharacterAsTheOtherDoes) {
  for (std::uint32_t code = 0x80; code < 0x110000; code += code < 0x3000 ? 1 : 251) {
    if (code >= 0xD800 && code < 0xE000) continue;
    std::string text;
    if (code >= 0x10000) {
      text += static_cast<char>(0xF0 | code >> 18);
      text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
    } else if (code >= 0x800) {
      text += static_cast<char>(0xE0 | code >> 12);
    }
    text += code >= 0x800 ? static_cast<char>(0x80 | (code >> 6 & 0x3F))
                          : static_cast<char>(0xC0 | code >> 6);
    text += static_cast<char>(0x80 | (code & 0x3F));
    ASSERT_EQ(Written(text), Expected(text)) << code;
  }
}

TEST(JsonWriter, WritesRandomBytesAsTheOtherDoes) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (auto left = random() % 12; left > 0; --left) {
      constexpr std::string_view kPieces = "a\"\\\n\x7f\xc3\xa9\xf0\x9f\x98\x80\xed\xa0\x80\xc0";
      text += kPieces[random() % kPieces.size()];
    }
    ASSERT_EQ(Written(text), Expected(text));
  }
}

TEST(JsonWriter, WritesEveryShapeAsTheOtherDoes) {
  JsonWriter writer;
  writer.BeginLine("s/1");
  writer.Number("least", std::numeric_limits<std::int64_t>::min());
  writer.Number("most", std::numeric_limits<std::int64_t>::max());
  writer.NumberIf("known", true, 0);
  writer.NumberIf("unknown", false, 7);
  writer.Switch("yes", true);
  writer.Switch("no", false);
  writer.Null("none");
  writer.BeginList("empty");
  writer.EndList();
  writer.BeginList("objects");
  writer.Begin();
  writer.End();
  writer.Begin();
  writer.Text("a", "b");
  writer.BeginMember("c");
  writer.Number("d", 1);
  writer.End();
  writer.End();
  writer.EndList();
  writer.BeginList("texts");
  writer.TextItem("x");
  writer.TextItem("\"");
  writer.EndList();
  writer.Number("last", 0);
  writer.EndLine();
  Json object;
  object["schema"] = "s/1";
  object["least"] = std::numeric_limits<std::int64_t>::min();
  object["most"] = std::numeric_limits<std::int64_t>::max();
  object["known"] = 0;
  object["unknown"] = nullptr;
  object["yes"] = true;
  object["no"] = false;
  object["none"] = nullptr;
  object["empty"] = Json::array();
  Json inner;
  inner["a"] = "b";
  inner["c"] = {{"d", 1}};
  object["objects"] = Json::array({Json::object(), inner});
  object["texts"] = {"x", "\""};
  object["last"] = 0;
  EXPECT_EQ(writer.text(), JsonText(object) + "\n");
}

TEST(JsonWriter, BeginsEveryLineAfresh) {
  JsonWriter writer;
  for (int i = 0; i < 3; ++i) {
    writer.BeginLine("s/1");
    writer.EndLine();
  }
  EXPECT_EQ(writer.text(), "{\"schema\":\"s/1\"}\n{\"schema\":\"s/1\"}\n{\"schema\":\"s/1\"}\n");
  writer.Clear();
  EXPECT_EQ(writer.text(), "");
}

TEST(JsonWriter, HoldsTextsLongerThanItsBlock) {
  const std::string text(1 << 20, 'x');
  EXPECT_EQ(Written(text), Expected(text));
}

}  // namespace
}  // namespace cli
