// The system reads eight bytes of a signal mask before it looks at the (impossible) operation it is
// asked for, so the call below tells readable memory (EINVAL) from unreadable memory (EFAULT) and
// changes nothing.
#include "platform/os/probe.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/syscall.h>
#include <unistd.h>

namespace qob::os {
namespace {

constexpr std::uintptr_t kPage = 4096;

}  // namespace

bool IsPlausiblePointer(const void* pointer) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pointer);
  if (address < kPage) return false;
#if defined(__x86_64__)
  // Programs live in the lower half of a 57-bit address space at most.
  if ((address >> 56) != 0) return false;
#endif
  return true;
}

bool IsReadable(const void* pointer) {
  if (!IsPlausiblePointer(pointer)) return false;
  const std::uintptr_t aligned = reinterpret_cast<std::uintptr_t>(pointer) & ~std::uintptr_t{7};
  const int saved = errno;
  const bool readable =
      syscall(SYS_rt_sigprocmask, ~0, aligned, nullptr, 8) == 0 || errno != EFAULT;
  errno = saved;
  return readable;
}

bool IsReadableString(const char* text, std::size_t limit, std::size_t* length) {
  std::size_t seen = 0;
  while (seen <= limit) {
    const char* from = text + seen;
    if (!IsReadable(from)) return false;
    const std::size_t to_page_end = kPage - (reinterpret_cast<std::uintptr_t>(from) & (kPage - 1));
    const std::size_t here = std::min(to_page_end, limit + 1 - seen);
    if (const void* end = std::memchr(from, '\0', here); end != nullptr) {
      *length = static_cast<std::size_t>(static_cast<const char*>(end) - text);
      return true;
    }
    seen += here;
  }
  return false;
}

}  // namespace qob::os
