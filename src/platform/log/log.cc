#include "platform/log/log.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <utility>

#include <qobplatform/logapi.h>

#include "platform/log/line_text.h"
#include "platform/os/append.h"
#include "platform/os/ascii.h"
#include "platform/os/process.h"
#include "platform/os/profile.h"
#include "platform/os/system_log.h"
#include "platform/spool/site.h"

namespace qob::log {
namespace {

constexpr std::int32_t kFailure = 1;
constexpr std::int32_t kAccounting = 3;
constexpr std::int32_t kDetail = 6;

// kNone: no start-up yet, or no place for the file; failures still show on standard error.
enum class Destination { kNone, kFile, kStandardError, kSystem };

struct Log {
  std::shared_mutex mutex;  // held shared while a line is written, alone while the file changes
  Destination destination = Destination::kNone;
  std::int32_t level = kFailure;
  std::string path;
  os::Handle file = os::kNoHandle;
  std::atomic<std::int64_t> checked_at{0};
  std::atomic<bool> line_open{false};  // the last line was cut: the next one starts on a new line
};

Log& TheLog() {
  static Log* const log = new Log;  // outlives every other static: lines come until the end
  return *log;
}

std::atomic<LogSink> g_sink{nullptr};
std::atomic<void*> g_sink_context{nullptr};

std::string_view TextOrEmpty(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

// "module[process] text", the part that every destination shows.
void AppendBody(std::string_view module, std::string_view text, std::string* line) {
  AppendVisible(module.empty() ? std::string_view("-") : module, true, line);
  line->append("[").append(std::to_string(os::ProcessId())).append("] ");
  AppendVisible(text, false, line);
}

std::string Line(std::int32_t level, std::string_view module, std::string_view text) {
  std::string line(os::LogTimeNow().text);
  line.reserve(line.size() + module.size() + text.size() + 32);
  line.append(" ").append(std::to_string(level)).append(" ");
  AppendBody(module, text, &line);
  line.push_back('\n');
  return line;
}

void Append(Log& log, os::Handle file, std::string line) {
  if (log.line_open.exchange(false)) line.insert(0, 1, '\n');
  const os::Result<std::size_t> written = os::AppendOnce(file, line.data(), line.size());
  if (written && written.value > 0 && written.value < line.size()) log.line_open = true;
}

// Once a second at most: a file that was moved away or removed is made anew.
void FollowFile(Log& log) {
  const std::int64_t now = os::Now();
  if (log.checked_at.exchange(now) == now) return;
  {
    const std::shared_lock hold(log.mutex);
    if (log.destination != Destination::kFile || os::LeadsTo(log.path, log.file)) return;
  }
  const std::unique_lock hold(log.mutex);
  if (log.destination != Destination::kFile || os::LeadsTo(log.path, log.file)) return;
  const os::Result<os::Handle> fresh = os::OpenForAppend(log.path);
  if (!fresh) return;  // the old file still takes the lines
  os::CloseFile(log.file);
  log.file = fresh.value;
}

os::Urgency UrgencyOf(std::int32_t level) {
  if (level <= kFailure) return os::Urgency::kError;
  if (level <= kAccounting) return os::Urgency::kNotice;
  return level <= kDetail ? os::Urgency::kInformation : os::Urgency::kDetail;
}

void Write(std::int32_t level, std::string_view module, std::string_view text) {
  Log& log = TheLog();
  FollowFile(log);
  const std::shared_lock hold(log.mutex);
  if (level > log.level) return;
  switch (log.destination) {
    case Destination::kFile:
      Append(log, log.file, Line(level, module, text));
      break;
    case Destination::kSystem: {
      std::string body;
      AppendBody(module, text, &body);
      os::WriteSystemLog(UrgencyOf(level), body.c_str());
      break;
    }
    case Destination::kNone:
    case Destination::kStandardError:
      Append(log, os::kStandardError, Line(level, module, text));
      break;
  }
}

std::string Setting(const char* key, const char* fallback) {
  char value[64] = "";
  os::ReadProfile("Log", key, fallback, value, sizeof value, spool::TheSite().config_file);
  return value;
}

// The number at the start of the value; any other text is the default.
std::int32_t LevelSetting() {
  const std::string value = Setting("Level", "");
  std::int32_t level = 0;
  std::size_t digits = 0;
  for (char c : value) {
    if (!ascii::IsDigit(static_cast<unsigned char>(c)) || digits == 9) break;
    level = level * 10 + (c - '0');
    ++digits;
  }
  return digits == 0 ? kDetail : level;
}

void UseFile(Log& log) {
  const spool::Site& site = spool::TheSite();
  if (site.temp_dir[0] == '\0') return;
  log.path = std::string(site.temp_dir) + "\\" + site.log_file;
  const os::Result<os::Handle> file = os::OpenForAppend(log.path);
  if (!file) return;
  log.file = file.value;
  log.destination = Destination::kFile;
}

}  // namespace

void StartLog() {
  const std::string destination = Setting("Destination", "file");
  const std::int32_t level = LevelSetting();
  Log& log = TheLog();
  const std::unique_lock hold(log.mutex);
  if (log.file != os::kNoHandle) os::CloseFile(std::exchange(log.file, os::kNoHandle));
  log.destination = Destination::kNone;
  log.line_open = false;
  if (ascii::EqualFold(destination, "stderr")) {
    log.destination = Destination::kStandardError;
  } else if (ascii::EqualFold(destination, "syslog")) {
    log.destination = Destination::kSystem;
  } else {
    UseFile(log);
  }
  log.level = log.destination == Destination::kNone ? kFailure : level;
}

}  // namespace qob::log

extern "C" void LogMessage(int32_t level, const char* module, const char* text) {
  using namespace qob::log;
  const int saved = errno;
  if (const LogSink sink = g_sink.load(); sink != nullptr) {
    sink(g_sink_context.load(), level, module == nullptr ? "" : module,
         text == nullptr ? "" : text);
  } else {
    try {
      Write(level, TextOrEmpty(module), TextOrEmpty(text));
    } catch (...) {
      // Without memory the line is lost, never the caller's work.
    }
  }
  errno = saved;
}

extern "C" void LogSetSink(LogSink sink, void* context) {
  qob::log::g_sink.store(nullptr);
  qob::log::g_sink_context.store(context);
  qob::log::g_sink.store(sink);
}
