// Collects every log line while it lives.
#pragma once
#include <algorithm>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <qobplatform/logapi.h>

namespace qob::testing {

struct LogLine {
  std::int32_t level;
  std::string module;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

inline void PrintTo(const LogLine& line, std::ostream* out) {
  *out << "{" << line.level << ", \"" << line.module << "\", \"" << line.text << "\"}";
}

class CapturedLog {
 public:
  CapturedLog() { LogSetSink(&CapturedLog::Take, this); }
  ~CapturedLog() { LogSetSink(nullptr, nullptr); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<LogLine> lines() const {
    std::scoped_lock hold(mutex_);
    return lines_;
  }
  // The texts at that level, in order.
  std::vector<std::string> texts(std::int32_t level = 1) const {
    std::vector<std::string> found;
    for (const LogLine& line : lines()) {
      if (line.level == level) found.push_back(line.text);
    }
    return found;
  }
  bool Has(std::int32_t level, const std::string& text) const { return Count(level, text) > 0; }
  std::size_t Count(std::int32_t level, const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const LogLine& l) {
      return l.level == level && l.text == text;
    }));
  }
  void Clear() {
    std::scoped_lock hold(mutex_);
    lines_.clear();
  }

 private:
  // Never throws: a sink runs inside the library's shell, also while a test lets allocations fail.
  static void Take(void* context, std::int32_t level, const char* module, const char* text) {
    CapturedLog* self = static_cast<CapturedLog*>(context);
    std::scoped_lock hold(self->mutex_);
    const AllocationsMayNotFail safe;
    self->lines_.push_back({level, module, text});
  }

  // Suspends an armed failing allocator of this thread (failing_allocator.h).
  struct AllocationsMayNotFail {
    AllocationsMayNotFail();
    ~AllocationsMayNotFail();
  };

  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
};

}  // namespace qob::testing

#include "support/failing_allocator.h"

namespace qob::testing {
inline CapturedLog::AllocationsMayNotFail::AllocationsMayNotFail() { SuspendFailing(true); }
inline CapturedLog::AllocationsMayNotFail::~AllocationsMayNotFail() { SuspendFailing(false); }
}  // namespace qob::testing
