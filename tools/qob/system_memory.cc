#include "system_memory.h"

#include <malloc.h>

namespace cli::sys {

void KeepFreedMemory() {
  constexpr int kLargestHeapBlock = 32 * 1024 * 1024;
  constexpr int kStep = 1024 * 1024;
  ::mallopt(M_MMAP_THRESHOLD, kLargestHeapBlock);
  ::mallopt(M_TRIM_THRESHOLD, 2 * kLargestHeapBlock);
  ::mallopt(M_TOP_PAD, kStep);
}

}  // namespace cli::sys
