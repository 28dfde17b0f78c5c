// Share modes are kept with open-file-description locks: they belong to the open file, not to the
// process, so they hold between two opens of one process as well and are not lost when another
// handle of the same file is closed.
//
// An opener that had to wait, and every writer, makes sure that the path still leads to the file it
// locked: its holder may have removed or replaced it before letting go. A reader that did not wait
// needs no such test: reading a file that is replaced at that very moment is the same as having
// opened it just before.
#include "platform/os/file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"
#include "platform/os/process.h"

namespace qob::os {

const int kSharingViolation = EBUSY;
const int kNotFound = ENOENT;
const int kExists = EEXIST;

namespace {

constexpr off_t kByteA = 0x7FFFFFFFFFFFFF00;
constexpr off_t kByteB = kByteA + 1;
constexpr int kFirstHandle = 3;
constexpr int kReopenLimit = 1000;
constexpr int kPollMs = 2;
constexpr int kMoved = -1;  // the path leads to another file, or to none
// The system reads ahead this far by itself.
constexpr off_t kReadAhead = 128 * 1024;
constexpr std::size_t kWriteStep = std::size_t{1} << 30;

using Clock = std::chrono::steady_clock;

int Descriptor(Handle file) { return static_cast<int>(file); }

bool IsKnown(const OpenMode& mode) {
  if (mode.access == Access::kRead) {
    return mode.share != Share::kNone && mode.create == Create::kOpenExisting;
  }
  return mode.share != Share::kReadWrite;
}

bool IsUnsupported(int error) { return error == ENOLCK || error == EOPNOTSUPP || error == EINVAL; }

// One attempt to open: the descriptor is closed at its end unless it is handed out.
class Attempt {
 public:
  Attempt(const NativeName& name, const OpenMode& mode) : name_(name), mode_(mode) {}
  ~Attempt() {
    if (fd_ >= 0) close(fd_);
  }
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  // 0 or the error.
  int Open();
  int Lock(Clock::time_point deadline);
  // 0, kMoved or the error.
  int CheckPath();
  int Finish();
  Handle Release() { return std::exchange(fd_, -1); }

 private:
  int OpenDescriptor(int access);
  int MoveUp();
  int TryLocks(bool wait);
  int SetLock(short type, off_t start, off_t count, bool wait);
  int LockWhole(bool wait);

  const NativeName& name_;
  const OpenMode& mode_;
  int fd_ = -1;
  bool write_only_ = false;
  bool regular_ = true;
  struct stat status_ {};
};

int Attempt::OpenDescriptor(int access) {
  int flags = access | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if (!mode_.through_links || mode_.create != Create::kOpenExisting) flags |= O_NOFOLLOW;
  if (mode_.create != Create::kOpenExisting) flags |= O_CREAT;
  if (mode_.create == Create::kNew) flags |= O_EXCL;
  fd_ = System(Call::kOpen, name_.view(), [&] { return open(name_.c_str(), flags, 0600); });
  return fd_ < 0 ? errno : 0;
}

// 0, 1 and 2 belong to the standard streams, also when they are closed.
int Attempt::MoveUp() {
  const int higher =
      System(Call::kOpen, name_.view(), [&] { return fcntl(fd_, F_DUPFD_CLOEXEC, kFirstHandle); });
  if (higher < 0) return errno;
  close(fd_);
  fd_ = higher;
  return 0;
}

int Attempt::Open() {
  // A read lock needs a descriptor that can read, so writers open for both.
  int error = OpenDescriptor(mode_.access == Access::kRead ? O_RDONLY : O_RDWR);
  if (error == EACCES && mode_.access == Access::kWrite) {
    write_only_ = true;
    error = OpenDescriptor(O_WRONLY);
  }
  if (error != 0) return error;
  if (fd_ < kFirstHandle && (error = MoveUp()) != 0) return error;
  error = Outcome(Call::kStat, name_.view(), [&] { return fstat(fd_, &status_); });
  if (error != 0) return error;
  if (S_ISDIR(status_.st_mode)) return EISDIR;
  regular_ = S_ISREG(status_.st_mode);
  const int kept = (write_only_ ? O_WRONLY : mode_.access == Access::kRead ? O_RDONLY : O_RDWR);
  return Outcome(Call::kMode, name_.view(), [&] { return fcntl(fd_, F_SETFL, kept); });
}

int Attempt::SetLock(short type, off_t start, off_t count, bool wait) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = count;
  const int error = Outcome(Call::kLock, name_.view(),
                            [&] { return fcntl(fd_, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock); });
  return error == EAGAIN || error == EACCES ? kSharingViolation : error;
}

int Attempt::LockWhole(bool wait) {
  const int error = Outcome(Call::kLock, name_.view(),
                            [&] { return flock(fd_, wait ? LOCK_EX : LOCK_EX | LOCK_NB); });
  return error == EWOULDBLOCK ? kSharingViolation : error;
}

int Attempt::TryLocks(bool wait) {
  if (mode_.share == Share::kNone) {
    const int error = SetLock(F_WRLCK, kByteA, 1, wait);
    return IsUnsupported(error) ? LockWhole(wait) : error;
  }
  if (mode_.share == Share::kReadWrite) return SetLock(F_RDLCK, kByteA, 1, wait);
  if (mode_.access == Access::kRead) return SetLock(F_RDLCK, kByteA, 2, wait);
  if (!write_only_) {
    if (const int error = SetLock(F_RDLCK, kByteA, 1, wait); error != 0) return error;
  }
  return SetLock(F_WRLCK, kByteB, 1, wait);
}

int Attempt::Lock(Clock::time_point deadline) {
  if (!regular_) return 0;
  for (;;) {
    const int error = TryLocks(mode_.wait_ms == kWaitForever);
    if (error != kSharingViolation) return IsUnsupported(error) ? 0 : error;
    if (mode_.wait_ms <= 0 || Clock::now() >= deadline) return error;
    SleepMs(kPollMs);
  }
}

int Attempt::CheckPath() {
  if (!regular_ || (mode_.access == Access::kRead && mode_.wait_ms == 0)) return 0;
  struct stat there {};
  const int error = Outcome(Call::kStat, name_.view(), [&] { return stat(name_.c_str(), &there); });
  if (error != 0) return error == ENOENT ? kMoved : error;
  if (there.st_dev != status_.st_dev || there.st_ino != status_.st_ino) return kMoved;
  status_ = there;
  return 0;
}

// What must not happen before the locks are held.
int Attempt::Finish() {
  if (!regular_) return 0;
  if (mode_.create == Create::kAlways && status_.st_size > 0) {
    const int error = Outcome(Call::kWrite, name_.view(), [&] { return ftruncate(fd_, 0); });
    if (error != 0) return error;
  }
  if (mode_.sequential && status_.st_size > kReadAhead) {
    posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
  }
  return 0;
}

}  // namespace

