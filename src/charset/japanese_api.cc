// The exported calls for Japanese texts.
#include <qob3xapi/japanese.h>

#include "charset/japanese_text.h"
#include "frame/config.h"
#include "frame/guard.h"
#include "frame/report.h"

namespace {

constexpr std::size_t kSwitchBytes = 16;
constexpr std::size_t kCharsetBytes = 128;

bool IsYes(const qob::ConfigReader& config, const char* key, const char* fallback) {
  return config.Is("Options", key, fallback, kSwitchBytes, "YES");
}

bool LocalIsJis(const qob::ConfigReader& config) {
  return config.Is("Gateway", "LocalCharSet", "", kCharsetBytes, "ISO-2022-JP");
}

char* DecodeHeader(const char* text, const qob::ConfigReader& config) {
  return qob::ShiftJisTextOf(text, IsYes(config, "RepairDamagedJISinHeaders", "YES")).release();
}

}  // namespace

extern "C" {

QOBAPI char* bufJIS2ShiftJIS(const char* text) {
  if (text == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr, [&]() -> char* {
    const qob::ConfigReader config;
    if (!LocalIsJis(config) || IsYes(config, "DisableJISinHeaders", "NO")) return nullptr;
    return DecodeHeader(text, config);
  });
}

QOBAPI char* bufJIS2ShiftJIS_wmc(const char* text) {
  if (text == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr, [&] { return DecodeHeader(text, qob::ConfigReader()); });
}

QOBAPI char* bufShiftJIS2JIS(const char* text) {
  if (text == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr, [&] { return qob::JisTextOf(text).release(); });
}

QOBAPI int32_t CheckJapanese(const char* path) {
  if (path == nullptr || path[0] == '\0') return -1;
  return qob::Guarded(
      int32_t{-1},
      [&] {
        const qob::ConfigReader config;
        const char* scan = LocalIsJis(config) ? "YES" : "NO";
        if (config.Is("Options", "ScanForJIS", scan, kSwitchBytes, "NO")) return int32_t{0};
        return qob::ConvertMessageFile(path, IsYes(config, "RepairDamagedJIS", "YES")) ? 0 : -1;
      },
      [] { qob::Report(qob::kFailure, "out of memory"); });
}

}  // extern "C"
