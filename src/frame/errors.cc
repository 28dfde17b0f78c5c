// Error numbers as English sentences. The texts are what operators search their logs for:
// misspellings, the double blank of code 20 and the prefix of code 4 belong to them, and codes
// without a row have no text of their own.
#include <qob3xapi/errors.h>

#include <array>
#include <cstdio>
#include <span>

namespace {

template <class Code>
struct Row {
  Code code;
  const char* text;
};

// Sorted by code.
constexpr Row<int32_t> kRecordManagerTexts[] = {
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

constexpr Row<uint32_t> kProgramStartTexts[] = {
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

template <class Code>
const char* Find(std::span<const Row<Code>> rows, Code code) {
  for (const Row<Code>& row : rows) {
    if (row.code == code) return row.text;
  }
  return nullptr;
}

using Buffer = std::array<char, 64>;
thread_local Buffer record_manager_text;
thread_local Buffer program_start_text;

const char* Format(Buffer& buffer, const char* before, int32_t code) {
  std::snprintf(buffer.data(), buffer.size(), "%s#%d", before, code);
  return buffer.data();
}

}  // namespace

extern "C" {

QOBAPI const char* ShowBtrError(int32_t code) {
  const char* text = Find<int32_t>(kRecordManagerTexts, code);
  return text != nullptr ? text : Format(record_manager_text, "Btrieve database message : ", code);
}

// The number is printed signed: 0xFFFFFFFF reads #-1.
QOBAPI const char* QOBWinExecError(uint32_t code) {
  const char* text = Find<uint32_t>(kProgramStartTexts, code);
  return text != nullptr
             ? text
             : Format(program_start_text, "Unknown error code ", static_cast<int32_t>(code));
}

}  // extern "C"
