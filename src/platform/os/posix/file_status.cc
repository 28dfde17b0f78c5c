// Status is asked for by name (fstatat), flushes open and close a descriptor: closing one drops
// every record lock that this process holds on that file, so FlushPath is not for store files.
// ShareWithGroup works by name and opens nothing that could drop a lock.
#include "platform/os/file_status.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/os/file.h"
#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

constexpr std::size_t kNameRecordBytes = 1024;
constexpr std::size_t kNameRecordLimit = std::size_t{1} << 20;
constexpr std::int64_t kSecondNs = 1000000000;

std::int64_t Nanoseconds(const timespec& time) { return time.tv_sec * kSecondNs + time.tv_nsec; }

FileStatus ToStatus(const struct stat& from) {
  FileStatus status;
  status.kind = S_ISREG(from.st_mode)   ? FileKind::kFile
                : S_ISDIR(from.st_mode) ? FileKind::kDirectory
                : S_ISLNK(from.st_mode) ? FileKind::kLink
                                        : FileKind::kOther;
  status.size = from.st_size;
  status.modified = from.st_mtim.tv_sec;
  status.changed = Nanoseconds(from.st_ctim);
  status.owner = from.st_uid;
  status.mode = from.st_mode & 07777;
  status.device = from.st_dev;
  status.inode = from.st_ino;
  return status;
}

Result<FileStatus> StatusAt(int directory, const char* name) {
  struct stat status {};
  const int error = Outcome(Call::kStat, name, [&] {
    return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT);
  });
  if (error != 0) return Result<FileStatus>::Fail(error);
  return {ToStatus(status), 0};
}

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// A whole small file of the system's own, which has no size of its own; "" when it cannot be read.
std::string ReadSystemFile(const char* path) {
  const int fd =
      System(Call::kOpen, path, [&] { return open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY); });
  if (fd < 0) return {};
  std::string all;
  std::array<char, 4096> block;
  for (;;) {
    const Result<std::size_t> got = ReadFile(fd, block.data(), block.size());
    if (!got) all.clear();
    if (!got || got.value == 0) break;
    all.append(block.data(), got.value);
  }
  close(fd);
  return all;
}

std::string WithoutLineEnd(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// look(buffer) is one of the getXXX_r calls; its buffer grows as far as it asks.
template <class Look>
int LookUp(Look&& look) {
  std::vector<char> buffer(kNameRecordBytes);
  for (;;) {
    const int error = look(buffer);
    if (error == EINTR) continue;
    if (error != ERANGE || buffer.size() >= kNameRecordLimit) return error;
    buffer.resize(buffer.size() * 2);
  }
}

Result<gid_t> GroupNumber(const std::string& name) {
  group entry{};
  group* found = nullptr;
  const int error = LookUp([&](std::vector<char>& buffer) {
    return getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
  });
  if (error != 0) return Result<gid_t>::Fail(error);
  if (found == nullptr) return Result<gid_t>::Fail(ENOENT);
  return {found->gr_gid, 0};
}

int FlushOpened(const NativeName& name, int flags) {
  if (name.error() != 0) return name.error();
  const int fd = System(Call::kOpen, name.view(), [&] {
    return open(name.c_str(), flags | O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  });
  if (fd < 0) return errno;
  const int error = Outcome(Call::kFlush, name.view(), [&] { return fsync(fd); });
  close(fd);
  return error;
}

}  // namespace

Result<FileStatus> StatusOf(std::string_view path) {
  const NativeName name(path);
  if (name.error() != 0) return Result<FileStatus>::Fail(name.error());
  return StatusAt(AT_FDCWD, name.c_str());
}

Result<FileStatus> StatusOfOpenFile(std::intptr_t file) {
  struct stat status {};
  const int error =
      Outcome(Call::kStat, {}, [&] { return fstat(static_cast<int>(file), &status); });
  if (error != 0) return Result<FileStatus>::Fail(error);
  return {ToStatus(status), 0};
}

// The clock that file systems take their times from.
std::int64_t Moment() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return Nanoseconds(now);
}

bool ShowsLaterChanges(const FileStatus& status, std::int64_t asked) {
  const bool whole_seconds = status.changed % kSecondNs == 0;  // perhaps it keeps no others
  return status.changed < asked - (whole_seconds ? kSecondNs : 0);
}

std::string OwnerName(std::uint32_t owner) {
  passwd entry{};
  passwd* found = nullptr;
  std::string name;
  LookUp([&](std::vector<char>& buffer) {
    const int error = getpwuid_r(owner, &entry, buffer.data(), buffer.size(), &found);
    if (error == 0 && found != nullptr) name = found->pw_name;
    return error;
  });
  return name.empty() ? std::to_string(owner) : name;
}

