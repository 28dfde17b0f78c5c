// Opening, closing and the pool behind the handle face.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <type_traits>

#include "lineio/lineio_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

// The character comes first in one face and last in the other.
static_assert(std::is_same_v<decltype(&outch), int32_t (*)(int32_t, int32_t)>);
static_assert(std::is_same_v<decltype(&OutCh), int32_t (*)(QOB_FILE*, int32_t)>);
static_assert(std::is_same_v<decltype(&uninch), void (*)(int32_t, int32_t)>);
static_assert(std::is_same_v<decltype(&UninCh), void (*)(QOB_FILE*)>);

using HandleFace = LineIo;

TEST(LineIoPool, StartsTwiceAndEndsTwice) {
  EXPECT_EQ(InitLineIO(), 0);
  EXPECT_EQ(InitLineIO(), 0);
  TerminateLineIO();
  TerminateLineIO();
}

TEST(LineIoPool, RefusesEveryCallBeforeStart) {
  TempSpool spool;
  const std::string file = spool.File("in", "a\n");
  char* line = nullptr;
  EXPECT_EQ(fileopen(file.c_str(), 0, 1), -1);
  EXPECT_EQ(filecreate(file.c_str(), 0, 1), -1);
  EXPECT_EQ(fileclose(3), -1);
  EXPECT_EQ(QOB_getline(3, &line), -1);
  EXPECT_EQ(putline(3, "a"), -1);
  EXPECT_EQ(inch(3), -1);
  EXPECT_EQ(outch('a', 3), -1);
  EXPECT_EQ(setfpos(3, 0), -1);
  EXPECT_EQ(getfpos(3), -1);
  uninch('a', 3);
}

TEST(LineIoPool, EndClosesOpenFilesWithoutFlushing) {
  TempSpool spool;
  const int before = OpenDescriptors();
  ASSERT_EQ(InitLineIO(), 0);
  const int handle = filecreate(spool.path("out").c_str(), 0, 1);
  ASSERT_GE(handle, 3);
  ASSERT_GE(fileopen(spool.File("in", "a\n").c_str(), 0, 1), 3);
  EXPECT_EQ(putline(handle, "pending"), 1);
  TerminateLineIO();
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(TempSpool::Read(spool.path("out")), "");
  EXPECT_EQ(getfpos(handle), -1);
}

