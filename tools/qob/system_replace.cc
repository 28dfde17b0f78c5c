#include "system_replace.h"
#include "system_cleanup.h"
#include "system_copy.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::sys {
namespace {

constexpr int kChangedMeanwhile = ESTALE;

std::int64_t Nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

Original OriginalOf(const std::string& path, const struct stat& entry) {
  return {path, entry.st_dev, entry.st_ino, entry.st_size, Nanoseconds(entry.st_mtim)};
}

bool IsSame(const Original& one, const Original& other) {
  return one.device == other.device && one.inode == other.inode &&
         one.size_bytes == other.size_bytes && one.changed_ns == other.changed_ns;
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

// The mode is set after the owner, which takes away the set-id bits.
int TakeOver(int file, const struct stat& entry) {
  struct stat mine {};
  if (::fstat(file, &mine) != 0) return errno;
  const bool same_owner = mine.st_uid == entry.st_uid && mine.st_gid == entry.st_gid;
  if (!same_owner && ::fchown(file, entry.st_uid, entry.st_gid) != 0) return errno;
  return ::fchmod(file, entry.st_mode & 07777) == 0 ? 0 : errno;
}

int Fill(int file, const std::string& source, const struct stat& entry) {
  const Descriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
  if (!from) return errno;
  int error = CopyAll(from.number(), file);
  if (error == 0) error = TakeOver(file, entry);
  if (error == 0 && ::fsync(file) != 0) error = errno;
  return error;
}

}  // namespace

std::optional<Original> LookAtOriginal(const std::string& path, int* error) {
  char* const resolved = ::realpath(path.c_str(), nullptr);
  struct stat entry {};
  if (resolved == nullptr || ::stat(resolved, &entry) != 0) {
    *error = errno;
    std::free(resolved);
    return std::nullopt;
  }
  const std::string name = resolved;
  std::free(resolved);
  *error = 0;
  if (!S_ISREG(entry.st_mode)) return std::nullopt;
  return OriginalOf(name, entry);
}

int ReplaceOriginal(const Original& original, const std::string& source) {
  const std::size_t slash = original.path.find_last_of('/');
  const std::string folder_path = slash == 0 ? "/" : original.path.substr(0, slash);
  const std::string name = original.path.substr(slash + 1);
  const Descriptor folder(::open(folder_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return errno;
  struct stat entry {};
  if (::fstatat(folder.number(), name.c_str(), &entry, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (!IsSame(OriginalOf(original.path, entry), original)) return kChangedMeanwhile;
  const std::string made = ".qob-" + std::to_string(::getpid()) + ".new";
  const Descriptor file(CreatePendingOutput(folder.number(), made));
  if (!file) return errno;
  int error = Fill(file.number(), source, entry);
  if (error == 0 && ::fstatat(folder.number(), name.c_str(), &entry, AT_SYMLINK_NOFOLLOW) != 0)
    error = errno;
  if (error == 0 && !IsSame(OriginalOf(original.path, entry), original)) error = kChangedMeanwhile;
  if (error == 0 && ::renameat(folder.number(), made.c_str(), folder.number(), name.c_str()) != 0)
    error = errno;
  if (error != 0) ::unlinkat(folder.number(), made.c_str(), 0);
  PendingOutputDone();
  // The new name stands; a flush of the directory that fails may bring the old file back, whole.
  if (error == 0) ::fsync(folder.number());
  return error;
}

bool IsChangedMeanwhile(int error) { return error == kChangedMeanwhile; }

}  // namespace cli::sys
