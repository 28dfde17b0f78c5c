// One uuencoded block from handle to handle: what begins it, what ends it, what lines give.
#include "util/uudecode.h"

#include <cstdlib>
#include <random>

#include <qob3xapi/lineio.h>

#include "frame/heap.h"
#include "support/exact_copy.h"
#include "support/temp_spool.h"
#include "util/naive_uudecode.h"
#include "util/util_support.h"
#include "util/uu_groups.h"

namespace qob::testing {
namespace {

struct Decoded {
  int result = -1;
  std::string bytes;
  std::string name = "(none)";
  int position = 0;  // of the input afterwards
};

class Uudecode : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(InitLineIO(), 0); }
  void TearDown() override { TerminateLineIO(); }

  Decoded Decode(std::string_view text, int limit = 0, int buffered = 1) {
    Decoded decoded;
    const int in = fileopen(spool_.File("in", text).c_str(), 0, 1);
    const int out = filecreate(spool_.path("out").c_str(), 0, buffered);
    char* name = nullptr;
    decoded.result = uudecode(in, limit, out, &name);
    decoded.position = getfpos(in);
    if (name != nullptr) decoded.name = name;
    FreeString(name);
    fileclose(in);
    fileclose(out);
    decoded.bytes = TempSpool::Read(spool_.path("out"));
    const Decoded ranged = DecodeRange(text, limit, limit != 0);
    EXPECT_EQ(ranged.result, decoded.result);
    EXPECT_EQ(ranged.bytes, decoded.bytes);
    EXPECT_EQ(ranged.name, decoded.name);
    EXPECT_EQ(ranged.position, decoded.position);
    return decoded;
  }

  // The same block through the library's own reader and writer.
  Decoded DecodeRange(std::string_view text, std::int64_t limit, bool limited) {
    Decoded decoded;
    LineReader reader;
    EXPECT_TRUE(reader.Open(spool_.File("in", text).c_str()));
    FileWriter writer;
    EXPECT_TRUE(writer.Create(spool_.path("ranged").c_str()));
    std::string name;
    decoded.result = UudecodeRange(reader, limit, limited, writer, &name) ? 1 : 0;
    decoded.position = static_cast<int>(reader.position());
    if (!name.empty()) decoded.name = name;
    writer.Close();
    decoded.bytes = TempSpool::Read(spool_.path("ranged"));
    return decoded;
  }

  TempSpool spool_;
  CapturedLog log_;
};

TEST_F(Uudecode, DecodesABlockUpToItsEndLine) {
  const Decoded decoded = Decode("begin 644 cat.txt\r\n#0V%T\r\n`\r\nend\r\nafter\r\n");
  EXPECT_EQ(decoded.result, 1);
  EXPECT_EQ(decoded.bytes, "Cat");
  EXPECT_EQ(decoded.name, "cat.txt");
  EXPECT_EQ(decoded.position, 34);
}

TEST_F(Uudecode, FindsTheBlockBehindOtherText) {
  const Decoded decoded = Decode(
      "some text\nbegin with care\nbeginning 644 x\nbegin 64a x\nbegin\nbegin 644 "
      "real\n#0V%T\n`\nend\n");
  EXPECT_EQ(decoded.result, 1);
  EXPECT_EQ(decoded.bytes, "Cat");
  EXPECT_EQ(decoded.name, "real");
}

TEST_F(Uudecode, NoBeginLineGivesNothing) {
  for (const char* text : {"", "begin", "text\n", "begin 644", "begin x\n", "end\n",
                           "beginx 644 n\n", " begin 644 n\n"}) {
    const Decoded decoded = Decode(text);
    EXPECT_EQ(decoded.result, 0) << text;
    EXPECT_EQ(decoded.bytes, "") << text;
    EXPECT_EQ(decoded.name, "(none)") << text;
  }
}

TEST_F(Uudecode, LettersOfBeginAndEndHaveAnyCase) {
  EXPECT_EQ(Decode("BeGiN 644 n\n#0V%T\n`\nEnD\n").result, 1);
  EXPECT_EQ(Decode("BEGIN 0 n\n#0V%T\n`\nEND   \r\n").result, 1);
}

