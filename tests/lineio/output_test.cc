// Text and bytes as they are written: the free space, the full block, the close.
#include <fcntl.h>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

using Output = LineIo;

std::string Bytes(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<char>('a' + i % 23));
  return bytes;
}

TEST_F(Output, UnbufferedTextIsOnDiskAtOnce) {
  const int handle = filecreate(OutPath().c_str(), 0, 0);
  EXPECT_EQ(putline(handle, "abc"), 1);
  EXPECT_EQ(Written(), "abc");
  EXPECT_EQ(outch('d' + 256, handle), 1);
  EXPECT_EQ(putline(handle, ""), 1);
  EXPECT_EQ(Written(), "abcd");
  EXPECT_EQ(getfpos(handle), 4);
}

TEST_F(Output, NoLineEndIsAdded) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  putline(handle, "a");
  putline(handle, "b\r\n");
  fileclose(handle);
  EXPECT_EQ(Written(), "ab\r\n");
}

TEST_F(Output, TextOfExactlyTheFreeSpaceGoesOutAndLeavesAnEmptyBuffer) {
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  ASSERT_EQ(PutLine(file, Bytes(96).c_str()), 1);
  EXPECT_EQ(file->count, 4000);
  EXPECT_EQ(Written(), "");
  ASSERT_EQ(PutLine(file, Bytes(3999).c_str()), 1);
  EXPECT_EQ(file->count, 1);
  EXPECT_EQ(Written(), "");
  ASSERT_EQ(PutLine(file, "!"), 1);
  EXPECT_EQ(file->count, 4096);
  EXPECT_EQ(file->cursor, file->ioBuffer);
  EXPECT_EQ(file->flushedPosition, 4096U);
  EXPECT_EQ(GetFilePos(file), 4096);
  EXPECT_EQ(Written(), Bytes(96) + Bytes(3999) + "!");
  FileClose(file);
  EXPECT_EQ(Written(), Bytes(96) + Bytes(3999) + "!");
}

TEST_F(Output, LongTextGoesOutInWholeBlocks) {
  const std::string text = Bytes(3 * 4096 + 10);
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  ASSERT_EQ(PutLine(file, "0123456789"), 1);
  ASSERT_EQ(PutLine(file, text.c_str()), 1);
  EXPECT_EQ(file->flushedPosition, 4096U);
  EXPECT_EQ(GetFilePos(file), 3 * 4096 + 20);
  EXPECT_EQ(file->count, 4096 - 20);
  EXPECT_EQ(Written().size(), 3U * 4096);
  FileClose(file);
  EXPECT_EQ(Written(), "0123456789" + text);
}

TEST_F(Output, CloseFlushesOnlyForFlagOne) {
  const int one = filecreate(OutPath().c_str(), 0, 1);
  putline(one, "kept");
  fileclose(one);
  EXPECT_EQ(Written(), "kept");
  const int two = filecreate(OutPath().c_str(), 0, 2);
  putline(two, (Bytes(4096) + "tail").c_str());
  fileclose(two);
  EXPECT_EQ(Written(), Bytes(4096));
  const int negative = filecreate(OutPath().c_str(), 0, -1);
  outch('x', negative);
  fileclose(negative);
  EXPECT_EQ(Written(), "");
}

TEST_F(Output, BytesCountAFlushedBlockTwice) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(outch(i % 256, handle), 1);
  EXPECT_EQ(getfpos(handle), 4096);
  EXPECT_EQ(Written(), "");
  ASSERT_EQ(outch('x', handle), 1);
  EXPECT_EQ(getfpos(handle), 8193);
  EXPECT_EQ(Written().size(), 4096U);
  fileclose(handle);
  EXPECT_EQ(Written().size(), 4097U);
  EXPECT_EQ(Written().back(), 'x');
}

TEST_F(Output, ATextFlushMendsThePositionThatBytesCountedTwice) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  for (int i = 0; i < 4097; ++i) ASSERT_EQ(outch('a', handle), 1);
  ASSERT_EQ(getfpos(handle), 8193);
  ASSERT_EQ(putline(handle, "short"), 1);
  EXPECT_EQ(getfpos(handle), 8198);
  ASSERT_EQ(putline(handle, Bytes(4096).c_str()), 1);
  EXPECT_EQ(getfpos(handle), 4097 + 5 + 4096);
  fileclose(handle);
  EXPECT_EQ(Written(), std::string(4097, 'a') + "short" + Bytes(4096));
}

TEST_F(Output, AnExactFillThenAByteStartsTheBlockAnew) {
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  ASSERT_EQ(PutLine(file, Bytes(4096).c_str()), 1);
  ASSERT_EQ(OutCh(file, 'x'), 1);
  EXPECT_EQ(GetFilePos(file), 4097);
  FileClose(file);
  EXPECT_EQ(Written(), Bytes(4096) + "x");
}

TEST_F(Output, SeekingDiscardsWhatIsNotWritten) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  putline(handle, "lost");
  EXPECT_EQ(setfpos(handle, 2), 2);
  EXPECT_EQ(getfpos(handle), 2);
  putline(handle, "kept");
  fileclose(handle);
  EXPECT_EQ(Written(), std::string("\0\0kept", 6));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Output, AReaderCannotBeWritten) {
  const int handle = OpenBytes("abc");
  EXPECT_EQ(putline(handle, "x"), -1);
  EXPECT_EQ(outch('x', handle), -1);
  EXPECT_EQ(inch(handle), 'a');
  EXPECT_EQ(putline(handle, nullptr), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Output, AFullDiskFailsTheWriteThatMeetsIt) {
  const int handle = fileopen("/dev/full", 1, 1);
  ASSERT_GE(handle, 3);
  EXPECT_EQ(putline(handle, "fits the buffer"), 1);
  EXPECT_EQ(putline(handle, Bytes(4096).c_str()), -1);
  EXPECT_EQ(fileclose(handle), 1);
  const int bytes = fileopen("/dev/full", 1, 1);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(outch('a', bytes), 1);
  EXPECT_EQ(outch('a', bytes), -1);
  EXPECT_EQ(fileclose(bytes), 1);
  const int direct = fileopen("/dev/full", 1, 0);
  EXPECT_EQ(putline(direct, "a"), -1);
  EXPECT_EQ(outch('a', direct), -1);
  EXPECT_EQ(fileclose(direct), 1);
  EXPECT_EQ(log_.texts(), (Texts{"putline: WriteFile failed.", "fileclose: WriteFile failed.",
                                 "outch: WriteFile failed.", "fileclose: WriteFile failed."}));
}

}  // namespace
}  // namespace qob::testing
