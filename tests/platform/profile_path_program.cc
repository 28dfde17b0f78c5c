// Prints where the profile file name "x.ini" leads in this process.
#include <cstdio>
#include <cstdlib>

#include "platform/os/profile.h"

int main() {
  const bool done =
      std::puts(qob::os::ProfilePath("x.ini").c_str()) >= 0 && std::fflush(stdout) == 0;
  // Without the leak checker of a sanitizer, which cannot look at a process with another user's
  // rights.
  std::_Exit(done ? 0 : 1);
}
