// A library path as the system takes it: every backslash a slash, NUL-terminated, on the stack.
#pragma once
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace qob::os {

class NativeName {
 public:
  explicit NativeName(std::string_view path) { Set({}, path); }
  // directory + '/' + name.
  NativeName(std::string_view directory, std::string_view name) { Set(directory, name); }
  NativeName(const NativeName&) = delete;
  NativeName& operator=(const NativeName&) = delete;

  // 0, or why no system call can take this path: empty, a NUL inside, too long.
  int error() const { return error_; }
  const char* c_str() const { return text_; }
  std::string_view view() const { return {text_, size_}; }

 private:
  void Set(std::string_view directory, std::string_view name) {
    if (name.empty() || !Append(directory) || (!directory.empty() && !Append("/")) ||
        !Append(name)) {
      if (error_ == 0) error_ = ENOENT;
      size_ = 0;
    }
    text_[size_] = '\0';
  }
  bool Append(std::string_view part) {
    if (part.size() >= sizeof text_ - size_) {
      error_ = ENAMETOOLONG;
      return false;
    }
    for (char c : part) {
      if (c == '\0') return false;
      text_[size_++] = c == '\\' ? '/' : c;
    }
    return true;
  }

  int error_ = 0;
  std::size_t size_ = 0;
  char text_[PATH_MAX];
};

}  // namespace qob::os
