// Lines and bytes as they are read: block boundaries, pieces, the last line.
#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

using GetlineOfHandle = LineIo;

TEST_F(GetlineOfHandle, EmptyFileEndsAtOnce) {
  const int handle = OpenBytes("");
  char untouched[] = "untouched";
  char* line = untouched;
  EXPECT_EQ(QOB_getline(handle, &line), 0);
  EXPECT_EQ(QOB_getline(handle, &line), 0);
  EXPECT_EQ(line, untouched);
  EXPECT_EQ(inch(handle), -1);
  EXPECT_EQ(getfpos(handle), 0);
}

TEST_F(GetlineOfHandle, ALongLineComesInPieces) {
  const std::string text = std::string(2500, 'l') + "\n";
  const int handle = OpenBytes(text);
  std::string all;
  EXPECT_EQ(PieceLengths(handle, &all), (std::vector<int>{1024, 1024, 453, 0}));
  EXPECT_EQ(all, text);
}

TEST_F(GetlineOfHandle, KeepsCarriageReturnAndLineFeed) {
  const int handle = OpenBytes("abc\r\n\r\n\n");
  for (const char* expected : {"abc\r\n", "\r\n", "\n"}) {
    char* line = nullptr;
    ASSERT_EQ(QOB_getline(handle, &line), 1);
    EXPECT_STREQ(line, expected);
  }
}

TEST_F(GetlineOfHandle, BytesBehindANulAreThere) {
  const std::string text("a\0b\n\0\n", 6);
  const int handle = OpenBytes(text);
  std::string all;
  EXPECT_EQ(PieceLengths(handle, &all), (std::vector<int>{4, 2, 0}));
  EXPECT_EQ(all, text);
}

TEST_F(GetlineOfHandle, TheReturnedLineEndsWithNul) {
  const int handle = OpenBytes("a much longer line first\nshort\n");
  char* line = nullptr;
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "short\n");
}

struct Boundary {
  const char* name;
  std::string bytes;
  std::vector<int> lengths;  // then the last result
};

std::string A(std::size_t count) { return std::string(count, 'a'); }

// The block is 4096 bytes and a piece 1024. A last piece without line feed that ends with a full
// block is lost.
TEST_F(GetlineOfHandle, BoundariesOfBlocksAndPieces) {
  const Boundary rows[] = {
      {"line feed ends the block", A(4095) + "\n", {1024, 1024, 1024, 1024, 0}},
      {"line feed ends the block, more follows", A(4095) + "\nx\n", {1024, 1024, 1024, 1024, 2, 0}},
      {"carriage return and line feed on either side",
       A(4095) + "\r\n",
       {1024, 1024, 1024, 1024, 1, 0}},
      {"short lines, line feed ends the block",
       A(4000) + "\n" + A(94) + "\n",
       {1024, 1024, 1024, 929, 95, 0}},
      {"4096 bytes, no line feed", A(4096), {1024, 1024, 1024, 0}},
      {"4095 bytes, no line feed", A(4095), {1024, 1024, 1024, 1023, 0}},
      {"4097 bytes, no line feed", A(4097), {1024, 1024, 1024, 1024, 1, 0}},
      {"8192 bytes, no line feed", A(8192), {1024, 1024, 1024, 1024, 1024, 1024, 1024, 0}},
      {"last line of a full block lost", A(4000) + "\n" + A(95), {1024, 1024, 1024, 929, 0}},
      {"one byte fewer is kept", A(4000) + "\n" + A(94), {1024, 1024, 1024, 929, 94, 0}},
      {"1023 and line feed", A(1023) + "\n", {1024, 0}},
      {"1024 and line feed", A(1024) + "\n", {1024, 1, 0}},
      {"1025 and line feed", A(1025) + "\n", {1024, 2, 0}},
      {"1024, no line feed", A(1024), {1024, 0}},
      {"a piece across blocks", A(3500) + "\n" + A(700) + "\n", {1024, 1024, 1024, 429, 701, 0}},
      {"one byte", "a", {1, 0}},
      {"one line feed", "\n", {1, 0}},
  };
  for (const Boundary& row : rows) {
    const int handle = OpenBytes(row.bytes);
    std::string all;
    EXPECT_EQ(PieceLengths(handle, &all), row.lengths) << row.name;
    EXPECT_EQ(row.bytes.compare(0, all.size(), all), 0) << row.name;
    fileclose(handle);
  }
}

TEST_F(GetlineOfHandle, TheLostPieceIsCountedInThePosition) {
  const int handle = OpenBytes(A(4000) + "\n" + A(95));
  PieceLengths(handle);
  EXPECT_EQ(getfpos(handle), 4096);
}

TEST_F(GetlineOfHandle, EveryShortLineOfManyBlocksComesOut) {
  std::string text;
  for (int i = 0; text.size() < 40000; ++i)
    text += std::string(static_cast<std::size_t>(i % 130), 'z') + "\n";
  const int handle = OpenBytes(text);
  std::string all;
  const std::vector<int> lengths = PieceLengths(handle, &all);
  EXPECT_EQ(all, text);
  for (std::size_t i = 0; i + 1 < lengths.size(); ++i)
    EXPECT_EQ(lengths[i], static_cast<int>(i % 130) + 1);
}

TEST_F(GetlineOfHandle, ABufferFullOfLineFeeds) {
  const int handle = OpenBytes(std::string(9000, '\n'));
  EXPECT_EQ(PieceLengths(handle), ([] {
              std::vector<int> expected(9000, 1);
              expected.push_back(0);
              return expected;
            }()));
}

TEST_F(GetlineOfHandle, ByteFFIsNotTheEnd) {
  const int handle = OpenBytes("\xFF\xFE");
  EXPECT_EQ(inch(handle), 255);
  EXPECT_EQ(inch(handle), 254);
  EXPECT_EQ(inch(handle), -1);
}

TEST_F(GetlineOfHandle, BytesAndLinesMix) {
  const int handle = OpenBytes("abc\ndef\n" + A(4088) + "\ntail\n");
  EXPECT_EQ(inch(handle), 'a');
  char* line = nullptr;
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "bc\n");
  EXPECT_EQ(inch(handle), 'd');
  uninch(0, handle);
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "def\n");
  for (int i = 0; i < 4088; ++i) ASSERT_EQ(inch(handle), 'a');
  EXPECT_EQ(getfpos(handle), 4096);
  EXPECT_EQ(inch(handle), '\n');
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "tail\n");
}

// A line index made for one block must not be believed in the next one, where the cursor may come
// to the same place.
TEST_F(GetlineOfHandle, ANewBlockIsLookedAtAfresh) {
  std::string first = "line 1\n" + std::string(49, 'x') + "\n";
  first += std::string(4096 - first.size(), '\n');
  const std::string second = "0123456" + std::string(200, 'y') + "\nend\n";
  const int handle = OpenBytes(first + second);
  char* line = nullptr;
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  for (int i = 7; i < 4096 + 7; ++i) ASSERT_NE(inch(handle), -1);
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_EQ(std::string(line), std::string(200, 'y') + "\n");
}

TEST_F(GetlineOfHandle, AWriterCannotBeRead) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  putline(handle, "abc\n");
  char* line = nullptr;
  EXPECT_EQ(QOB_getline(handle, &line), -1);
  EXPECT_EQ(inch(handle), -1);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4);
  EXPECT_EQ(log_.texts(), (Texts{"ReadFile failed.", "inch: ReadFile failed."}));
  fileclose(handle);
  EXPECT_EQ(Written(), "abc\n");
}

}  // namespace
}  // namespace qob::testing