Result<Handle> OpenFile(std::string_view path, const OpenMode& mode) {
  const NativeName name(path);
  if (name.error() != 0) return {kNoHandle, name.error()};
  if (!IsKnown(mode)) return {kNoHandle, EINVAL};
  Clock::time_point deadline{};
  if (mode.wait_ms > 0) deadline = Clock::now() + std::chrono::milliseconds(mode.wait_ms);
  for (int round = 0; round < kReopenLimit; ++round) {
    Attempt attempt(name, mode);
    int error = attempt.Open();
    if (error == 0) error = attempt.Lock(deadline);
    if (error == 0) error = attempt.CheckPath();
    if (error == kMoved) continue;
    if (error == 0) error = attempt.Finish();
    if (error != 0) return {kNoHandle, error};
    return {attempt.Release(), 0};
  }
  return {kNoHandle, kSharingViolation};
}

int CloseFile(Handle file) {
  // The descriptor is gone whatever close says, also after a signal.
  const int fault = Fault(Call::kClose);
  const int error = close(Descriptor(file)) == 0 || errno == EINTR ? 0 : errno;
  return fault != 0 ? fault : error;
}

Result<std::size_t> ReadFile(Handle file, void* to, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = System(Call::kRead, {}, [&] {
      return read(Descriptor(file), static_cast<char*>(to) + done, size - done);
    });
    if (count < 0) return {done, errno};
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return {done, 0};
}

Result<std::size_t> ReadFileAt(Handle file, void* to, std::size_t size, std::int64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = System(Call::kRead, {}, [&] {
      return pread(Descriptor(file), static_cast<char*>(to) + done, size - done,
                   offset + static_cast<off_t>(done));
    });
    if (count < 0) return {done, errno};
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return {done, 0};
}

namespace {

// write_some(from, size) is one system call. A step that comes back short is tried once more for
// its rest.
template <class WriteSome>
Result<std::size_t> WriteWith(std::size_t size, WriteSome&& write_some) {
  std::size_t done = 0;
  bool was_short = false;
  while (done < size) {
    const std::size_t step = std::min(size - done, kWriteStep);
    const ssize_t count = System(Call::kWrite, {}, [&] { return write_some(done, step); });
    if (count < 0) return {done, errno};
    done += static_cast<std::size_t>(count);
    if (static_cast<std::size_t>(count) < step) {
      if (was_short) break;
      was_short = true;
    }
  }
  return {done, 0};
}

}  // namespace

Result<std::size_t> WriteFile(Handle file, const void* from, std::size_t size) {
  return WriteWith(size, [&](std::size_t done, std::size_t step) {
    return write(Descriptor(file), static_cast<const char*>(from) + done, step);
  });
}

Result<std::size_t> WriteFileAt(Handle file, const void* from, std::size_t size,
                                std::int64_t offset) {
  return WriteWith(size, [&](std::size_t done, std::size_t step) {
    return pwrite(Descriptor(file), static_cast<const char*>(from) + done, step,
                  offset + static_cast<off_t>(done));
  });
}

bool WriteAll(Handle file, const void* from, std::size_t size) {
  const Result<std::size_t> written = WriteFile(file, from, size);
  return written && written.value == size;
}

Result<std::int64_t> SeekFile(Handle file, std::int64_t offset, From from) {
  const int whence = from == From::kStart ? SEEK_SET : from == From::kCurrent ? SEEK_CUR : SEEK_END;
  const off_t position =
      System(Call::kSeek, {}, [&] { return lseek(Descriptor(file), offset, whence); });
  if (position < 0) return Result<std::int64_t>::Fail(errno);
  return {position, 0};
}

Result<std::int64_t> FileSize(Handle file) {
  struct stat status {};
  const int error = Outcome(Call::kStat, {}, [&] { return fstat(Descriptor(file), &status); });
  if (error != 0) return Result<std::int64_t>::Fail(error);
  return {status.st_size, 0};
}

int CutFile(Handle file, std::int64_t size) {
  return Outcome(Call::kWrite, {}, [&] { return ftruncate(Descriptor(file), size); });
}

int FlushFile(Handle file) {
  return Outcome(Call::kFlush, {}, [&] { return fsync(Descriptor(file)); });
}

}  // namespace qob::os
