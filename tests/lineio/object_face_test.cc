// The object face: the record's fields, the messages that differ from the handle face, null
// objects.
#include <cerrno>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

class ObjectFace : public ::testing::Test {
 protected:
  std::string OutPath() const { return spool_.path("out"); }

  TempSpool spool_;
  CapturedLog log_;
};

TEST_F(ObjectFace, ShowsItsFields) {
  const std::string path = spool_.File("in", "ab\ncd");
  QOB_FILE* file = FileOpen(path.c_str(), 0, 7);
  ASSERT_NE(file, nullptr);
  EXPECT_GE(file->handle, 3);
  EXPECT_STREQ(file->name, path.c_str());
  EXPECT_NE(file->name, path.c_str());
  EXPECT_EQ(file->position, 0U);
  EXPECT_EQ(file->access, 0x80000000U);
  EXPECT_EQ(file->buffered, 7);
  EXPECT_EQ(file->cursor, nullptr);
  char* line = nullptr;
  EXPECT_EQ(GetLine(file, &line), 1);
  EXPECT_EQ(line, file->lineBuffer);
  EXPECT_STREQ(line, "ab\n");
  EXPECT_EQ(file->count, 5);
  EXPECT_EQ(file->cursor, file->ioBuffer + 3);
  EXPECT_EQ(file->position, 3U);
  EXPECT_EQ(FileClose(file), 1);
}

TEST_F(ObjectFace, WritesWithTheFileFirst) {
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->access, 0x40000000U);
  EXPECT_EQ(OutCh(file, 'a'), 1);
  EXPECT_EQ(PutLine(file, "bc"), 1);
  EXPECT_EQ(file->count, 4093);
  EXPECT_EQ(GetFilePos(file), 3);
  EXPECT_EQ(FileClose(file), 1);
  EXPECT_EQ(TempSpool::Read(OutPath()), "abc");
}

TEST_F(ObjectFace, StepsBackAndSeeks) {
  QOB_FILE* file = FileOpen(spool_.File("in", "xyz").c_str(), 0, 1);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(InCh(file), 'x');
  UninCh(file);
  EXPECT_EQ(InCh(file), 'x');
  EXPECT_EQ(SetFilePos(file, 2), 2);
  EXPECT_EQ(InCh(file), 'z');
  EXPECT_EQ(InCh(file), -1);
  EXPECT_EQ(GetFilePos(file), 3);
  FileClose(file);
}

TEST_F(ObjectFace, NullObjectsGiveMinusOne) {
  char* line = nullptr;
  EXPECT_EQ(GetLine(nullptr, &line), -1);
  EXPECT_EQ(PutLine(nullptr, "a"), -1);
  EXPECT_EQ(InCh(nullptr), -1);
  UninCh(nullptr);
  EXPECT_EQ(OutCh(nullptr, 'a'), -1);
  EXPECT_EQ(GetFilePos(nullptr), -1);
  EXPECT_EQ(SetFilePos(nullptr, 0), -1);
  EXPECT_EQ(FileClose(nullptr), 1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ObjectFace, NullTextAndNullLineGiveMinusOne) {
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(PutLine(file, nullptr), -1);
  EXPECT_EQ(GetLine(file, nullptr), -1);
  EXPECT_TRUE(log_.lines().empty());
  FileClose(file);
}

TEST_F(ObjectFace, FailuresHaveTheirOwnTexts) {
  EXPECT_EQ(FileOpen(spool_.path("missing").c_str(), 0, 1), nullptr);
  EXPECT_EQ(FileOpen(nullptr, 0, 1), nullptr);
  EXPECT_EQ(FileOpen("", 0, 1), nullptr);
  EXPECT_EQ(FileCreate((spool_.path("no") + "/such").c_str(), 0, 1), nullptr);
  EXPECT_EQ(FileCreate(nullptr, 0, 1), nullptr);
  EXPECT_EQ(log_.texts(), Texts{"CreateFile failed."});
}

TEST_F(ObjectFace, TracesLikeTheHandleFace) {
  spool_.SetIni("[Debug]\nLogFileIO=TRUE\n");
  QOB_FILE* file = FileCreate(OutPath().c_str(), 0, 1);
  const std::string number = std::to_string(file->handle);
  FileClose(file);
  file = FileOpen(OutPath().c_str(), 0, 1);
  const std::string second = std::to_string(file->handle);
  FileClose(file);
  EXPECT_EQ(log_.texts(), (Texts{"filecreate: " + OutPath() + ", FileHandle #" + number,
                                 "fileclose: FileHandle #" + number,
                                 "fileopen: " + OutPath() + ", FileHandle #" + second,
                                 "fileclose: FileHandle #" + second}));
}

}  // namespace
}  // namespace qob::testing
