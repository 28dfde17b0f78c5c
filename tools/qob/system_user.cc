#include "system_user.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace cli::sys {
namespace {

// The first field of the comment; "&" in it stands for the login name.
std::string FullName(const passwd& entry) {
  std::string name;
  for (const char* c = entry.pw_gecos; c != nullptr && *c != '\0' && *c != ','; ++c) {
    if (*c == '&') {
      name += entry.pw_name;
    } else {
      name += *c;
    }
  }
  return name;
}

}  // namespace

User ThisUser() {
  const uid_t number = ::getuid();
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (::getpwuid_r(number, &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < (1U << 20)) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) return {std::to_string(number), ""};
  return {found->pw_name, FullName(*found)};
}

std::string UserNumber() { return std::to_string(::getuid()); }

bool MayWrite(const std::string& directory) {
  return ::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool IsOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }

}  // namespace cli::sys
