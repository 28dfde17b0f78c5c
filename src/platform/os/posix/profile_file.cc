#include "platform/os/posix/profile_file.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/file.h"
#include "platform/os/path.h"
#include "platform/os/posix/new_file.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

constexpr char kSystemDirectory[] = "/etc/qob3xapi";
constexpr std::int64_t kSecond = 1000000000;
// File times tick every few milliseconds only; a file this old shows every later write.
constexpr std::int64_t kStillAfter = 2 * kSecond;
constexpr int kLockWaitMs = 30000;
// Settings are for every program of the mail system, whoever wrote the first of them.
constexpr mode_t kNewFileMode = 0644;

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * kSecond + time.tv_nsec;
}

FileState StateFrom(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_size, Nanoseconds(status.st_mtim),
          Nanoseconds(status.st_ctim)};
}

std::int64_t RealTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

}  // namespace

std::string_view ProfileName::Directory(std::string_view file) {
  if (file.empty() || LastSeparator(file) != std::string_view::npos) return {};
  const char* configured = secure_getenv("QOB_CONFIG_DIR");
  return configured == nullptr || configured[0] == '\0' ? kSystemDirectory : configured;
}

Result<FileState> StateOf(const NativeName& name) {
  struct stat status {};
  if (name.error() != 0) return Result<FileState>::Fail(name.error());
  const int error = Outcome(Call::kStat, name.view(), [&] { return stat(name.c_str(), &status); });
  if (error != 0) return Result<FileState>::Fail(error);
  return {StateFrom(status), 0};
}

Result<LoadedFile> LoadFile(const NativeName& name, std::size_t limit) {
  using Loaded = Result<LoadedFile>;
  if (name.error() != 0) return Loaded::Fail(name.error());
  const std::int64_t now = RealTime();
  const FileHandle file(System(Call::kOpen, name.view(), [&] {
    return open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  }));
  if (!file) return Loaded::Fail(errno);
  struct stat status {};
  const int fd = static_cast<int>(file.get());
  const int error = Outcome(Call::kStat, name.view(), [&] { return fstat(fd, &status); });
  if (error != 0) return Loaded::Fail(error);
  if (!S_ISREG(status.st_mode) || status.st_size > static_cast<std::int64_t>(limit)) {
    return Loaded::Fail(EFBIG);
  }
  Loaded loaded;
  loaded.value.state = StateFrom(status);
  loaded.value.still = loaded.value.state.modified_ns < now - kStillAfter &&
                       loaded.value.state.changed_ns < now - kStillAfter;
  std::string& bytes = loaded.value.bytes;
  bytes.resize(static_cast<std::size_t>(status.st_size));
  const Result<std::size_t> got = ReadFile(file.get(), bytes.data(), bytes.size());
  if (!got) return Loaded::Fail(got.error);
  bytes.resize(got.value);
  return loaded;
}

ProfileUpdate::~ProfileUpdate() {
  // Removed while it is held: whoever waits for it finds the name gone and makes a new one.
  if (locked_ != kNoHandle) {
    unlink(lock_);
    CloseFile(locked_);
  }
}

int ProfileUpdate::Resolve(const NativeName& name) {
  const char* resolved = nullptr;
  const int error = Outcome(Call::kStat, name.view(), [&] {
    resolved = realpath(name.c_str(), place_);
    return resolved == nullptr ? -1 : 0;
  });
  if (error != ENOENT) return error;
  struct stat status {};
  // A link that leads nowhere is not written through.
  if (lstat(name.c_str(), &status) == 0) return ENOENT;
  std::snprintf(place_, sizeof place_, "%s", name.c_str());
  return 0;
}

int ProfileUpdate::Begin(const NativeName& name) {
  if (name.error() != 0) return name.error();
  if (const int error = Resolve(name); error != 0) return error;
  const int length = std::snprintf(lock_, sizeof lock_, "%s.lock", place_);
  if (length >= static_cast<int>(sizeof lock_)) return ENAMETOOLONG;
  OpenMode mode;
  mode.access = Access::kReadWrite;
  mode.share = Share::kNone;
  mode.create = Create::kAlways;
  mode.wait_ms = kLockWaitMs;
  const Result<Handle> lock = OpenFile(lock_, mode);
  locked_ = lock.value;
  return lock.error;
}

Result<LoadedFile> ProfileUpdate::Load(std::size_t limit) const {
  Result<LoadedFile> loaded = LoadFile(NativeName(place_), limit);
  if (loaded.error == ENOENT) return {};
  return loaded;
}

int ProfileUpdate::Replace(std::string_view bytes) {
  const NativeName place(place_);
  struct stat old {};
  int error = Outcome(Call::kStat, place.view(), [&] { return stat(place_, &old); });
  if (error != 0 && error != ENOENT) return error;
  const bool stands = error == 0;
  // A file that may not be written is not replaced either.
  if (stands) {
    error = Outcome(Call::kAccess, place.view(),
                    [&] { return faccessat(AT_FDCWD, place_, W_OK, AT_EACCESS); });
    if (error != 0) return error;
  }
  NewFile file;
  error = file.CreateBeside(place.view(), stands ? 0600 : kNewFileMode);
  if (error == 0) error = file.Write(bytes);
  if (error == 0 && stands) error = file.SetOwner(old.st_uid, old.st_gid);
  if (error == 0 && stands) error = file.SetMode(old.st_mode & 07777);
  if (error == 0) error = file.Flush();
  if (error == 0) error = file.Close();
  if (error == 0) error = file.Replace(place);
  if (error == 0) error = FlushDirectoryOf(place.view());
  return error;
}

}  // namespace qob::os
