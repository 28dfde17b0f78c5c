// Every text as it stands in operators' logs, and what unknown numbers give.
#include <qob3xapi/errors.h>

#include <cstdint>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

struct Row {
  int code;
  const char* text;
};

const Row kRecordManager[] = {
    {0, "Btrieve database operation is successful."},
    {2, "I/O error occurred during database operation."},
    {3, "The Btrieve database file is not open."},
    {4, "[Reason] No such a record is found in the database."},
    {5, "Record already exist"},
    {11, "The specified filename is invalid."},
    {12, "Btrieve cannot find the specified file."},
    {17, "The application encountered a close error."},
    {18, "The disk is full."},
    {19, "The application encoutered an unrecoverable error."},
    {20, "The Record Manager or Requester is inactive.  Files may be corrupted."},
    {25, "The application cannot create the specified file."},
    {30, "The file specified is not a Btrieve file."},
    {34, "The specified extension name is invalid."},
    {35, "The application encountered a directory error."},
    {40, "The file access request exceeds the maximum number of files allowed."},
    {41, "Btrieve does not allow the attempted operation."},
    {46, "Access to the requested file is denied."},
    {59, "The specified file already exists."},
    {66, "The maximum number of open databases has been exceeded."},
    {78, "Btrieve detected a deadlock condition."},
    {79, "A programming error occurred."},
    {80, "Btrieve encountered a record-level conflict."},
    {81, "Btrieve encountered a lock error."},
    {82, "Btrieve lost positioning."},
    {83, "Btrieve attempted to read a record outside the transaction."},
    {84, "The record or page is locked."},
    {85, "The file is locked."},
    {86, "The file table is full."},
    {87, "The handle table is full."},
    {92, "The transaction table is full."},
    {96, "A communications environmant error occurred."},
    {100, "No cache buffers are available."},
    {101, "Insufficient operating system memory is available."},
    {102, "Insufficient stack space is available."},
    {1001, "The lock parameter is out of range."},
    {1002, "A memory allocation error occurred."},
    {1010, "An error occurred during the access of the transaction control file."},
    {1011, "The compression buffer parameter is out of range."},
    {1013, "The task list is full."},
    {1014, "Stop warning. The application still has files or transactions active."},
    {1016, "Btrieve is already initialized."},
    {1017, "Btrieve requester is unable to find the resource file WBTRVRES.DLL."},
    {1018,
     "The application attempted to call Btrieve (either BTRCALL or BTRCALLID) from a Btrieve "
     "callback function."},
};

const Row kProgramStart[] = {
    {0, "System was out of memory, executable file was corrupt, or relocations were invalid."},
    {2, "File was not found."},
    {3, "Path was not found."},
    {5,
     "Attempt was made to dynamically link to a task, or there was a sharing or network-protection "
     "error."},
    {6, "Library required separate data segments for each task."},
    {8, "There was insufficient memory to start the application."},
    {10, "Windows version was incorrect."},
    {11,
     "Executable file was invalid. Either it was not a Windows application or there was an error "
     "in the .EXE image."},
    {12, "Application was designed for a different operating system."},
    {13, "Application was designed for MS-DOS 4.0."},
    {14, "Type of executable file was unknown."},
    {15,
     "Attempt was made to load a real-mode application (developed for an earlier version of "
     "Windows)."},
    {16,
     "Attempt was made to load a second instance of an executable file containing multiple data "
     "segments that were not marked read-only."},
    {19,
     "Attempt was made to load a compressed executable file. The file must be decompressed before "
     "it can be loaded."},
    {20,
     "Dynamic-link library (DLL) file was invalid. One of the DLLs required to run this "
     "application was corrupt."},
    {21, "Application requires Microsoft Windows 32-bit extensions."},
};

TEST(RecordManagerTexts, AreKeptWithTheirMisspellings) {
  for (const Row& row : kRecordManager) EXPECT_STREQ(ShowBtrError(row.code), row.text) << row.code;
}

TEST(RecordManagerTexts, AnyOtherNumberGetsTheGeneralText) {
  EXPECT_STREQ(ShowBtrError(9), "Btrieve database message : #9");
  EXPECT_STREQ(ShowBtrError(-1), "Btrieve database message : #-1");
  EXPECT_STREQ(ShowBtrError(INT32_MIN), "Btrieve database message : #-2147483648");
  std::set<int> known;
  for (const Row& row : kRecordManager) known.insert(row.code);
  for (int code = -10; code < 1200; ++code) {
    if (known.count(code) != 0) continue;
    EXPECT_EQ(std::string(ShowBtrError(code)),
              "Btrieve database message : #" + std::to_string(code));
  }
}

TEST(ProgramStartTexts, AreKept) {
  for (const Row& row : kProgramStart) {
    EXPECT_STREQ(QOBWinExecError(static_cast<std::uint32_t>(row.code)), row.text) << row.code;
  }
}

TEST(ProgramStartTexts, AnyOtherNumberGetsTheGeneralText) {
  EXPECT_STREQ(QOBWinExecError(1), "Unknown error code #1");
  EXPECT_STREQ(QOBWinExecError(0xFFFFFFFFU), "Unknown error code #-1");
  std::set<int> known;
  for (const Row& row : kProgramStart) known.insert(row.code);
  for (int code = 0; code < 100; ++code) {
    if (known.count(code) != 0) continue;
    EXPECT_EQ(std::string(QOBWinExecError(static_cast<std::uint32_t>(code))),
              "Unknown error code #" + std::to_string(code));
  }
}

TEST(ErrorTexts, EachCallHasABufferOfItsOwn) {
  const char* first = ShowBtrError(7777);
  const char* second = QOBWinExecError(8888);
  EXPECT_STREQ(first, "Btrieve database message : #7777");
  EXPECT_STREQ(second, "Unknown error code #8888");
}

TEST(ErrorTexts, EachThreadHasABufferOfItsOwn) {
  const auto ask = [](int from, int* wrong) {
    for (int code = from; code < from + 20000; ++code) {
      if (std::string(ShowBtrError(code)) != "Btrieve database message : #" + std::to_string(code))
        ++*wrong;
      const std::string expected = "Unknown error code #" + std::to_string(code);
      if (QOBWinExecError(static_cast<std::uint32_t>(code)) != expected) ++*wrong;
    }
  };
  int wrong[2] = {0, 0};
  std::thread other(ask, 100000, &wrong[0]);
  ask(200000, &wrong[1]);
  other.join();
  EXPECT_EQ(wrong[0] + wrong[1], 0);
}

}  // namespace
