#include "platform/os/append.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {

Result<Handle> OpenForAppend(std::string_view path) {
  const NativeName name(path);
  if (name.error() != 0) return {kNoHandle, name.error()};
  int fd = System(Call::kOpen, name.view(), [&] {
    return open(name.c_str(),
                O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                0600);
  });
  if (fd < 0) return {kNoHandle, errno};
  if (fd <= kStandardError) {
    const int higher = System(Call::kOpen, name.view(), [&] {
      return fcntl(fd, F_DUPFD_CLOEXEC, static_cast<int>(kStandardError) + 1);
    });
    const int error = errno;
    close(fd);
    if (higher < 0) return {kNoHandle, error};
    fd = higher;
  }
  return {fd, 0};
}

Result<std::size_t> AppendOnce(Handle file, const void* from, std::size_t size) {
  const ssize_t count =
      System(Call::kWrite, {}, [&] { return write(static_cast<int>(file), from, size); });
  if (count < 0) return Result<std::size_t>::Fail(errno);
  return {static_cast<std::size_t>(count), 0};
}

bool LeadsTo(std::string_view path, Handle file) {
  const NativeName name(path);
  if (name.error() != 0) return false;
  struct stat by_name {};
  struct stat by_handle {};
  return System(Call::kStat, name.view(), [&] { return stat(name.c_str(), &by_name); }) == 0 &&
         System(Call::kStat, {}, [&] { return fstat(static_cast<int>(file), &by_handle); }) == 0 &&
         by_name.st_dev == by_handle.st_dev && by_name.st_ino == by_handle.st_ino;
}

}  // namespace qob::os
