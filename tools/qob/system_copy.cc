#include "system_copy.h"

#include <array>
#include <cerrno>

#include <unistd.h>

namespace cli::sys {

int WriteAllTo(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int CopyAll(int from, int to) {
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t got = ::read(from, block.data(), block.size());
    if (got == 0) return 0;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    const int error = WriteAllTo(to, {block.data(), static_cast<std::size_t>(got)});
    if (error != 0) return error;
  }
}

}  // namespace cli::sys
