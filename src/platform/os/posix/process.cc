#include "platform/os/process.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace qob::os {
namespace {

std::atomic<ClockFunction> g_clock{nullptr};
std::atomic<bool> g_zone_known{false};

std::atomic<std::atomic<std::uint32_t>*> g_emptied{nullptr};

// Null where the system cannot. It stays for as long as the process does.
std::atomic<std::uint32_t>* MapEmptied() {
  const auto bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* const page =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) return nullptr;
  auto* made = new (page) std::atomic<std::uint32_t>(0);
  std::atomic<std::uint32_t>* present = nullptr;
  if (madvise(page, bytes, MADV_WIPEONFORK) == 0 &&
      g_emptied.compare_exchange_strong(present, made, std::memory_order_acq_rel)) {
    return made;
  }
  munmap(page, bytes);
  return present;
}

std::atomic<std::uint32_t>* EmptiedInAChild() {
  std::atomic<std::uint32_t>* const present = g_emptied.load(std::memory_order_acquire);
  return present != nullptr ? present : MapEmptied();
}

}  // namespace

void SetEnvironment(const char* name, const char* value) {
  const char* present = std::getenv(name);
  if (value[0] == '\0') {
    if (present != nullptr) unsetenv(name);
  } else if (present == nullptr || std::strcmp(present, value) != 0) {
    setenv(name, value, 1);
  }
}

std::string GetEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

void RefreshTimeZone() {
  tzset();
  g_zone_known.store(true, std::memory_order_release);
}

long TimeZoneDifference() {
  if (!g_zone_known.load(std::memory_order_acquire)) RefreshTimeZone();
  return timezone;
}

std::int64_t Now() {
  const ClockFunction clock = g_clock.load(std::memory_order_relaxed);
  return clock == nullptr ? static_cast<std::int64_t>(std::time(nullptr)) : clock();
}

void SetClock(ClockFunction clock) { g_clock.store(clock); }

LocalText LocalTimeText(std::int64_t seconds) {
  LocalText local;
  const std::time_t moment = static_cast<std::time_t>(seconds);
  std::tm broken{};
  char text[32] = "";
  // A year beyond 9999 has no such text.
  if (localtime_r(&moment, &broken) == nullptr || asctime_r(&broken, text) == nullptr) return local;
  std::memcpy(local.text, text, sizeof text);
  local.daylight = broken.tm_isdst > 0;
  return local;
}

LogTime LogTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (const ClockFunction clock = g_clock.load(std::memory_order_relaxed); clock != nullptr) {
    now = {static_cast<std::time_t>(clock()), 0};
  }
  std::tm broken{};
  LogTime time;
  if (localtime_r(&now.tv_sec, &broken) == nullptr) return time;
  const long minutes = broken.tm_gmtoff / 60;
  std::snprintf(time.text, sizeof time.text, "%04d-%02d-%02dT%02d:%02d:%02d.%03ld%c%02ld:%02ld",
                broken.tm_year + 1900, broken.tm_mon + 1, broken.tm_mday, broken.tm_hour,
                broken.tm_min, broken.tm_sec, now.tv_nsec / 1000000, minutes < 0 ? '-' : '+',
                std::labs(minutes) / 60, std::labs(minutes) % 60);
  return time;
}

std::string HostName() {
  std::array<char, 257> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return {};
  return name.data();
}

std::uint32_t ThreadId() { return static_cast<std::uint32_t>(gettid()); }
// Asked by every call of the record engine, for what is open does not outlive a fork. The number is
// kept in memory that the system empties in a child, whatever way it is made.
std::uint32_t ProcessId() {
  std::atomic<std::uint32_t>* const kept = EmptiedInAChild();
  if (kept == nullptr) return static_cast<std::uint32_t>(getpid());
  std::uint32_t id = kept->load(std::memory_order_relaxed);
  if (id == 0) {
    id = static_cast<std::uint32_t>(getpid());
    kept->store(id, std::memory_order_relaxed);
  }
  return id;
}

void SleepMs(int milliseconds) {
  timespec rest{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
  }
}

}  // namespace qob::os
