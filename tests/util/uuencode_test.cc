// Uuencoding: known lines, any bytes against a plain model, and back through our decoder's groups.
#include "util/uuencode.h"

#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::TempSpool;

class Uuencode : public ::testing::Test {
 protected:
  std::string Encoded(std::string_view bytes, std::string_view name = "n") {
    for (const char* file : {"in", "out"}) std::filesystem::remove(spool_.path(file));
    spool_.File("in", bytes);
    LineReader in;
    FileWriter out;
    EXPECT_TRUE(in.Open(spool_.path("in").c_str()) && out.Create(spool_.path("out").c_str()));
    EXPECT_TRUE(WriteUuencoded(in, name, out) && out.Close());
    return TempSpool::Read(spool_.path("out"));
  }
  // The lines between the first and the last.
  std::string Lines(std::string_view bytes) {
    const std::string text = Encoded(bytes);
    constexpr std::string_view kBegin = "begin 666 n \r\n";
    constexpr std::string_view kEnd = "`\r\nend\r\n\r\n";
    EXPECT_TRUE(text.starts_with(kBegin) && text.ends_with(kEnd)) << text;
    return text.substr(kBegin.size(), text.size() - kBegin.size() - kEnd.size());
  }

  TempSpool spool_;
};

// One bit after the other.
std::string ModelLines(std::string_view bytes) {
  const auto character = [](unsigned value) {
    return value == 0 ? '`' : static_cast<char>(value + 32);
  };
  std::string text;
  for (std::size_t start = 0; start < bytes.size(); start += 45) {
    std::string line(bytes.substr(start, 45));
    text += character(static_cast<unsigned>(line.size()));
    while (line.size() % 3 != 0) line += '\0';
    for (std::size_t bit = 0; bit < line.size() * 8; bit += 6) {
      unsigned value = 0;
      for (std::size_t i = bit; i < bit + 6; ++i) {
        value = value << 1 | (static_cast<unsigned char>(line[i / 8]) >> (7 - i % 8) & 1);
      }
      text += character(value);
    }
    text += "\r\n";
  }
  return text;
}

TEST_F(Uuencode, WritesTheKnownText) {
  EXPECT_EQ(Encoded("Cat", "cat.txt"), "begin 666 cat.txt \r\n#0V%T\r\n`\r\nend\r\n\r\n");
}

TEST_F(Uuencode, AnEmptyFileIsTheLineOfNoBytes) {
  EXPECT_EQ(Encoded("", ""), "begin 666  \r\n`\r\nend\r\n\r\n");
}

TEST_F(Uuencode, ZeroIsAGraveAccentAndTheLastGroupIsFilledWithIt) {
  EXPECT_EQ(Lines(std::string(1, '\0')), "!````\r\n");
  EXPECT_EQ(Lines("a"), "!80``\r\n");
  EXPECT_EQ(Lines("ab"), "\"86(`\r\n");
}

TEST_F(Uuencode, LinesHold45Bytes) {
  EXPECT_EQ(Lines(std::string(45, '\xFF')), "M" + std::string(60, '_') + "\r\n");
  EXPECT_EQ(Lines(std::string(46, '\xFF')), "M" + std::string(60, '_') + "\r\n!_P``\r\n");
}

TEST_F(Uuencode, AnyBytesComeOutAsThePlainModelSays) {
  std::mt19937 random(45);
  for (std::size_t size :
       {0, 1, 44, 45, 46, 89, 90, 91, 32740, 32768, 32769, 65535, 65536, 100000}) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(random() >> 5);
    ASSERT_EQ(Lines(bytes), ModelLines(bytes)) << size;
  }
}

}  // namespace
}  // namespace qob
