// Formats a log line and hands it to the mail system's log.
#include "frame/report.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include <qobplatform/logapi.h>

#include "frame/config.h"
#include "frame/heap.h"

namespace qob {
namespace {

[[gnu::format(printf, 3, 0)]] void Log(const char* module, int level, const char* format,
                                       std::va_list arguments) {
  std::array<char, 1024> line{};
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
  HeapText whole;
  if (length >= static_cast<int>(line.size())) {
    const std::size_t size = static_cast<std::size_t>(length) + 1;
    whole.reset(static_cast<char*>(std::malloc(size)));
    if (whole) std::vsnprintf(whole.get(), size, format, again);
  }
  va_end(again);
  // Without memory for a long line its first part is still told.
  LogMessage(level, module, whole ? whole.get() : line.data());
}

}  // namespace

void Report(int level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log(ClientName(), level, format, arguments);
  va_end(arguments);
}

void ReportAs(const char* module, int level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log(module, level, format, arguments);
  va_end(arguments);
}

}  // namespace qob
