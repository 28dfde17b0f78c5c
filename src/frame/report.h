// One log line with a formatted text, through the public LogMessage.
#pragma once

namespace qob {

inline constexpr int kFailure = 1;
inline constexpr int kDetail = 6;

// Under the client name.
[[gnu::format(printf, 2, 3)]] void Report(int level, const char* format, ...);
// Under a routine's own name ("ParseHdr", "ParseLine", "ParseDate").
[[gnu::format(printf, 3, 4)]] void ReportAs(const char* module, int level, const char* format, ...);

}  // namespace qob
