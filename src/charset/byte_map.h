// Where the blanks and the 8-bit bytes of a text stand, found once for all of it and then looked up
// without a branch for every byte: header words are short, and guessing their lengths wrong costs
// more than reading them.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qob {

class ByteMap {
 public:
  // Throws std::bad_alloc for long texts.
  explicit ByteMap(std::string_view text);

  // Position of the first byte of 128 or more, or of the first blank, from `from` on; the text's
  // size when there is none.
  std::size_t NextEightBit(std::size_t from) const { return Next(&Block::eight_bit, from); }
  std::size_t NextBlank(std::size_t from) const { return Next(&Block::blank, from); }
  // Position behind the last blank before `before`, but not below `floor`.
  std::size_t WordStart(std::size_t floor, std::size_t before) const;

 private:
  static constexpr std::size_t kBits = 64;
  static constexpr std::size_t kShortBlocks = 8;
  // Bit n is byte n of 64.
  struct Block {
    std::uint64_t eight_bit;
    std::uint64_t blank;
  };

  std::size_t Next(std::uint64_t Block::*bits, std::size_t from) const {
    if (from >= size_) return size_;
    std::size_t block = from / kBits;
    std::uint64_t rest = blocks_[block].*bits >> (from % kBits) << (from % kBits);
    while (rest == 0) {
      if (++block * kBits >= size_) return size_;
      rest = blocks_[block].*bits;
    }
    return block * kBits + static_cast<std::size_t>(std::countr_zero(rest));
  }

  std::size_t size_;
  Block short_blocks_[kShortBlocks];  // of texts up to 512 bytes
  std::vector<Block> long_blocks_;
  Block* blocks_;
};

}  // namespace qob
