// The output of the encoders: bytes are stored straight into it, short pieces in one whole step,
// which is quicker than counting.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace qob {

class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  std::size_t size() const { return size_; }
  std::string_view view() const { return {begin_, size_}; }
  char back() const { return begin_[size_ - 1]; }
  void pop_back() { --size_; }

  // Room for `size` bytes behind what is held, and for one step more; good until the next call.
  // Throws std::bad_alloc.
  char* Reserve(std::size_t size) {
    if (capacity_ - size_ < size + kStep) Grow(size + kStep);
    return begin_ + size_;
  }
  // Takes over what stands in the reserved room up to `end`.
  void SetEnd(const char* end) { size_ = static_cast<std::size_t>(end - begin_); }

  void Append(std::string_view bytes) {
    char* const to = Reserve(bytes.size());
    if (!bytes.empty()) std::memcpy(to, bytes.data(), bytes.size());
    size_ += bytes.size();
  }
  void Append(char byte) {
    *Reserve(1) = byte;
    ++size_;
  }

  // Copies `size` bytes to a place with room for a step more; `readable` bytes (at least `size`)
  // can be read at `from`. Returns the end of the copy.
  static char* Copy(char* to, const char* from, std::size_t size, std::size_t readable) {
    if (size <= kStep && readable >= kStep) {
      std::memcpy(to, from, kStep);
    } else if (size > 0) {
      std::memcpy(to, from, size);
    }
    return to + size;
  }

 private:
  static constexpr std::size_t kStep = 32;
  static constexpr std::size_t kShortSize = 1024;

  void Grow(std::size_t more) {
    const std::size_t capacity = std::max(2 * capacity_, size_ + more);
    std::unique_ptr<char[]> larger = std::make_unique_for_overwrite<char[]>(capacity);
    std::memcpy(larger.get(), begin_, size_);
    heap_ = std::move(larger);
    begin_ = heap_.get();
    capacity_ = capacity;
  }

  std::size_t size_ = 0;
  std::size_t capacity_ = kShortSize;
  char* begin_ = short_;
  std::unique_ptr<char[]> heap_;
  char short_[kShortSize];
};

}  // namespace qob