Result<DirectoryView> DirectoryView::Open(std::string_view path) {
  Result<DirectoryView> view;
  const NativeName name(path);
  if (view.error = name.error(); view.error != 0) return view;
  const int fd = System(Call::kOpen, name.view(),
                        [&] { return open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  view.error = fd < 0 ? errno : 0;
  view.value.handle_ = fd;
  return view;
}

DirectoryView::DirectoryView(DirectoryView&& other) noexcept
    : handle_(std::exchange(other.handle_, -1)) {}

DirectoryView& DirectoryView::operator=(DirectoryView&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

DirectoryView::~DirectoryView() {
  if (handle_ >= 0) close(static_cast<int>(handle_));
}

Result<FileStatus> DirectoryView::Status(const char* name) const {
  // A path would lead out of the directory, and an absolute one would work without any.
  if (handle_ < 0) return Result<FileStatus>::Fail(EBADF);
  if (std::strchr(name, '/') != nullptr) return Result<FileStatus>::Fail(EINVAL);
  return StatusAt(static_cast<int>(handle_), name);
}

int DirectoryView::ForEachName(const std::function<bool(const char* name)>& visit) const {
  if (handle_ < 0) return EBADF;
  // A descriptor of its own: every walk starts at the first name, also two at once.
  const int fd = System(Call::kList, {}, [&] {
    return openat(static_cast<int>(handle_), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  });
  if (fd < 0) return errno;
  const std::unique_ptr<DIR, CloseDirectory> walk(fdopendir(fd));
  if (walk == nullptr) {
    const int error = errno;
    close(fd);
    return error;
  }
  for (;;) {
    const dirent* entry = nullptr;
    const int error = Outcome(Call::kList, {}, [&] {
      errno = 0;
      entry = readdir(walk.get());
      return entry == nullptr && errno != 0 ? -1 : 0;
    });
    if (error != 0 || entry == nullptr) return error;
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !visit(entry->d_name)) return 0;
  }
}

std::int64_t BootTime() {
  const std::string text = ReadSystemFile("/proc/stat");
  if (const std::size_t at = text.find("\nbtime "); at != std::string::npos) {
    return std::strtoll(text.c_str() + at + std::strlen("\nbtime "), nullptr, 10);
  }
  timespec now{};
  timespec running{};
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || clock_gettime(CLOCK_BOOTTIME, &running) != 0) {
    return 0;
  }
  return now.tv_sec - running.tv_sec;
}

std::string BootId() { return WithoutLineEnd(ReadSystemFile("/proc/sys/kernel/random/boot_id")); }

std::string MachineId() { return WithoutLineEnd(ReadSystemFile("/etc/machine-id")); }

int LinkFile(std::string_view from, std::string_view to) {
  const NativeName source(from);
  const NativeName target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  return Outcome(Call::kRename, target.view(),
                 [&] { return link(source.c_str(), target.c_str()); });
}

int FlushPath(std::string_view file) { return FlushOpened(NativeName(file), 0); }

int FlushDirectory(std::string_view directory) {
  const int error = FlushOpened(NativeName(directory), O_DIRECTORY);
  // Some file systems cannot flush a directory; there is nothing more to do on those.
  return error == EINVAL || error == EROFS ? 0 : error;
}

int ShareWithGroup(std::string_view path, const std::string& group) {
  if (group.empty()) return 0;
  const NativeName name(path);
  if (name.error() != 0) return name.error();
  const Result<gid_t> number = GroupNumber(group);
  if (!number) return number.error;
  struct stat status {};
  int error = Outcome(Call::kStat, name.view(), [&] { return lstat(name.c_str(), &status); });
  if (error != 0) return error;
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) return EINVAL;
  if (status.st_gid != number.value) {
    error = Outcome(Call::kMode, name.view(), [&] {
      return fchownat(AT_FDCWD, name.c_str(), static_cast<uid_t>(-1), number.value,
                      AT_SYMLINK_NOFOLLOW);
    });
  }
  const mode_t mode = S_ISDIR(status.st_mode) ? 0750 : 0640;
  if (error != 0 || (status.st_mode & 07777) == mode) return error;
  return Outcome(Call::kMode, name.view(),
                 [&] { return fchmodat(AT_FDCWD, name.c_str(), mode, AT_SYMLINK_NOFOLLOW); });
}

}  // namespace qob::os
