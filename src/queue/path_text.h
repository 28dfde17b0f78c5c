// A path composed on the stack, library form: letting a lock go must not need memory.
#pragma once
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace qob {

class PathText {
 public:
  PathText(std::initializer_list<std::string_view> parts) {
    for (std::string_view part : parts) Append(part);
  }
  // The same with more behind it.
  PathText(const PathText& base, std::string_view more) : PathText({base.view(), more}) {}

  // Empty when the whole is longer than any path.
  std::string_view view() const { return {text_, size_}; }
  const char* c_str() const { return text_; }

 private:
  void Append(std::string_view part) {
    if (too_long_ || part.size() >= sizeof text_ - size_) {
      too_long_ = true;
      size_ = 0;
    } else {
      if (!part.empty()) std::memcpy(text_ + size_, part.data(), part.size());
      size_ += part.size();
    }
    text_[size_] = '\0';
  }

  std::size_t size_ = 0;
  bool too_long_ = false;
  char text_[4096];
};

}  // namespace qob
