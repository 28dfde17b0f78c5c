// Memory probes: readable, unreadable, and texts that end at the edge of what can be read.
#include "platform/os/probe.h"

#include <sys/mman.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace qob::os {
namespace {

constexpr std::size_t kPage = 4096;

// Two readable pages with an unreadable one behind them.
class Edge {
 public:
  Edge()
      : memory_(static_cast<char*>(
            mmap(nullptr, 3 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    mprotect(memory_ + 2 * kPage, kPage, PROT_NONE);
    std::memset(memory_, 'x', 2 * kPage);
  }
  ~Edge() { munmap(memory_, 3 * kPage); }
  char* end() const { return memory_ + 2 * kPage; }

 private:
  char* memory_;
};

const void* Address(std::uintptr_t address) { return reinterpret_cast<const void*>(address); }

TEST(Probe, RefusesWhatNoProcessCanHave) {
  EXPECT_FALSE(IsPlausiblePointer(nullptr));
  EXPECT_FALSE(IsPlausiblePointer(Address(1)));
  EXPECT_FALSE(IsPlausiblePointer(Address(4095)));
  EXPECT_FALSE(IsPlausiblePointer(Address(UINTPTR_MAX)));
  EXPECT_TRUE(IsPlausiblePointer(Address(4096)));
  int here = 0;
  EXPECT_TRUE(IsPlausiblePointer(&here));
}

TEST(Probe, TellsReadableMemoryFromUnreadable) {
  const Edge edge;
  EXPECT_TRUE(IsReadable(edge.end() - 1));
  EXPECT_TRUE(IsReadable(edge.end() - kPage));
  EXPECT_FALSE(IsReadable(edge.end()));
  EXPECT_FALSE(IsReadable(edge.end() + kPage - 1));
  EXPECT_FALSE(IsReadable(nullptr));
  EXPECT_FALSE(IsReadable(Address(4096)));
  EXPECT_FALSE(IsReadable(Address(0xDEADBEEFDEADBEEF)));
  static const char kConstant[] = "x";
  EXPECT_TRUE(IsReadable(kConstant)) << "memory that cannot be written is readable";
}

TEST(Probe, ChangesNothing) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  errno = 77;
  unsigned long all_signals[2] = {~0ul, ~0ul};
  EXPECT_TRUE(IsReadable(all_signals));
  EXPECT_FALSE(IsReadable(nullptr));
  EXPECT_EQ(errno, 77);
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < 32; ++signal) {
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
  }
}

TEST(Probe, ATextMustEndInReadableMemory) {
  const Edge edge;
  std::size_t length = 99;
  edge.end()[-1] = '\0';
  EXPECT_TRUE(IsReadableString(edge.end() - 1, 100, &length));
  EXPECT_EQ(length, 0u);
  EXPECT_TRUE(IsReadableString(edge.end() - kPage - 10, 65534, &length));
  EXPECT_EQ(length, kPage + 9);
  edge.end()[-1] = 'x';
  EXPECT_FALSE(IsReadableString(edge.end() - 10, 65534, &length));
  EXPECT_FALSE(IsReadableString(edge.end(), 65534, &length));
  EXPECT_FALSE(IsReadableString(nullptr, 65534, &length));
}

TEST(Probe, ATextMayBeAsLongAsItsLimitAndNoLonger) {
  std::string text(65536, 'x');
  std::size_t length = 0;
  text.resize(65534);
  EXPECT_TRUE(IsReadableString(text.c_str(), 65534, &length));
  EXPECT_EQ(length, 65534u);
  text.resize(65535, 'x');
  EXPECT_FALSE(IsReadableString(text.c_str(), 65534, &length));
  EXPECT_TRUE(IsReadableString("", 0, &length));
  EXPECT_EQ(length, 0u);
  EXPECT_FALSE(IsReadableString("x", 0, &length));
}

TEST(Probe, ReadsNoFurtherThanItsLimit) {
  const Edge edge;
  std::size_t length = 0;
  EXPECT_FALSE(IsReadableString(edge.end() - 10, 8, &length));
  EXPECT_FALSE(IsReadableString(edge.end() - 10, 9, &length)) << "ten bytes, none of them a NUL";
}

}  // namespace
}  // namespace qob::os
