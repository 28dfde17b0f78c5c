// Where this machine and this program are, on POSIX.
#include "system.h"

#include <array>

#include <unistd.h>

namespace cli::sys {

std::string HostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "";
  return name.data();
}

std::string DataFolder() {
  std::array<char, 4096> path{};
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<std::size_t>(length) == path.size()) return "";
  std::string folder(path.data(), static_cast<std::size_t>(length));
  for (int level = 0; level < 2; ++level) {
    const std::size_t slash = folder.rfind('/');
    if (slash == std::string::npos) return "";
    folder.resize(slash);
  }
  folder += "/share/qob3xapi";
  return StatusOf(folder).kind == Kind::kFolder ? folder : "";
}

}  // namespace cli::sys
