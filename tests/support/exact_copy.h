// A text in a heap block of exactly its size, so that reading one byte too far is caught by the
// sanitizers.
#pragma once
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace qob::testing {

class ExactCopy {
 public:
  // The bytes alone, without a NUL.
  explicit ExactCopy(std::string_view bytes)
      : size_(bytes.size()),
        block_(static_cast<char*>(std::malloc(size_ == 0 ? 1 : size_)), &std::free) {
    if (!bytes.empty()) std::memcpy(block_.get(), bytes.data(), bytes.size());
  }
  std::string_view view() const { return {block_.get(), size_}; }
  char* data() { return block_.get(); }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  std::unique_ptr<char, decltype(&std::free)> block_;
};

// The same with its NUL: a writable C string whose block ends at the NUL.
class ExactText {
 public:
  explicit ExactText(std::string_view text)
      : block_(static_cast<char*>(std::malloc(text.size() + 1)), &std::free) {
    if (!text.empty()) std::memcpy(block_.get(), text.data(), text.size());
    block_.get()[text.size()] = '\0';
  }
  char* get() { return block_.get(); }
  operator char*() { return block_.get(); }

 private:
  std::unique_ptr<char, decltype(&std::free)> block_;
};

}  // namespace qob::testing
