#include "system_maildir.h"
#include "system_copy.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace cli::sys {
namespace {

// A name that no other delivery has: the moment, the process, how many it was, the machine.
std::string UniqueName(std::uint64_t count) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::array<char, 65> host{};
  if (::gethostname(host.data(), host.size() - 1) != 0 || host[0] == '\0') host = {"localhost"};
  std::string name = std::to_string(now.tv_sec) + ".M" + std::to_string(now.tv_nsec / 1000) + "P" +
                     std::to_string(::getpid()) + "Q" + std::to_string(count) + ".";
  for (const char* c = host.data(); *c != '\0'; ++c) name += *c == '/' || *c == ':' ? '_' : *c;
  return name;
}

int OpenFolder(int parent, const char* name) {
  return ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

Maildir::Maildir(const std::string& path) {
  int made = ::mkdir(path.c_str(), 0700);
  const int folder = OpenFolder(AT_FDCWD, path.c_str());
  if (folder < 0) {
    error_ = made != 0 && errno == ENOENT ? ENOENT : errno;
    return;
  }
  bool any = made == 0;
  for (const char* const name : {"tmp", "new", "cur"}) {
    made = ::mkdirat(folder, name, 0700);
    if (made != 0 && errno != EEXIST) error_ = errno;
    any = any || made == 0;
  }
  if (error_ == 0) {
    temporary_ = OpenFolder(folder, "tmp");
    if (temporary_ >= 0) new_ = OpenFolder(folder, "new");
    if (new_ < 0) error_ = errno;
  }
  if (error_ == 0 && any && ::fsync(folder) != 0) error_ = errno;
  ::close(folder);
}

Maildir::~Maildir() {
  if (temporary_ >= 0) ::close(temporary_);
  if (new_ >= 0) ::close(new_);
}

int Maildir::Write(const std::string& name, const std::string& head,
                   const std::string& file) const {
  const int from = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (from < 0) return errno;
  const int to = ::openat(temporary_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  int error = to < 0 ? errno : WriteAllTo(to, head);
  if (error == 0) error = CopyAll(from, to);
  if (error == 0 && ::fsync(to) != 0) error = errno;
  if (to >= 0 && ::close(to) != 0 && error == 0) error = errno;
  ::close(from);
  return error;
}

int Maildir::Deliver(const std::string& head, const std::string& file) {
  const std::string name = UniqueName(++count_);
  int error = Write(name, head, file);
  if (error == 0 && ::linkat(temporary_, name.c_str(), new_, name.c_str(), 0) != 0) error = errno;
  ::unlinkat(temporary_, name.c_str(), 0);
  if (error == 0 && ::fsync(new_) != 0) {
    error = errno;
    ::unlinkat(new_, name.c_str(), 0);
  }
  return error;
}

}  // namespace cli::sys
