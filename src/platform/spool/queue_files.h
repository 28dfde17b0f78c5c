// What lies in a queue directory, for those who look after it.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/file.h"
#include "platform/os/file_status.h"
#include "platform/os/result.h"

namespace qob::spool {

enum class QueueFileKind { kMessage, kLock, kReason, kOther };

struct QueueFile {
  QueueFileKind kind = QueueFileKind::kOther;
  std::uint32_t id = 0;  // of the first three kinds
  std::string name;
};

// Every name in the directory; names that are not written as the system writes them are kOther.
os::Result<std::vector<QueueFile>> ListQueueFiles(std::string_view directory);

// The same, each with what stands under the name; names that go away meanwhile are passed over. 0
// or the error.
int LookAtQueueFiles(
    std::string_view directory,
    const std::function<void(const QueueFile& file, const os::FileStatus& status)>& visit);
// A name under which files are made before they get their own.
bool IsTemporaryName(std::string_view name);

// A lock that was taken before the machine started last: its holder is gone.
bool IsStaleLock(const os::FileStatus& lock);

// Moves <directory>\<name> to <directory>\corrupt\, under another name when that one is taken
// there, flushes both directories and writes one line about it to "corrupt\report.txt". Nothing is
// ever replaced. 0 or the error; *placed is the new path.
int MoveToCorrupt(std::string_view directory, std::string_view name, std::string_view reason,
                  std::string* placed);
// A text kept there for what had no file: the bytes of a record, for instance.
int SaveToCorrupt(std::string_view directory, std::string_view name, std::string_view bytes,
                  std::string_view reason, std::string* placed);

// The counter of ids. kWrongSize: it stands but is not four bytes long.
enum class CounterState { kGood, kMissing, kWrongSize, kUnreadable };
CounterState LookAtCounter(std::string_view directory, std::uint32_t* value);
// Makes a damaged one anew, with that number, under its exclusive lock; one that has four bytes by
// then stays as it is. 0 or the error.
int RemakeCounter(std::string_view directory, std::uint32_t value);

// A directory as a place for mail.
struct QueuePlace {
  os::FileStatus status;
  bool writable = false;     // by this process
  std::string file_system;   // "ext4", ...
  bool is_volatile = false;  // a power cut takes everything in it
  int lock_error = 0;        // locks between processes do not work; tried only where writable
};
os::Result<QueuePlace> LookAtPlace(std::string_view directory);

// The file under that name, without opening it or following a link.
os::Result<os::FileStatus> LookAtFile(std::string_view path);
bool IsMissing(int error);
std::string OwnerName(const os::FileStatus& file);
std::string ErrorText(int error);
// Seconds since 1970.
std::int64_t Now();

// 0 or the error.
int RemoveQueueFile(std::string_view path);
// Moves a file of a message from one queue directory to another and flushes both. Never replaces:
// what stands there already is an error. 0 or the error.
int MoveQueueFile(std::string_view from_directory, std::string_view to_directory,
                  std::string_view name);

// The turn to repair a queue directory and to take away locks in it that others left: only one
// process has it, until `turn` goes or the process ends. Waits that long for another, then the
// error is one for which IsBusy is true. It is the lock of "repair.turn" there, which stays.
inline constexpr char kTurnFile[] = "repair.turn";
os::Result<os::FileHandle> TakeRepairTurn(std::string_view directory, int wait_ms);
bool IsBusy(int error);

}  // namespace qob::spool
