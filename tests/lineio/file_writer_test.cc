// The library's own writer.
#include "lineio/file_writer.h"

#include <sys/stat.h>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

class FileWriterTest : public ::testing::Test {
 protected:
  std::string OutPath() const { return spool_.path("out"); }
  std::string Written() const { return TempSpool::Read(OutPath()); }

  TempSpool spool_;
  CapturedLog log_;
};

TEST_F(FileWriterTest, WritesPiecesOfAnySize) {
  std::string expected;
  FileWriter writer;
  ASSERT_TRUE(writer.Create(OutPath().c_str()));
  for (std::size_t size :
       {std::size_t{1}, std::size_t{0}, FileWriter::kBufferSize - 2, std::size_t{1}, std::size_t{1},
        FileWriter::kBufferSize, 3 * FileWriter::kBufferSize + 5, std::size_t{7}}) {
    const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
    ASSERT_TRUE(writer.Write(piece));
    expected += piece;
  }
  ASSERT_TRUE(writer.Write(std::string_view("\0\n", 2)));
  ASSERT_TRUE(writer.Put('!'));
  expected += std::string("\0\n!", 3);
  EXPECT_TRUE(writer.Close());
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(Written(), expected);
}

TEST_F(FileWriterTest, RoomIsFilledInPlace) {
  FileWriter writer;
  ASSERT_TRUE(writer.Create(OutPath().c_str()));
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    char* room = writer.Reserve(96);
    ASSERT_NE(room, nullptr);
    const std::size_t used = static_cast<std::size_t>(i % 97);
    std::memset(room, 'a' + i % 26, 96);
    writer.Advance(used);
    expected.append(used, static_cast<char>('a' + i % 26));
  }
  char* whole = writer.Reserve(FileWriter::kBufferSize);
  ASSERT_NE(whole, nullptr);
  std::memset(whole, '*', FileWriter::kBufferSize);
  writer.Advance(FileWriter::kBufferSize);
  expected.append(FileWriter::kBufferSize, '*');
  ASSERT_TRUE(writer.Flush());
  EXPECT_EQ(Written(), expected);
}

TEST_F(FileWriterTest, UnclosedLosesItsBuffer) {
  {
    FileWriter writer;
    ASSERT_TRUE(writer.Create(OutPath().c_str()));
    writer.Write("lost");
  }
  EXPECT_EQ(Written(), "");
}

TEST_F(FileWriterTest, CreateFailsSilentlyUnlessAsked) {
  const std::string bad = spool_.path("no") + "/such";
  FileWriter writer;
  EXPECT_FALSE(writer.Create(bad.c_str()));
  EXPECT_FALSE(writer.Create(nullptr));
  EXPECT_FALSE(writer.Create(""));
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_FALSE(writer.Create(bad.c_str(), true));
  EXPECT_EQ(log_.texts(), Texts{"open failed"});
}

TEST_F(FileWriterTest, AFailureIsKeptUntilClose) {
  FileWriter writer;
  ASSERT_TRUE(writer.Create("/dev/full", true));
  EXPECT_TRUE(writer.Write("buffered"));
  EXPECT_FALSE(writer.Flush());
  EXPECT_TRUE(writer.failed());
  EXPECT_FALSE(writer.Write("x"));
  EXPECT_FALSE(writer.Put('x'));
  EXPECT_EQ(writer.Reserve(1), nullptr);
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(log_.texts(), Texts{"putline: WriteFile failed."});
  log_.Clear();
  FileWriter late;
  ASSERT_TRUE(late.Create("/dev/full", true));
  EXPECT_TRUE(late.Write("buffered"));
  EXPECT_FALSE(late.Close());
  EXPECT_EQ(log_.texts(), Texts{"fileclose: WriteFile failed."});
}

TEST_F(FileWriterTest, AnAttachedHandleStaysTheCallers) {
  const os::Result<os::Handle> opened = os::OpenFile(
      OutPath(),
      {.access = os::Access::kWrite, .share = os::Share::kRead, .create = os::Create::kAlways});
  ASSERT_TRUE(opened);
  {
    FileWriter writer;
    writer.Attach(opened.value);
    EXPECT_TRUE(writer.Write("abc"));
    EXPECT_TRUE(writer.Close());
  }
  EXPECT_TRUE(os::WriteAll(opened.value, "d", 1));
  EXPECT_EQ(os::CloseFile(opened.value), 0);
  EXPECT_EQ(Written(), "abcd");
}

}  // namespace
}  // namespace qob::testing
