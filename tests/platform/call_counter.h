// Counts the calls that the platform layer makes to the system, by kind.
#pragma once
#include <map>
#include <string>

#include "platform/os/fault.h"

namespace qob::testing {

class CallCounter {
 public:
  CallCounter() {
    counts().clear();
    os::SetFaultHook([](os::Call call, std::string_view) {
      ++counts()[call];
      return 0;
    });
  }
  ~CallCounter() { os::SetFaultHook(nullptr); }
  CallCounter(const CallCounter&) = delete;
  CallCounter& operator=(const CallCounter&) = delete;

  int of(os::Call call) const { return counts()[call]; }
  int all() const {
    int sum = 0;
    for (const auto& [call, count] : counts()) sum += count;
    return sum;
  }

 private:
  static std::map<os::Call, int>& counts() {
    static std::map<os::Call, int> counts;
    return counts;
  }
};

}  // namespace qob::testing
