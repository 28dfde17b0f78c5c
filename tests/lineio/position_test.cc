// Stepping back, seeking, and positions beyond 31 bits.
#include <unistd.h>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

using Position = LineIo;

TEST_F(Position, SteppingBackGivesTheFilesOwnByte) {
  const int handle = OpenBytes("ab");
  EXPECT_EQ(inch(handle), 'a');
  uninch('Z', handle);
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(inch(handle), 'a');
  EXPECT_EQ(inch(handle), 'b');
  EXPECT_EQ(inch(handle), -1);
  uninch('Z', handle);
  EXPECT_EQ(inch(handle), 'b');
}

TEST_F(Position, NothingStandsBeforeTheStart) {
  const int handle = OpenBytes("ab");
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(inch(handle), 'a');
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(inch(handle), 'a');
}

std::string Numbered(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<char>(i / 256 * 7 + i));
  return bytes;
}
int ByteAt(const std::string& bytes, std::size_t i) { return static_cast<unsigned char>(bytes[i]); }

TEST_F(Position, StepsBackAcrossABlockAfterBytes) {
  const std::string bytes = Numbered(9000);
  const int handle = OpenBytes(bytes);
  for (std::size_t i = 0; i < 4096; ++i) ASSERT_EQ(inch(handle), ByteAt(bytes, i));
  uninch(0, handle);
  EXPECT_EQ(inch(handle), ByteAt(bytes, 4095));
  EXPECT_EQ(inch(handle), ByteAt(bytes, 4096));
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(inch(handle), ByteAt(bytes, 4095));
  EXPECT_EQ(inch(handle), ByteAt(bytes, 4096));
}

// A line that ends with its block leaves the next one unread; a 1024-byte piece that does has
// already read it.
TEST_F(Position, StepsBackAcrossABlockAfterLines) {
  const std::string bytes = std::string(4095, 'a') + "\n" + "bcd";
  const int handle = OpenBytes(bytes);
  char* line = nullptr;
  for (int i = 0; i < 4; ++i) ASSERT_EQ(QOB_getline(handle, &line), 1);
  ASSERT_EQ(getfpos(handle), 4096);
  uninch(0, handle);
  EXPECT_EQ(inch(handle), '\n');
  EXPECT_EQ(inch(handle), 'b');
  fileclose(handle);

  const int pieces = OpenBytes(std::string(4096, 'a') + "bcd");
  for (int i = 0; i < 4; ++i) ASSERT_EQ(QOB_getline(pieces, &line), 1);
  ASSERT_EQ(getfpos(pieces), 4096);
  uninch(0, pieces);
  EXPECT_EQ(getfpos(pieces), 4095);
  uninch(0, pieces);
  EXPECT_EQ(getfpos(pieces), 4094);
  EXPECT_EQ(inch(pieces), 'a');
  EXPECT_EQ(inch(pieces), 'a');
  EXPECT_EQ(inch(pieces), 'b');
}

TEST_F(Position, StepsBackAfterASeek) {
  const std::string bytes = Numbered(9000);
  const int handle = OpenBytes(bytes);
  for (int i = 0; i < 5000; ++i) inch(handle);
  EXPECT_EQ(setfpos(handle, 300), 300);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 299);
  EXPECT_EQ(inch(handle), ByteAt(bytes, 299));
  EXPECT_EQ(setfpos(handle, 5000), 5000);
  uninch(0, handle);
  uninch(0, handle);
  EXPECT_EQ(inch(handle), ByteAt(bytes, 4998));
}

TEST_F(Position, StepsBackAfterTheLostLastPiece) {
  const int handle = OpenBytes(std::string(4096, 'a'));
  PieceLengths(handle);
  ASSERT_EQ(getfpos(handle), 4096);
  uninch(0, handle);
  EXPECT_EQ(getfpos(handle), 4095);
  EXPECT_EQ(inch(handle), 'a');
  EXPECT_EQ(inch(handle), -1);
}

TEST_F(Position, SeekingIsAbsoluteAndDropsReadAhead) {
  const std::string path = spool_.File("in", "one\ntwo\n");
  const int handle = fileopen(path.c_str(), 0, 1);
  char* line = nullptr;
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  TempSpool::Write(path, "ONE\nTWO\n");
  EXPECT_EQ(setfpos(handle, 0), 0);
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "ONE\n");
}

TEST_F(Position, NegativeSeekChangesNothing) {
  const int handle = OpenBytes("abc");
  inch(handle);
  EXPECT_EQ(setfpos(handle, -1), -1);
  EXPECT_EQ(getfpos(handle), 1);
  EXPECT_EQ(inch(handle), 'b');
  EXPECT_EQ(log_.texts(), Texts{"setfpos: Internal file I/O error"});
}

TEST_F(Position, SeekingPastTheEndIsAllowed) {
  const int reader = OpenBytes("abc");
  EXPECT_EQ(setfpos(reader, 100), 100);
  char* line = nullptr;
  EXPECT_EQ(QOB_getline(reader, &line), 0);
  EXPECT_EQ(inch(reader), -1);
  EXPECT_EQ(getfpos(reader), 100);
  const int writer = filecreate(OutPath().c_str(), 0, 1);
  EXPECT_EQ(setfpos(writer, 3), 3);
  putline(writer, "x");
  fileclose(writer);
  EXPECT_EQ(Written(), std::string("\0\0\0x", 4));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Position, AFileWithoutPositionsRefusesToSeek) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const int handle = fileopen(("/proc/self/fd/" + std::to_string(ends[0])).c_str(), 0, 1);
  ASSERT_GE(handle, 3);
  ASSERT_EQ(write(ends[1], "ab\n", 3), 3);
  close(ends[1]);
  EXPECT_EQ(setfpos(handle, 0), -1);
  EXPECT_EQ(log_.texts(), Texts{"setfpos: Internal file I/O error"});
  EXPECT_EQ(inch(handle), 'a');
  EXPECT_EQ(fileclose(handle), 1);
  close(ends[0]);
}

TEST_F(Position, ReadingGoesOnBeyondTwoGibibytes) {
  const std::string path = spool_.File("in", "");
  constexpr off_t kSize = 0x80000000LL + 5000;
  ASSERT_EQ(truncate(path.c_str(), kSize), 0);
  QOB_FILE* file = FileOpen(path.c_str(), 0, 1);
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(SetFilePos(file, 0x7FFFFC00), 0x7FFFFC00);
  char* line = nullptr;
  ASSERT_EQ(GetLine(file, &line), 1);
  EXPECT_EQ(GetFilePos(file), -1);
  EXPECT_EQ(file->position, 0x80000000U);
  int bytes = 0;
  while (InCh(file) == 0) ++bytes;
  EXPECT_EQ(bytes, 5000);
  EXPECT_EQ(GetFilePos(file), -1);
  UninCh(file);
  EXPECT_EQ(file->position, 0x80000000U + 4999);
  EXPECT_EQ(InCh(file), 0);
  EXPECT_EQ(SetFilePos(file, 7), 7);
  EXPECT_EQ(GetFilePos(file), 7);
  FileClose(file);
}

TEST_F(Position, WritingGoesOnBeyondTwoGibibytes) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  ASSERT_EQ(setfpos(handle, 0x7FFFFFF0), 0x7FFFFFF0);
  ASSERT_EQ(putline(handle, std::string(5000, 'x').c_str()), 1);
  EXPECT_EQ(getfpos(handle), -1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(std::filesystem::file_size(OutPath()), 0x7FFFFFF0ULL + 5000);
}

}  // namespace
}  // namespace qob::testing