TEST_F(Uudecode, NamesAreWhatStandsBehindTheMode) {
  const auto name = [&](const std::string& begin) { return Decode(begin + "\n`\nend\n").name; };
  EXPECT_EQ(name("begin 644 n"), "n");
  EXPECT_EQ(name("begin 644   two words \t \r"), "two words");
  EXPECT_EQ(name("begin   7   n"), "n");
  EXPECT_EQ(name("begin 644 ../up\\and/over"), "../up\\and/over");
  EXPECT_EQ(name("begin 644 \xE4\xF6"), "\xE4\xF6");
  EXPECT_EQ(name("begin 644 " + std::string(300, 'n')), std::string(255, 'n'));
  EXPECT_EQ(name("begin 644 " + std::string(2000, 'n')), std::string(255, 'n'));
  EXPECT_EQ(name("begin 644 cut\rhere"), "cut");
  EXPECT_EQ(name("begin 644"), "(none)");
  EXPECT_EQ(name("begin 644   \r"), "(none)");
}

TEST_F(Uudecode, GraveAccentAndBlankAreBothZero) {
  EXPECT_EQ(Decode("begin 644 n\n#````\n`\nend\n").bytes, std::string(3, '\0'));
  EXPECT_EQ(Decode("begin 644 n\n#    \n \nend\n").bytes, std::string(3, '\0'));
  EXPECT_EQ(Decode("begin 644 n\n# `` \n`\nend\n").bytes, std::string(3, '\0'));
}

TEST_F(Uudecode, ShortLinesGoOnWithBlanks) {
  EXPECT_EQ(Decode("begin 644 n\n#0V\n`\nend\n").bytes, std::string("Ch\0", 3).replace(1, 1, "`"));
  EXPECT_EQ(Decode("begin 644 n\n&0V%T\n`\nend\n").bytes, std::string("Cat\0\0\0", 6));
  EXPECT_EQ(Decode("begin 644 n\n_\n`\nend\n").bytes, std::string(63, '\0'));
  EXPECT_EQ(Decode("begin 644 n\r\n&0V%T\r\n`\r\nend\r\n").bytes, std::string("Cat\0\0\0", 6));
}

TEST_F(Uudecode, OnlyTheCountedBytesAreWritten) {
  EXPECT_EQ(Decode("begin 644 n\n!0V%T\n`\nend\n").bytes, "C");
  EXPECT_EQ(Decode("begin 644 n\n\"0V%T\n`\nend\n").bytes, "Ca");
  EXPECT_EQ(Decode("begin 644 n\n#0V%TTTTTTTT\n`\nend\n").bytes, "Cat");
}

TEST_F(Uudecode, CharactersAreTakenModuloSixtyFour) {
  // 0x70 and 0x30, 0x65 and 0x25, 0xF6 and 0x56 have the same six bits; those of 0x74 are not those
  // of 0x54.
  EXPECT_EQ(Decode("begin 644 n\n#pVet\n`\nend\n").bytes, "CaT");
  EXPECT_EQ(Decode("begin 644 n\nc\xB0\xD6\xA5\xD4\n`\nend\n").bytes, "Cat");
}

TEST_F(Uudecode, ACountOfZeroNeedsTheEndLineNext) {
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\n`\nend\n").result, 1);
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\n\nend\n").result, 1);
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\n\r\nend\n").result, 1);
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\n\rjunk\nend\n").result, 1);
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\nend\n").result, 1);
  const Decoded twice = Decode("begin 644 n\n#0V%T\n`\n#0V%T\nend\n");
  EXPECT_EQ(twice.result, 0);
  EXPECT_EQ(twice.bytes, "Cat");
  EXPECT_EQ(Decode("begin 644 n\n`\n\nend\n").result, 0);
}

TEST_F(Uudecode, OnlyBlanksMayFollowEnd) {
  EXPECT_EQ(Decode("begin 644 n\nend").result, 1);
  EXPECT_EQ(Decode("begin 644 n\nend    ").result, 1);
  EXPECT_EQ(Decode("begin 644 n\nend \rjunk\n").result, 1);
  // A line of data: 'e' counts five bytes.
  const Decoded data = Decode("begin 644 n\nendx0V%T\n`\nend\n");
  EXPECT_EQ(data.result, 1);
  EXPECT_EQ(data.bytes.size(), 5U);
}

