// What the file system below a directory is and what it can do.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <sys/vfs.h>
#include <unistd.h>

#include "platform/os/file_status.h"
#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

struct KnownSystem {
  std::uint32_t number;
  const char* name;
  bool is_volatile;
};

// As <linux/magic.h> numbers them; not all of them stand there.
constexpr KnownSystem kKnown[] = {
    {0x01021994, "tmpfs", true},     {0x858458f6, "ramfs", true},     {0x0000ef53, "ext4", false},
    {0x58465342, "xfs", false},      {0x9123683e, "btrfs", false},    {0x2fc12fc1, "zfs", false},
    {0xf2f52010, "f2fs", false},     {0x794c7630, "overlay", false},  {0x00006969, "nfs", false},
    {0xff534d42, "cifs", false},     {0xfe534d42, "smb2", false},     {0x65735546, "fuse", false},
    {0x01021997, "9p", false},       {0x00004d44, "vfat", false},     {0x2011bab0, "exfat", false},
    {0x73717368, "squashfs", false}, {0x52654973, "reiserfs", false}, {0x3153464a, "jfs", false},
    {0x00c36400, "ceph", false},     {0x0bd00bd0, "lustre", false},   {0x47504653, "gpfs", false},
    {0xca451a4e, "bcachefs", false},
};

Result<std::uint32_t> SystemNumber(std::string_view directory) {
  const NativeName name(directory);
  if (name.error() != 0) return Result<std::uint32_t>::Fail(name.error());
  struct statfs status {};
  const int error =
      Outcome(Call::kStat, name.view(), [&] { return statfs(name.c_str(), &status); });
  if (error != 0) return Result<std::uint32_t>::Fail(error);
  return {static_cast<std::uint32_t>(status.f_type), 0};
}

const KnownSystem* Known(std::uint32_t number) {
  const auto* found = std::find_if(std::begin(kKnown), std::end(kKnown),
                                   [&](const KnownSystem& one) { return one.number == number; });
  return found == std::end(kKnown) ? nullptr : found;
}

// A file made for a moment, open twice.
class TrialFile {
 public:
  ~TrialFile() {
    if (standing_) unlink(name_);
    for (int fd : fd_) {
      if (fd >= 0) close(fd);
    }
  }
  int Make(const NativeName& directory);
  // command: one of the two kinds of lock. 0 or the error.
  int Lock(int which, int command, short type) const;

 private:
  bool standing_ = false;
  int fd_[2] = {-1, -1};
  char name_[PATH_MAX] = "";
};

int TrialFile::Make(const NativeName& directory) {
  static std::atomic<unsigned> counter{0};
  const int length = std::snprintf(name_, sizeof name_, "%s/.qob-%d-%u.try", directory.c_str(),
                                   static_cast<int>(getpid()), ++counter);
  if (length >= static_cast<int>(sizeof name_)) return ENAMETOOLONG;
  for (int which : {0, 1}) {
    const int flags = which == 0 ? O_CREAT | O_EXCL : 0;
    fd_[which] = System(Call::kOpen, name_, [&] {
      return open(name_, flags | O_RDWR | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW, 0600);
    });
    if (fd_[which] < 0) return errno;
    standing_ = true;
  }
  return 0;
}

int TrialFile::Lock(int which, int command, short type) const {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  const int error = Outcome(Call::kLock, name_, [&] { return fcntl(fd_[which], command, &lock); });
  return error == EACCES ? EAGAIN : error;
}

// A lock that does not keep the other out is none.
int MustRefuse(int error) { return error == EAGAIN ? 0 : error == 0 ? ENOLCK : error; }

}  // namespace

std::string FileSystemName(std::string_view directory) {
  const Result<std::uint32_t> number = SystemNumber(directory);
  if (!number) return {};
  const KnownSystem* known = Known(number.value);
  if (known != nullptr) return known->name;
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", number.value);
  return text;
}

bool IsVolatileFileSystem(std::string_view directory) {
  const Result<std::uint32_t> number = SystemNumber(directory);
  const KnownSystem* known = number ? Known(number.value) : nullptr;
  return known != nullptr && known->is_volatile;
}

int TryLocks(std::string_view directory) {
  const NativeName name(directory);
  if (name.error() != 0) return name.error();
  TrialFile file;
  int error = file.Make(name);
  if (error == 0) error = file.Lock(0, F_OFD_SETLK, F_WRLCK);
  if (error == 0) error = MustRefuse(file.Lock(1, F_OFD_SETLK, F_RDLCK));
  // The two kinds exclude each other, so one process can try both.
  if (error == 0) error = MustRefuse(file.Lock(1, F_SETLK, F_WRLCK));
  if (error == 0) error = file.Lock(0, F_OFD_SETLK, F_UNLCK);
  if (error == 0) error = file.Lock(1, F_SETLK, F_WRLCK);
  if (error == 0) error = MustRefuse(file.Lock(0, F_OFD_SETLK, F_WRLCK));
  return error;
}

}  // namespace qob::os
