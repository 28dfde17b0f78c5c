// What the encoder writes, byte for byte. The texts were worked out by hand and with python3.
#include "macfile/binhex_encoder.h"

#include <gtest/gtest.h>

#include "macfile/plain_binhex.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

using Sections = std::vector<std::vector<std::string>>;

class BinHexEncode : public ::testing::Test {
 protected:
  // Sections, each in pieces; the text.
  std::string Encode(const Sections& sections) {
    const std::string path = spool_.path("out.hqx");
    FileWriter writer;
    EXPECT_TRUE(writer.Create(path.c_str()));
    binhex::Encoder encoder(&writer);
    encoder.Begin();
    for (const auto& section : sections) {
      for (const std::string& piece : section) encoder.Add(piece);
      encoder.EndSection();
    }
    encoder.Finish();
    EXPECT_TRUE(writer.Close());
    return TempSpool::Read(path);
  }

  // Banner, colon, characters of `packed` with padding, colon, on one short line.
  static std::string OneLine(std::string packed) {
    while (packed.size() % 3 != 0) packed.push_back('\xFF');
    return std::string(kBannerLine) + ":" + SixBit(packed) + ":\r\n\r\n";
  }

  TempSpool spool_;
};

TEST_F(BinHexEncode, WritesTheKnownSmallFile) {
  // Name "a", TEXT/ttxt, data "Hi", no resource fork.
  const std::string header = std::string("\x01\x61\0TEXTttxt\0\0\0\0\0\2\0\0\0\0", 21) + "\xC0\x7C";
  EXPECT_EQ(Encode({{header}, {"Hi"}, {"\x79\xEA"}, {""}, {std::string(2, '\0')}}),
            std::string(kBannerLine) + ":!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n\r\n");
}

TEST_F(BinHexEncode, CutsARunOf300At255) {
  EXPECT_EQ(Encode({{std::string(300, '\0')}}), OneLine(std::string("\0\x90\xFF\0\x90\x2D", 6)));
}

TEST_F(BinHexEncode, KeepsARunWholeOverPieces) {
  // 300 zeros as the file reader of old handed them over: 256, then 44.
  EXPECT_EQ(Encode({{std::string(256, '\0'), std::string(44, '\0')}}),
            OneLine(std::string("\0\x90\xFF\0\x90\x2D", 6)));
}

TEST_F(BinHexEncode, WritesTheRestOfALongRunAsWhatItIs) {
  EXPECT_EQ(Encode({{std::string(255, 'X')}}), OneLine("X\x90\xFF"));
  EXPECT_EQ(Encode({{std::string(256, 'X')}}), OneLine("X\x90\xFFX"));
  EXPECT_EQ(Encode({{std::string(257, 'X')}}), OneLine("X\x90\xFFXX"));
  EXPECT_EQ(Encode({{std::string(258, 'X')}}), OneLine("X\x90\xFFX\x90\x03"));
}

TEST_F(BinHexEncode, WritesRunsOfOneAndTwoLiterally) {
  EXPECT_EQ(Encode({{"abbccc"}}), OneLine("abbc\x90\x03"));
}

TEST_F(BinHexEncode, WritesTheMarkerByteAsItselfAndZero) {
  EXPECT_EQ(Encode({{"a\x90z"}}), OneLine(std::string("a\x90\0z", 4)));
}

TEST_F(BinHexEncode, NeverStartsARunWithTheMarkerByte) {
  EXPECT_EQ(Encode({{"\x90\x90\x90\x90"}}), OneLine(std::string("\x90\0\x90\0\x90\0\x90\0", 8)));
}

TEST_F(BinHexEncode, EndsARunAtTheEndOfASection) {
  // Five zeros of one section and four of the next: two runs, not one of nine.
  EXPECT_EQ(Encode({{std::string(5, '\0')}, {std::string(4, '\0')}}),
            OneLine(std::string("\0\x90\x05\0\x90\x04", 6)));
  EXPECT_EQ(Encode({{"XX"}, {"XX"}}), OneLine("XXXX"));
}

TEST_F(BinHexEncode, CompletesTheLastGroupWithOnes) {
  EXPECT_EQ(Encode({{"abc"}}), std::string(kBannerLine) + ":B@*M:\r\n\r\n");
  EXPECT_EQ(Encode({{"ab"}}), std::string(kBannerLine) + ":" + SixBit("ab\xFF") + ":\r\n\r\n");
  EXPECT_EQ(Encode({{"a"}}), std::string(kBannerLine) + ":" + SixBit("a\xFF\xFF") + ":\r\n\r\n");
}

TEST_F(BinHexEncode, WritesLinesOf64CountingTheFirstColon) {
  const std::string bytes = Noise(300);
  const std::string text = Encode({{bytes}}).substr(kBannerLine.size());
  const std::string packed = Literal(bytes);
  ASSERT_EQ(text.substr(0, 1), ":");
  for (std::size_t line = 0; line < 6; ++line) {
    EXPECT_EQ(text.substr(line * 66 + 64, 2), "\r\n") << line;
    EXPECT_EQ(text.substr(line * 66, 64).find('\r'), std::string::npos) << line;
  }
  EXPECT_EQ(text.substr(1, 63), SixBit(packed).substr(0, 63));
}

TEST_F(BinHexEncode, PutsTheClosingColonBehindTheLastCharacter) {
  // 48 bytes are 64 characters; the first line takes 63 of them.
  std::string mixed;
  for (int i = 0; i < 24; ++i) mixed += "ab";
  const std::string characters = SixBit(mixed);
  EXPECT_EQ(Encode({{mixed}}), std::string(kBannerLine) + ":" + characters.substr(0, 63) + "\r\n" +
                                   characters.substr(63) + ":\r\n\r\n");
}

TEST_F(BinHexEncode, EndsWithAColonAndAnEmptyLine) {
  for (std::size_t size = 0; size < 100; ++size) {
    const std::string text = Encode({{Noise(size)}});
    EXPECT_EQ(text.substr(text.size() - 5), ":\r\n\r\n") << size;
    EXPECT_EQ(text.find("\r\n\r\n"), text.size() - 4) << size;
  }
}

TEST_F(BinHexEncode, IsTheSameForEverySplit) {
  const std::string bytes = "aaaa" + std::string(300, '\x90') + std::string(600, 'q') + Noise(20);
  const std::string whole = Encode({{bytes}});
  for (std::size_t cut = 0; cut <= bytes.size(); cut += 13) {
    EXPECT_EQ(Encode({{bytes.substr(0, cut), bytes.substr(cut)}}), whole) << cut;
  }
}

}  // namespace
}  // namespace qob::testing
