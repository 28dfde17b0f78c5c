// Environment, time zone, clock, threads and pauses of this process.
#pragma once
#include <cstdint>
#include <string>

namespace qob::os {

// An empty value removes the variable. Only at start-up: not safe beside other threads that read
// the environment.
void SetEnvironment(const char* name, const char* value);
// "" when not set.
std::string GetEnvironment(const char* name);
// Makes a changed TZ count.
void RefreshTimeZone();
// Seconds west of UTC in standard time, as the C library's `timezone` says.
long TimeZoneDifference();

// Seconds since 1970; tests may set a clock of their own (null = the system's).
std::int64_t Now();
using ClockFunction = std::int64_t (*)();
void SetClock(ClockFunction clock);
// The C library's ctime text of that moment in local time, line feed included; `daylight` tells
// whether daylight saving is in force then.
struct LocalText {
  char text[32] = "";
  bool daylight = false;
};
LocalText LocalTimeText(std::int64_t seconds);
// "2026-11-21T18:54:03.120+01:00": the present moment as log lines show it.
struct LogTime {
  char text[128] = "";
};
LogTime LogTimeNow();

// What the machine calls itself; "" when it cannot be told.
std::string HostName();

std::uint32_t ThreadId();
std::uint32_t ProcessId();
void SleepMs(int milliseconds);

}  // namespace qob::os
