#include "platform/os/file_identity.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

thread_local std::uint64_t t_shift = 0;

int StatusWithShift(int fd, struct stat* status) {
  const int result = fstat(fd, status);
  if (result == 0) status->st_dev ^= t_shift << 32;
  return result;
}

int LinkStatus(const NativeName& name, struct stat* status) {
  if (name.error() != 0) return name.error();
  return Outcome(Call::kStat, name.view(), [&] { return lstat(name.c_str(), status); });
}

}  // namespace

int MatchOwnership(std::string_view path, std::string_view like) {
  const NativeName name(path);
  struct stat model {};
  struct stat status {};
  int error = LinkStatus(NativeName(like), &model);
  if (error == 0) error = LinkStatus(name, &status);
  if (error != 0) return error;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (status.st_gid != model.st_gid) {
    error = Outcome(Call::kMode, name.view(), [&] {
      return fchownat(AT_FDCWD, name.c_str(), static_cast<uid_t>(-1), model.st_gid,
                      AT_SYMLINK_NOFOLLOW);
    });
  }
  if (error != 0 || ((status.st_mode ^ model.st_mode) & 0777) == 0) return error;
  return Outcome(Call::kMode, name.view(),
                 [&] { return chmod(name.c_str(), model.st_mode & 0777); });
}

DeviceShift::DeviceShift(std::uint64_t shift) { t_shift = shift; }
DeviceShift::~DeviceShift() { t_shift = 0; }

AnyFunction ShiftedFileStatus() { return reinterpret_cast<AnyFunction>(&StatusWithShift); }

}  // namespace qob::os