TEST_F(Uudecode, EndComesBeforeTheCount) {
  // "End" would be a line of 37 bytes.
  EXPECT_EQ(Decode("begin 644 n\nEnd\n").bytes, "");
}

TEST_F(Uudecode, AnotherBeginLineEndsTheBlock) {
  const Decoded decoded = Decode("begin 644 one\n#0V%T\nbegin 644 two\n#0V%T\n`\nend\n");
  EXPECT_EQ(decoded.result, 0);
  EXPECT_EQ(decoded.bytes, "Cat");
  EXPECT_EQ(decoded.name, "one");
  // Without a mode it is a line of data.
  EXPECT_EQ(Decode("begin 644 one\nbegin x y\n`\nend\n").result, 1);
}

TEST_F(Uudecode, AMissingEndLineIsIncompleteButHandsOutNameAndBytes) {
  for (const char* text :
       {"begin 644 n\n#0V%T\n", "begin 644 n\n#0V%T", "begin 644 n\n#0V%T\n`\n"}) {
    const Decoded decoded = Decode(text);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.bytes, "Cat");
    EXPECT_EQ(decoded.name, "n");
  }
}

TEST_F(Uudecode, TheLimitCountsWholeLines) {
  const std::string text = "begin 644 n\n#0V%T\n`\nend\n";
  ASSERT_EQ(text.size(), 24U);
  EXPECT_EQ(Decode(text, 24).result, 1);
  EXPECT_EQ(Decode(text, 1000).result, 1);
  const Decoded cut = Decode(text, 23);
  EXPECT_EQ(cut.result, 0);
  EXPECT_EQ(cut.bytes, "Cat");
  EXPECT_EQ(cut.name, "n");
  EXPECT_EQ(Decode(text, 18).bytes, "Cat");
  EXPECT_EQ(Decode(text, 17).bytes, "");
  EXPECT_EQ(Decode(text, 12).name, "n");
  EXPECT_EQ(Decode(text, 11).name, "(none)");
  EXPECT_EQ(Decode(text, 1).result, 0);
  EXPECT_EQ(Decode(text, -1).result, 0);
}

TEST_F(Uudecode, ALimitConsumedExactlyIsTheEnd) {
  const Decoded decoded = Decode("begin 644 n\n#0V%T\n`\nend\nbegin 644 m\n", 18);
  EXPECT_EQ(decoded.result, 0);
  EXPECT_EQ(decoded.position, 18);
  const Decoded none = DecodeRange("begin 644 n\n#0V%T\n`\nend\n", 0, true);
  EXPECT_EQ(none.result, 0);
  EXPECT_EQ(none.position, 0);
  EXPECT_EQ(none.bytes, "");
}

TEST_F(Uudecode, ALineCountsWhatItMeansOnlyWhereItBegins) {
  const std::string filler(1024, 'x');
  EXPECT_EQ(Decode(filler + "begin 644 n\n#0V%T\n`\nend\n").result, 0);
  EXPECT_EQ(Decode("begin 644 n\n#0V%T" + filler + "end\n`\nend\n").bytes, "Cat");
  EXPECT_EQ(Decode("begin 644 n\n#0V%T" + filler + "end\n`\nend\n").result, 1);
}

// Reading lines one by one would lose it.
TEST_F(Uudecode, AnEndLineWithoutLineFeedCountsInAFullLastBlock) {
  std::string text = "begin 644 n\n";
  while (text.size() < 4096 - 3 - 86) text += "!0V%T\n";
  text += std::string(4096 - 3 - text.size() - 1, '!') + "\n" + "end";
  ASSERT_EQ(text.size(), 4096U);
  EXPECT_EQ(Decode(text).result, 1);
}

TEST_F(Uudecode, ANulHidesNothing) {
  const std::string text("begin 644 n\n#0V%T\0\0\n`\nend\n", 26);
  EXPECT_EQ(Decode(text).bytes, "Cat");
  const std::string zero("begin 644 n\n\0\n`\nend\n", 20);
  EXPECT_EQ(Decode(zero).bytes, std::string(32, '\0'));
}

