// Conversions between BinHex 4.0 text and AppleSingle files, both in the temporary directory or
// wherever the input stands.
#pragma once
#include <cstdint>
#include <string_view>

#include "frame/heap.h"
#include "macfile/binhex_format.h"
#include "macfile/fork_sections.h"

namespace qob {

// Where BinHex text stands.
struct BinHexText {
  const char* path;
  std::int64_t offset;
  std::int64_t size;
};

// The new BinHex file's path, or null; a failure leaves no file behind. The name in the BinHex
// header is the AppleSingle file's own, else fallback_name, cut to 63 bytes; without either there
// is no result. Throws std::bad_alloc.
HeapText AppleSingleToBinHex(const char* path, std::string_view fallback_name);

// Decodes both forks into the writers; *header is whole on success. Throws std::bad_alloc.
bool SplitForks(const BinHexText& text, const binhex::ForkWriters& writers, binhex::Header* header);

struct AppleSingleResult {
  HeapText path;  // of the new file; null on failure, and then no file is left behind
  HeapText name;  // as the BinHex header has it
};
// Throws std::bad_alloc.
AppleSingleResult BinHexToAppleSingle(const BinHexText& text);

}  // namespace qob
