// Chains built at their tail, and the checks that the exported call makes on chains it did not
// build.
#include "util/string_chain.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

#include "frame/heap.h"
#include "platform/os/probe.h"

namespace qob {
namespace {

constexpr std::uintptr_t kPage = 4096;

// Asks the system once for each page that a walk enters.
class RecordProbe {
 public:
  bool Usable(const ms* node) {
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(node);
    if (!os::IsPlausiblePointer(node) || first % alignof(ms) != 0) return false;
    return Page(first) && Page(first + sizeof(ms) - 1);
  }

 private:
  bool Page(std::uintptr_t address) {
    const std::uintptr_t page = address / kPage;
    if (page == known_page_) return true;
    if (!os::IsReadable(reinterpret_cast<const void*>(address))) return false;
    known_page_ = page;
    return true;
  }

  std::uintptr_t known_page_ = 0;
};

}  // namespace

ms* NewNode(std::string_view text) {
  HeapPtr<ms> node(HeapRecord<ms>());
  if (!node) throw std::bad_alloc();
  node->text = HeapCopy(text);
  if (node->text == nullptr) throw std::bad_alloc();
  return node.release();
}

ChainBuilder::~ChainBuilder() { freeStringChain(head_); }

void ChainBuilder::Append(std::string_view text) {
  ms* node = NewNode(text);
  (tail_ == nullptr ? head_ : tail_->next) = node;
  tail_ = node;
}

ms* ChainBuilder::Release() {
  tail_ = nullptr;
  return std::exchange(head_, nullptr);
}

bool AppendToChain(ms** chain, const char* text) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(chain);
  if (!os::IsReadable(chain) || address % alignof(ms*) != 0) return false;
  RecordProbe probe;
  ms** link = chain;
  while (*link != nullptr) {
    if (!probe.Usable(*link)) return false;
    link = &(*link)->next;
  }
  std::size_t length = 0;
  if (!os::IsReadableString(text, kLongestChainText, &length)) return false;
  ms* node = HeapRecord<ms>();
  if (node == nullptr) return false;
  // The node is linked before its text is copied: without memory for the text an empty node stays
  // in the chain, which every reader of chains takes.
  *link = node;
  node->text = HeapCopy({text, length});
  return node->text != nullptr;
}

}  // namespace qob