TEST_F(Uudecode, TruncationAtEveryByteDoesNoHarm) {
  const std::string text =
      "text\r\nbegin 644 name.bin\r\nM" + std::string(60, '5') + "\r\n#0V%T\r\n`\r\nend\r\n";
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const Decoded decoded = Decode(text.substr(0, size));
    EXPECT_EQ(decoded.result, size >= text.size() - 2 ? 1 : 0) << size;
    EXPECT_LE(decoded.bytes.size(), 64U);
  }
}

// Texts made of the words that matter, in any order.
TEST_F(Uudecode, AgreesWithTheNaiveDecoder) {
  const std::string words[] = {"begin 644 n", "Begin 1  two words ",
                               "end",         "END ",
                               "end x",       "#0V%T",
                               "`",           " ",
                               "\r",          "\n",
                               "\n",          "\r\n",
                               "\n",          "M5555",
                               "___",         "\xFF\xE1"};
  std::mt19937 random(3);
  int complete = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text = random() % 2 == 0 ? "begin 644 n\n" : "";
    for (std::size_t i = random() % 20; i > 0; --i) text += words[random() % std::size(words)];
    if (random() % 50 == 0) text.insert(text.size() / 2, std::string(random() % 3000, 'x'));
    const NaiveBlock naive = NaiveUudecode::Decode(text);
    const Decoded decoded = Decode(text);
    ASSERT_EQ(decoded.result == 1, naive.complete) << text;
    ASSERT_EQ(decoded.bytes, naive.bytes) << text;
    ASSERT_EQ(decoded.name, naive.name.empty() ? "(none)" : naive.name) << text;
    ASSERT_EQ(static_cast<std::size_t>(decoded.position), naive.consumed) << text;
    complete += decoded.result;
  }
  EXPECT_GT(complete, 100);
}

TEST_F(Uudecode, PiecesOfExactSizeAreNotReadPast) {
  for (std::size_t length = 0; length < 100; ++length) {
    UuDecoder decoder;
    const ExactCopy begin("begin 1 n\n");
    char room[kUuRoom];
    decoder.Feed(begin.view(), true, room);
    const ExactCopy line(("M" + std::string(length, 'A')).substr(0, length));
    decoder.Feed(line.view(), true, room);
  }
}

TEST(UuGroups, EveryWayOfDecodingGivesTheSame) {
  std::mt19937 random(4);
  for (std::size_t groups = 0; groups <= 21; ++groups) {
    for (int round = 0; round < 200; ++round) {
      std::string coded(4 * groups, ' ');
      for (char& c : coded) c = static_cast<char>(random());
      const ExactCopy copy(coded);
      std::string fast(3 * groups + 4, '?');
      std::string portable(3 * groups, '?');
      DecodeUuGroups(copy.view().data(), groups, fast.data());
      DecodeUuGroupsPortable(copy.view().data(), groups, portable.data());
      ASSERT_EQ(fast.substr(0, 3 * groups), portable);
    }
  }
}

TEST_F(Uudecode, WritesUnbufferedAsWell) {
  EXPECT_EQ(Decode("begin 644 n\n#0V%T\n#0V%T\n`\nend\n", 0, 0).bytes, "CatCat");
}

TEST_F(Uudecode, UnknownHandlesGiveNothing) {
  char* name = nullptr;
  const int in = fileopen(spool_.File("in", "begin 644 n\n`\nend\n").c_str(), 0, 1);
  const int out = filecreate(spool_.path("out").c_str(), 0, 1);
  EXPECT_EQ(uudecode(-1, 0, out, &name), 0);
  EXPECT_EQ(uudecode(in, 0, -1, &name), 0);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(getfpos(in), 0);
  EXPECT_EQ(uudecode(in, 0, out, nullptr), 1);
}

TEST_F(Uudecode, WritingToAReaderFails) {
  char* name = nullptr;
  const int in = fileopen(spool_.File("in", "begin 644 n\n#0V%T\n`\nend\n").c_str(), 0, 1);
  const int out = fileopen(spool_.File("out", "x").c_str(), 0, 1);
  EXPECT_EQ(uudecode(in, 0, out, &name), 0);
  EXPECT_EQ(name, nullptr);
}

}  // namespace
}  // namespace qob::testing
