// How this folder calls the system: through the fault points, and again when a signal came in
// between.
#pragma once
#include <cerrno>
#include <string_view>

#include "platform/os/fault.h"

namespace qob::os {

// work() gives -1 and errno on failure, as system calls do.
template <class Work>
auto System(Call call, std::string_view path, Work&& work) -> decltype(work()) {
  for (;;) {
    decltype(work()) result = -1;
    if (const int fault = Fault(call, path); fault != 0) {
      errno = fault;
    } else {
      result = work();
    }
    if (result != -1 || errno != EINTR) return result;
  }
}

// The same for calls of which only success counts: 0 or the error.
template <class Work>
int Outcome(Call call, std::string_view path, Work&& work) {
  return System(call, path, work) == -1 ? errno : 0;
}

}  // namespace qob::os
