#include "platform/os/byte_locks.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"
#include "platform/os/process.h"

namespace qob::os {
namespace {

constexpr int kFirstDescriptor = 3;

// -1 and errno on failure.
int OpenDescriptor(const NativeName& name, int access) {
  const int flags = access | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;
  const int fd = System(Call::kOpen, name.view(), [&] { return open(name.c_str(), flags); });
  if (fd < 0 || fd >= kFirstDescriptor) return fd;
  const int higher = System(Call::kOpen, name.view(),
                            [&] { return fcntl(fd, F_DUPFD_CLOEXEC, kFirstDescriptor); });
  const int error = errno;
  close(fd);
  errno = error;
  return higher;
}

}  // namespace

Result<std::unique_ptr<ByteLocks>> ByteLocks::Open(std::string_view path) {
  using Opened = Result<std::unique_ptr<ByteLocks>>;
  const NativeName name(path);
  if (name.error() != 0) return Opened::Fail(name.error());
  std::unique_ptr<ByteLocks> locks(new ByteLocks);
  locks->process_ = ProcessId();
  locks->fd_ = OpenDescriptor(name, O_RDWR);
  locks->may_be_alone_ = locks->fd_ >= 0;
  if (locks->fd_ < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) {
    locks->fd_ = OpenDescriptor(name, O_RDONLY);
  }
  if (locks->fd_ < 0) return Opened::Fail(errno);
  const Result<FileStatus> status = StatusOfOpenFile(locks->fd_);
  if (!status) return Opened::Fail(status.error);
  if (status.value.kind != FileKind::kFile) return Opened::Fail(EINVAL);
  locks->file_ = status.value;
  return {std::move(locks), 0};
}

ByteLocks::~ByteLocks() {
  if (fd_ >= 0 && ProcessId() == process_) close(fd_);
}

int ByteLocks::Lock(short type, std::int64_t byte) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return fcntl(fd_, F_SETLK, &lock);
}

int ByteLocks::Take(std::int64_t byte, Hold hold) {
  const short type = hold == Hold::kAlone ? F_WRLCK : F_RDLCK;
  const int error = Outcome(Call::kLock, {}, [&] { return Lock(type, byte); });
  return error == EAGAIN || error == EACCES ? kSharingViolation : error;
}

// It cannot fail in a way that anybody could mend.
void ByteLocks::GiveUp(std::int64_t byte) { Lock(F_UNLCK, byte); }

Result<std::size_t> ByteLocks::Read(void* to, std::size_t size) const {
  return ReadFileAt(fd_, to, size, 0);
}

}  // namespace qob::os
