#include "platform/os/directory.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/ascii.h"
#include "platform/os/path.h"
#include "platform/os/posix/native_name.h"
#include "platform/os/posix/new_file.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

bool MayAccess(const NativeName& name, int mode) {
  return name.error() == 0 && Outcome(Call::kAccess, name.view(), [&] {
                                return faccessat(AT_FDCWD, name.c_str(), mode, AT_EACCESS);
                              }) == 0;
}

int Status(const NativeName& name, struct stat* status) {
  if (name.error() != 0) return name.error();
  return Outcome(Call::kStat, name.view(), [&] { return stat(name.c_str(), status); });
}

// A rename that leaves an existing target alone.
int RenameToNew(const NativeName& from, const NativeName& to) {
  int error = Outcome(Call::kRename, from.view(), [&] {
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  });
  if (error != EINVAL && error != ENOSYS) return error;
  // A file system without that call: the link is refused when the target stands.
  error = Outcome(Call::kRename, from.view(), [&] { return link(from.c_str(), to.c_str()); });
  if (error != 0) return error;
  return Outcome(Call::kRemove, from.view(), [&] { return unlink(from.c_str()); });
}

int MoveInto(const NativeName& from, const NativeName& to, bool replace) {
  if (!replace) return RenameToNew(from, to);
  return Outcome(Call::kRename, from.view(), [&] { return rename(from.c_str(), to.c_str()); });
}

int CopyInto(const NativeName& from, const NativeName& to, bool replace, bool durable) {
  struct stat status {};
  const int source = System(Call::kOpen, from.view(), [&] {
    return open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  });
  if (source < 0) return errno;
  int error = Outcome(Call::kStat, from.view(), [&] { return fstat(source, &status); });
  if (error == 0 && !S_ISREG(status.st_mode)) error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  NewFile copy;
  if (error == 0) error = copy.CreateBeside(to.view());
  if (error == 0) error = copy.CopyFrom(source);
  if (error == 0) error = copy.SetMode(status.st_mode & 07777);
  if (error == 0 && durable) error = copy.Flush();
  if (error == 0) error = copy.Close();
  if (error == 0) error = replace ? copy.Replace(to) : copy.BecomeNew(to);
  if (error == 0 && durable) error = FlushDirectoryOf(to.view());
  close(source);
  return error;
}

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool EndsWithFold(std::string_view name, std::string_view suffix) {
  return name.size() >= suffix.size() &&
         ascii::EqualFold(name.substr(name.size() - suffix.size()), suffix);
}

}  // namespace

bool Exists(std::string_view path) { return MayAccess(NativeName(path), F_OK); }

bool IsReadableFile(std::string_view path) {
  const NativeName name(path);
  struct stat status {};
  return MayAccess(name, R_OK) && Status(name, &status) == 0 && !S_ISDIR(status.st_mode);
}

bool IsDirectory(std::string_view path) {
  struct stat status {};
  return Status(NativeName(path), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsWritableDirectory(std::string_view path) {
  const NativeName name(path);
  struct stat status {};
  return Status(name, &status) == 0 && S_ISDIR(status.st_mode) && MayAccess(name, W_OK | X_OK);
}

Result<std::int64_t> SizeOf(std::string_view path) {
  struct stat status {};
  if (const int error = Status(NativeName(path), &status); error != 0) {
    return Result<std::int64_t>::Fail(error);
  }
  return {status.st_size, 0};
}

int RemoveFile(std::string_view path) {
  const NativeName name(path);
  if (name.error() != 0) return name.error();
  return Outcome(Call::kRemove, name.view(), [&] { return unlink(name.c_str()); });
}

int RenameFile(std::string_view from, std::string_view to, bool replace) {
  const NativeName source(from);
  const NativeName target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  int error = MoveInto(source, target, replace);
  if (error != EXDEV) return error;
  // Between file systems the source goes only when the copy is on stable storage.
  error = CopyInto(source, target, replace, true);
  if (error != 0) return error;
  return Outcome(Call::kRemove, source.view(), [&] { return unlink(source.c_str()); });
}

int CopyFile(std::string_view from, std::string_view to, bool replace) {
  const NativeName source(from);
  const NativeName target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  return CopyInto(source, target, replace, false);
}

int CopyMode(std::string_view from, std::string_view to) {
  const NativeName target(to);
  struct stat status {};
  if (const int error = Status(NativeName(from), &status); error != 0) return error;
  if (target.error() != 0) return target.error();
  return Outcome(Call::kAccess, target.view(),
                 [&] { return chmod(target.c_str(), status.st_mode & 07777); });
}

int CopyOwner(std::string_view from, std::string_view to) {
  const NativeName target(to);
  struct stat wanted {};
  struct stat now {};
  if (const int error = Status(NativeName(from), &wanted); error != 0) return error;
  if (const int error = Status(target, &now); error != 0) return error;
  if (now.st_uid == wanted.st_uid && now.st_gid == wanted.st_gid) return 0;
  return Outcome(Call::kMode, target.view(),
                 [&] { return lchown(target.c_str(), wanted.st_uid, wanted.st_gid); });
}

int MakeDirectory(std::string_view path) {
  const NativeName name(path);
  if (name.error() != 0) return name.error();
  return Outcome(Call::kOpen, name.view(), [&] { return mkdir(name.c_str(), 0700); });
}

int MakeEmptyFile(std::string_view path) {
  const NativeName name(path);
  if (name.error() != 0) return name.error();
  const int fd = System(Call::kOpen, name.view(), [&] {
    return open(name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOCTTY, 0600);
  });
  if (fd < 0) return errno;
  close(fd);
  return 0;
}

int MakeFileWith(std::string_view path, std::string_view bytes) {
  const NativeName name(path);
  if (name.error() != 0) return name.error();
  NewFile file;
  int error = file.CreateBeside(name.view());
  if (error == 0) error = file.Write(bytes);
  if (error == 0) error = file.Flush();
  if (error == 0) error = file.Close();
  // Under its first name before it gets the other one: a directory that can lose the new name
  // cannot lose the bytes.
  if (error == 0) error = FlushDirectoryOf(name.view());
  if (error == 0) error = file.BecomeNew(name);
  if (error == 0) error = FlushDirectoryOf(name.view());
  return error;
}

Result<std::vector<std::string>> ListNames(std::string_view directory, std::string_view suffix) {
  using Names = Result<std::vector<std::string>>;
  const NativeName name(directory);
  if (name.error() != 0) return Names::Fail(name.error());
  if (const int fault = Fault(Call::kList, name.view()); fault != 0) return Names::Fail(fault);
  const std::unique_ptr<DIR, CloseDirectory> open(opendir(name.c_str()));
  if (open == nullptr) return Names::Fail(errno);
  Names names;
  errno = 0;
  while (const dirent* entry = readdir(open.get())) {
    const std::string_view found = entry->d_name;
    if (found != "." && found != ".." && EndsWithFold(found, suffix)) {
      names.value.emplace_back(found);
    }
    errno = 0;
  }
  if (errno != 0) return Names::Fail(errno);
  return names;
}

}  // namespace qob::os
