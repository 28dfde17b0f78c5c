// What stands under a name, without opening it and without following a link: an open file of a
// record store must not be opened a second time in the same process.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/os/result.h"

namespace qob::os {

enum class FileKind { kFile, kDirectory, kLink, kOther };

struct FileStatus {
  FileKind kind = FileKind::kOther;
  std::int64_t size = 0;
  std::int64_t modified = 0;  // seconds since 1970
  std::int64_t changed = 0;   // nanoseconds since 1970; of its bytes or of what is told here
  std::uint32_t owner = 0;    // user number
  std::uint32_t mode = 0;     // permission bits
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

Result<FileStatus> StatusOf(std::string_view path);
Result<FileStatus> StatusOfOpenFile(std::intptr_t file);
// Whether any change made after the status was asked for will show in a status asked for later:
// times have a grain, and what changed within the last one may change again unseen. `asked` is
// the Moment() before it was.
bool ShowsLaterChanges(const FileStatus& status, std::int64_t asked);
std::int64_t Moment();
// The owner's name, or the number as text.
std::string OwnerName(std::uint32_t owner);

// One directory, opened once, whose entries are looked at by bare name.
class DirectoryView {
 public:
  static Result<DirectoryView> Open(std::string_view path);
  DirectoryView() = default;
  DirectoryView(DirectoryView&& other) noexcept;
  DirectoryView& operator=(DirectoryView&& other) noexcept;
  ~DirectoryView();

  Result<FileStatus> Status(const char* name) const;
  // Every name but "." and ".."; false from visit stops. 0 or the error.
  int ForEachName(const std::function<bool(const char* name)>& visit) const;

 private:
  std::intptr_t handle_ = -1;
};

// Seconds since 1970 at which the machine started; 0 when it cannot be told.
std::int64_t BootTime();
// The kernel's name for this run of the machine; "" when it has none.
std::string BootId();
// The installed system's own number, which others need not know; "" when it has none.
std::string MachineId();

// What the directory's file system is: "tmpfs", "nfs", "ext4", ... or its number as text.
std::string FileSystemName(std::string_view directory);
// Contents are gone after a power cut.
bool IsVolatileFileSystem(std::string_view directory);
// Locks between processes work there, tried with a file made for that moment. 0 or the error.
int TryLocks(std::string_view directory);

// The name `to` for the same file; kExists leaves what stands there. 0 or the error.
int LinkFile(std::string_view from, std::string_view to);
// On stable storage afterwards. 0 or the error. A failure is final: not to be tried again.
int FlushPath(std::string_view file);
int FlushDirectory(std::string_view directory);
// The group's members may read the file or list the directory. 0 or the error; "" is no group: 0.
int ShareWithGroup(std::string_view path, const std::string& group);

}  // namespace qob::os
