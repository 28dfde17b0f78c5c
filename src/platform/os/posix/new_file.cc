#include "platform/os/posix/new_file.h"

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/file.h"
#include "platform/os/path.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

constexpr int kNameTries = 1000;
constexpr std::size_t kCopyStep = std::size_t{1} << 30;

std::atomic<unsigned> g_counter{0};

// With its separator; "" for the working directory.
std::string_view DirectoryPart(std::string_view native) {
  const std::size_t at = LastSeparator(native);
  return at == std::string_view::npos ? std::string_view() : native.substr(0, at + 1);
}

// Errors that say "not between these two files", not "this copy failed".
bool MustCopyByHand(int error) {
  return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP ||
         error == EBADF || error == ETXTBSY;
}

}  // namespace

NewFile::~NewFile() {
  if (fd_ >= 0) close(fd_);
  if (standing_) unlink(name_);
}

int NewFile::CreateBeside(std::string_view native, mode_t mode) {
  const std::string_view directory = DirectoryPart(native);
  for (int round = 0; round < kNameTries; ++round) {
    const int length =
        std::snprintf(name_, sizeof name_, "%.*s.qob-%d-%u.new", static_cast<int>(directory.size()),
                      directory.data(), static_cast<int>(getpid()), ++g_counter);
    if (length >= static_cast<int>(sizeof name_)) return ENAMETOOLONG;
    fd_ = System(Call::kOpen, name_, [&] {
      return open(name_, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW, mode);
    });
    if (fd_ >= 0) {
      standing_ = true;
      return 0;
    }
    if (errno != EEXIST) return errno;
  }
  return EEXIST;
}

int NewFile::Write(std::string_view bytes) {
  const Result<std::size_t> written = WriteFile(fd_, bytes.data(), bytes.size());
  if (!written) return written.error;
  return written.value == bytes.size() ? 0 : ENOSPC;
}

int NewFile::CopyByHand(int source) {
  char block[64 * 1024];
  for (;;) {
    const Result<std::size_t> got = ReadFile(source, block, sizeof block);
    if (!got) return got.error;
    if (got.value == 0) return 0;
    if (const int error = Write({block, got.value}); error != 0) return error;
  }
}

int NewFile::CopyFrom(int source) {
  for (;;) {
    const ssize_t count = System(Call::kWrite, name_, [&] {
      return copy_file_range(source, nullptr, fd_, nullptr, kCopyStep, 0);
    });
    // Some file systems answer 0 at once for files whose bytes are made up on reading.
    if (count == 0) return CopyByHand(source);
    if (count < 0) return MustCopyByHand(errno) ? CopyByHand(source) : errno;
  }
}

int NewFile::SetMode(mode_t mode) {
  return Outcome(Call::kMode, name_, [&] { return fchmod(fd_, mode); });
}

int NewFile::SetOwner(uid_t user, gid_t group) {
  return Outcome(Call::kMode, name_, [&] { return fchown(fd_, user, group); });
}

int NewFile::Flush() {
  return Outcome(Call::kFlush, name_, [&] { return fsync(fd_); });
}

int NewFile::Close() { return CloseFile(std::exchange(fd_, -1)); }

int NewFile::Replace(const NativeName& place) {
  const int error = Outcome(Call::kRename, name_, [&] { return rename(name_, place.c_str()); });
  if (error == 0) standing_ = false;
  return error;
}

int NewFile::BecomeNew(const NativeName& place) {
  const int error = Outcome(Call::kRename, name_, [&] { return link(name_, place.c_str()); });
  // File systems without hard links have the exclusive rename.
  if (error != EPERM && error != EOPNOTSUPP && error != ENOSYS && error != EMLINK) return error;
  const int renamed = Outcome(Call::kRename, name_, [&] {
    return renameat2(AT_FDCWD, name_, AT_FDCWD, place.c_str(), RENAME_NOREPLACE);
  });
  if (renamed == 0) standing_ = false;
  return renamed;
}

int FlushDirectoryOf(std::string_view native) {
  const std::string_view directory = DirectoryPart(native);
  const NativeName name(directory.empty() ? std::string_view(".") : directory);
  const int fd = System(Call::kOpen, name.view(),
                        [&] { return open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (fd < 0) return errno;
  const int error = Outcome(Call::kFlush, name.view(), [&] { return fsync(fd); });
  close(fd);
  // Some file systems cannot flush a directory; there is nothing more to do on those.
  return error == EINVAL || error == EROFS ? 0 : error;
}

}  // namespace qob::os