TEST_F(HandleFace, CloseTellsAnEmptyPoolFromAnUnknownHandle) {
  EXPECT_EQ(fileclose(3), 1);
  EXPECT_EQ(fileclose(-1), 1);
  const int handle = OpenBytes("a");
  ASSERT_GE(handle, 3);
  EXPECT_EQ(fileclose(handle + 1), 0);
  EXPECT_EQ(fileclose(-1), 0);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(fileclose(handle), 0);
  EXPECT_EQ(fileclose(0x7FFFFFFF), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HandleFace, UnknownHandlesGiveMinusOneWithoutAMessage) {
  const int handle = OpenBytes("a");
  char* line = nullptr;
  for (const int unknown : {-1, -2147483647 - 1, handle + 1, 70000, 0x7FFFFFFF}) {
    EXPECT_EQ(QOB_getline(unknown, &line), -1);
    EXPECT_EQ(putline(unknown, "a"), -1);
    EXPECT_EQ(inch(unknown), -1);
    EXPECT_EQ(outch('a', unknown), -1);
    EXPECT_EQ(setfpos(unknown, 0), -1);
    EXPECT_EQ(getfpos(unknown), -1);
    uninch('a', unknown);
  }
  EXPECT_EQ(QOB_getline(handle, nullptr), -1);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(fileclose(handle), 1);
}

TEST_F(HandleFace, NullAndEmptyPathsFailSilently) {
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(fileopen(path, 0, 1), -1);
    EXPECT_EQ(fileopen(path, 0x40000000, 1), -1);
    EXPECT_EQ(filecreate(path, 0, 1), -1);
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HandleFace, OpenFailureNamesPathAndErrorNumber) {
  const std::string missing = spool_.path("missing");
  EXPECT_EQ(fileopen(missing.c_str(), 0, 1), -1);
  const std::string directory = spool_.root();
  EXPECT_EQ(fileopen(directory.c_str(), 0, 1), -1);
  EXPECT_EQ(log_.texts(),
            (Texts{"CreateFile failed: " + missing + ", error " + std::to_string(ENOENT),
                   "CreateFile failed: " + directory + ", error " + std::to_string(EISDIR)}));
}

TEST_F(HandleFace, OpenFailureKeepsTheNumberOfARefusedShare) {
  const std::string file = spool_.File("in", "a");
  const int writer = fileopen(file.c_str(), 1, 1);
  ASSERT_GE(writer, 3);
  EXPECT_EQ(fileopen(file.c_str(), 0x40000000, 1), -1);
  EXPECT_EQ(log_.texts(),
            (Texts{"CreateFile failed: " + file + ", error " + std::to_string(EBUSY)}));
  EXPECT_EQ(fileclose(writer), 1);
}

TEST_F(HandleFace, LongPathsAreToldWhole) {
  const std::string path = spool_.path(std::string(3000, 'x'));
  EXPECT_EQ(fileopen(path.c_str(), 0, 1), -1);
  ASSERT_EQ(log_.texts().size(), 1u);
  EXPECT_EQ(log_.texts()[0].rfind("CreateFile failed: " + path + ", error ", 0), 0u);
}

TEST_F(HandleFace, CreateFailureSaysOpenFailed) {
  EXPECT_EQ(filecreate((spool_.path("no") + "/such/directory").c_str(), 0, 1), -1);
  EXPECT_EQ(log_.texts(), Texts{"open failed"});
}

TEST_F(HandleFace, CreateDoesNotFollowASymbolicLink) {
  const std::string target = spool_.File("target", "kept");
  ASSERT_EQ(symlink(target.c_str(), OutPath().c_str()), 0);
  EXPECT_EQ(filecreate(OutPath().c_str(), 0, 1), -1);
  EXPECT_EQ(TempSpool::Read(target), "kept");
}

TEST_F(HandleFace, FlagsSelectWriting) {
  const std::string file = spool_.File("in", "abc");
  for (const std::uint32_t flags : {1U, 0x40000000U, 0xC0000000U, 0x40000001U, 3U}) {
    const int handle = fileopen(file.c_str(), flags, 1);
    ASSERT_GE(handle, 3) << flags;
    EXPECT_EQ(putline(handle, "x"), 1) << flags;
    EXPECT_EQ(fileclose(handle), 1);
  }
  EXPECT_EQ(TempSpool::Read(file), "xbc");
  for (const std::uint32_t flags : {0U, 2U, 0x80000000U}) {
    const int handle = fileopen(file.c_str(), flags, 1);
    ASSERT_GE(handle, 3) << flags;
    EXPECT_EQ(inch(handle), 'x') << flags;
    EXPECT_EQ(fileclose(handle), 1);
  }
}

TEST_F(HandleFace, CreateAlwaysWritesWhateverTheFlags) {
  spool_.File("out", "old contents");
  const int handle = filecreate(OutPath().c_str(), 0x80000000U, 1);
  ASSERT_GE(handle, 3);
  EXPECT_EQ(putline(handle, "new"), 1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(Written(), "new");
  struct stat status {};
  ASSERT_EQ(stat(OutPath().c_str(), &status), 0);
  const int fresh = filecreate(spool_.path("fresh").c_str(), 0, 1);
  ASSERT_EQ(stat(spool_.path("fresh").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  fileclose(fresh);
}

TEST_F(HandleFace, TakesEitherSeparator) {
  spool_.File("in", "a\n");
  std::string path = spool_.path("in");
  path[path.rfind('/')] = '\\';
  const int handle = fileopen(path.c_str(), 0, 1);
  ASSERT_GE(handle, 3);
  EXPECT_EQ(inch(handle), 'a');
  fileclose(handle);
}

TEST_F(HandleFace, RefusedCreateKeepsWhatTheOtherProcessWrites) {
  const int handle = filecreate(OutPath().c_str(), 0, 0);
  ASSERT_GE(handle, 3);
  ASSERT_EQ(putline(handle, "precious"), 1);
  EXPECT_EQ(filecreate(OutPath().c_str(), 0, 0), -1);
  const std::string path = OutPath();
  EXPECT_EQ(InChild([&] { return filecreate(path.c_str(), 0, 0) == -1 ? 7 : 1; }), 7);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(Written(), "precious");
}

TEST_F(HandleFace, ReadingSharesWithAWriterOnlyThroughHandles) {
  const int writer = filecreate(OutPath().c_str(), 0, 0);
  ASSERT_GE(writer, 3);
  putline(writer, "seen");
  const auto readers = [&] {
    const int reader = fileopen(OutPath().c_str(), 0, 1);
    const bool handle_reads = reader >= 3 && inch(reader) == 's';
    QOB_FILE* object = FileOpen(OutPath().c_str(), 0, 1);
    fileclose(reader);
    return handle_reads && object == nullptr;
  };
  EXPECT_TRUE(readers());
  EXPECT_EQ(InChild([&] { return readers() ? 7 : 1; }), 7);
  fileclose(writer);
  // A reader that shares reading alone keeps writers out, one that shares both does not.
  QOB_FILE* object = FileOpen(OutPath().c_str(), 0, 1);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(fileopen(OutPath().c_str(), 1, 1), -1);
  FileClose(object);
  const int reader = fileopen(OutPath().c_str(), 0, 1);
  const int second = fileopen(OutPath().c_str(), 1, 1);
  EXPECT_GE(second, 3);
  fileclose(reader);
  fileclose(second);
}

TEST_F(HandleFace, HandlesAreNeverStandardStreams) {
  const std::string file = spool_.File("in", "a\n");
  EXPECT_EQ(InChild([&] {
              close(0);
              close(1);
              const int handle = fileopen(file.c_str(), 0, 1);
              return handle >= 3 && inch(handle) == 'a' ? 7 : 1;
            }),
            7);
}

TEST_F(HandleFace, AFifoNeedsNoShareLock) {
  const std::string fifo = spool_.path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int keep = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(keep, 0);
  const int reader = fileopen(fifo.c_str(), 0, 1);
  ASSERT_GE(reader, 3);
  const std::string block(4096, 'f');
  ASSERT_EQ(write(keep, block.data(), block.size()), 4096);
  EXPECT_EQ(inch(reader), 'f');
  EXPECT_EQ(fileclose(reader), 1);
  close(keep);
}

TEST_F(HandleFace, ManyFilesAtOnceEachKeepTheirPlace) {
  std::vector<int> handles;
  for (int i = 0; i < 300; ++i) {
    const std::string text = std::to_string(i) + "\n";
    handles.push_back(fileopen(spool_.File("f" + std::to_string(i), text).c_str(), 0, 1));
    ASSERT_GE(handles.back(), 3);
  }
  for (int i = 299; i >= 0; --i) {
    char* line = nullptr;
    ASSERT_EQ(QOB_getline(handles[static_cast<std::size_t>(i)], &line), 1);
    EXPECT_EQ(std::string(line), std::to_string(i) + "\n");
    EXPECT_EQ(fileclose(handles[static_cast<std::size_t>(i)]), 1);
  }
  EXPECT_EQ(fileclose(handles[0]), 0);
}

TEST_F(HandleFace, TraceIsOnOnlyForTrue) {
  const std::string file = spool_.File("in", "a");
  for (const char* off :
       {"", "[Debug]\n", "[Debug]\nLogFileIO=YES\n", "[Debug]\nLogFileIO=TRUEST\n",
        "[Debug]\nLogFileIO=FALSE\n", "[Debug]\nLogFileIO=\n"}) {
    spool_.SetIni(off);
    const int handle = fileopen(file.c_str(), 0, 1);
    fileclose(handle);
    EXPECT_TRUE(log_.lines().empty()) << off;
  }
  spool_.SetIni("[debug]\nlogfileio = tRuE\n");
  const int reader = fileopen(file.c_str(), 0, 1);
  const int writer = filecreate(OutPath().c_str(), 0, 1);
  fileclose(reader);
  fileclose(writer);
  const std::string in = std::to_string(reader);
  const std::string out = std::to_string(writer);
  EXPECT_EQ(log_.texts(), (Texts{"fileopen: " + file + ", FileHandle #" + in,
                                 "filecreate: " + OutPath() + ", FileHandle #" + out,
                                 "fileclose: FileHandle #" + in, "fileclose: FileHandle #" + out}));
}

}  // namespace
}  // namespace qob::testing
