// Heap results for callers: always from malloc, because they release them with FreeString or free.
#pragma once
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace qob {

// A NUL-terminated copy, or null when memory is exhausted.
inline char* HeapCopy(std::string_view text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

struct HeapFree {
  void operator()(void* block) const { std::free(block); }
};
// Owns a malloc block until it is handed out with release().
template <class T>
using HeapPtr = std::unique_ptr<T, HeapFree>;
using HeapText = HeapPtr<char>;

// A zero-filled record from malloc's heap, or null.
template <class T>
T* HeapRecord() {
  return static_cast<T*>(std::calloc(1, sizeof(T)));
}

}  // namespace qob
