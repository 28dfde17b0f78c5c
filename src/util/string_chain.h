// String chains from inside: appended in constant time, owned until handed out.
#pragma once
#include <cstddef>
#include <string_view>

#include <qob3xapi/util.h>

namespace qob {

// Builds an `ms` chain at its tail.
class ChainBuilder {
 public:
  ChainBuilder() = default;
  ChainBuilder(const ChainBuilder&) = delete;
  ChainBuilder& operator=(const ChainBuilder&) = delete;
  ~ChainBuilder();

  // Throws std::bad_alloc; the chain is then as before.
  void Append(std::string_view text);
  ms* head() const { return head_; }
  ms* Release();

 private:
  ms* head_ = nullptr;
  ms* tail_ = nullptr;
};

// A new heap node with a copy of the text; throws std::bad_alloc.
ms* NewNode(std::string_view text);

inline constexpr std::size_t kLongestChainText = 65534;

// The exported append: walks a caller's chain, trusting no pointer in it. False when a pointer
// cannot be used, the text is longer than kLongestChainText, or memory is exhausted (then a node
// without text may stand at the chain's end).
bool AppendToChain(ms** chain, const char* text);

}  // namespace qob
