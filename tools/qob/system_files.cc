// Files, folders, standard output and the environment, on POSIX.
#include "system.h"
#include "system_copy.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace cli::sys {
namespace {

Kind KindOfMode(mode_t mode) {
  if (S_ISREG(mode)) return Kind::kRegular;
  if (S_ISDIR(mode)) return Kind::kFolder;
  if (S_ISFIFO(mode)) return Kind::kPipe;
  return Kind::kOther;
}

// The kind of one directory entry: links are followed to files, never to folders.
Kind KindOfEntry(int folder, const char* name) {
  struct stat entry {};
  if (::fstatat(folder, name, &entry, AT_SYMLINK_NOFOLLOW) != 0) return Kind::kOther;
  if (!S_ISLNK(entry.st_mode)) return KindOfMode(entry.st_mode);
  if (::fstatat(folder, name, &entry, 0) != 0) return Kind::kOther;
  return S_ISREG(entry.st_mode) ? Kind::kRegular : Kind::kOther;
}

}  // namespace

Status StatusOf(const std::string& path) {
  struct stat entry {};
  if (::stat(path.c_str(), &entry) != 0) return {Kind::kMissing, 0, errno};
  return {KindOfMode(entry.st_mode), entry.st_size, 0};
}

std::string ErrorText(int error) { return std::strerror(error); }
bool IsPermission(int error) { return error == EACCES || error == EPERM; }
bool IsNoSuchFile(int error) { return error == ENOENT || error == ENOTDIR; }

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), error_(other.error_) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    error_ = other.error_;
  }
  return *this;
}

File::~File() { Close(); }

File File::OpenToRead(const std::string& path) {
  File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!file) file.error_ = errno;
  return file;
}

File File::StandardInput() {
  File file(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  if (!file) file.error_ = errno;
  return file;
}

File File::CreateNew(const std::string& path) {
  File file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) file.error_ = errno;
  return file;
}

std::ptrdiff_t File::Read(char* into, std::size_t size) {
  for (;;) {
    const ssize_t got = ::read(descriptor_, into, size);
    if (got >= 0) return got;
    if (errno == EINTR) continue;
    error_ = errno;
    return -1;
  }
}

bool File::Write(std::string_view bytes) {
  const int error = WriteAllTo(descriptor_, bytes);
  if (error != 0) error_ = error;
  return error == 0;
}

bool File::Seek(std::int64_t position) {
  if (::lseek(descriptor_, position, SEEK_SET) == position) return true;
  error_ = errno;
  return false;
}

bool File::Close() {
  if (descriptor_ < 0) return true;
  const bool closed = ::close(std::exchange(descriptor_, -1)) == 0;
  if (!closed) error_ = errno;
  return closed;
}

bool MakeSymlink(const std::string& target, const std::string& path) {
  return ::symlink(target.c_str(), path.c_str()) == 0;
}

void Remove(const std::string& path) { ::unlink(path.c_str()); }

std::string AbsolutePath(const std::string& path) {
  if (!path.empty() && path.front() == '/') return path;
  char* const here = ::getcwd(nullptr, 0);
  if (here == nullptr) return path;
  std::string absolute = std::string(here) + "/" + path;
  std::free(here);
  return absolute;
}

std::optional<std::vector<Entry>> ListFolder(const std::string& path, int* error) {
  DIR* const folder = ::opendir(path.c_str());
  if (folder == nullptr) {
    *error = errno;
    return std::nullopt;
  }
  std::vector<Entry> entries;
  while (const dirent* entry = ::readdir(folder)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    entries.push_back({name, KindOfEntry(::dirfd(folder), entry->d_name)});
  }
  ::closedir(folder);
  std::sort(entries.begin(), entries.end(),
            [](const Entry& left, const Entry& right) { return left.name < right.name; });
  return entries;
}

std::optional<std::string> Environment(const char* name) {
  const char* const value = ::secure_getenv(name);
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

void SetEnvironment(const char* name, const std::string& value) {
  ::setenv(name, value.c_str(), 1);
}

int WriteOut(std::string_view bytes) { return WriteAllTo(STDOUT_FILENO, bytes); }
int WriteMessage(std::string_view bytes) { return WriteAllTo(STDERR_FILENO, bytes); }
bool IsTerminal(int descriptor) { return ::isatty(descriptor) == 1; }

std::int64_t Milliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace cli::sys
