// A value, or the system's error number of the call that failed.
#pragma once
#include <utility>

namespace qob::os {

template <class T>
struct Result {
  T value{};
  int error = 0;  // native number (errno on POSIX); 0 = success

  explicit operator bool() const { return error == 0; }
  static Result Fail(int code) { return Result{T{}, code}; }
};

}  // namespace qob::os
