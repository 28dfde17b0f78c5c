#include "system_scratch.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::sys {
namespace {

// For file systems that know no unnamed files: the name is gone before anything is written.
int OpenUnlinked(const std::string& folder) {
  std::string pattern = folder + "/qob-XXXXXX";
  const int file = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (file >= 0) ::unlink(pattern.c_str());
  return file;
}

}  // namespace

File OpenScratch(std::string* folder, int* error) {
  std::signal(SIGXFSZ, SIG_IGN);  // a file size limit then is a write error like any other
  *folder = Environment("TMPDIR").value_or("/tmp");
  if (folder->empty()) *folder = "/tmp";
  int file = ::open(folder->c_str(), O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL))
    file = OpenUnlinked(*folder);
  if (file >= 0 && file <= STDERR_FILENO) {
    // The standard streams may be closed; their numbers stay theirs.
    const int higher = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(file);
    file = higher;
  }
  *error = file < 0 ? errno : 0;
  return File(file);
}

std::string PathOf(const File& file) {
  return "/proc/self/fd/" + std::to_string(file.descriptor());
}

Stamp StampOf(const File& file) {
  struct stat entry {};
  if (::fstat(file.descriptor(), &entry) != 0) return {};
  Stamp stamp;
  if (S_ISREG(entry.st_mode)) stamp.kind = Kind::kRegular;
  if (S_ISDIR(entry.st_mode)) stamp.kind = Kind::kFolder;
  if (S_ISFIFO(entry.st_mode)) stamp.kind = Kind::kPipe;
  stamp.size_bytes = entry.st_size;
  stamp.changed_ns =
      static_cast<std::int64_t>(entry.st_mtim.tv_sec) * 1'000'000'000 + entry.st_mtim.tv_nsec;
  return stamp;
}

}  // namespace cli::sys
