// From BinHex characters back to compressed bytes.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qob::binhex {

class SixBitReader {
 public:
  enum class Stop {
    kTextUsedUp,
    kColon,    // the end of the stream; not consumed
    kForeign,  // a character that BinHex text cannot hold; not consumed
  };
  struct Step {
    std::size_t used;  // characters
    std::size_t made;  // bytes
    Stop stop;
  };

  // Decodes whole groups of four characters and keeps the rest. Bytes up to 0x20 and 0x7F are
  // passed over. `out` has room for MaxBytes(text.size()).
  Step Decode(std::string_view text, char* out);
  // The bytes of the unfinished group (0 to 2); the reader is then as new.
  std::size_t Finish(char* out);

  static constexpr std::size_t MaxBytes(std::size_t characters) { return characters / 4 * 3 + 3; }

 private:
  std::uint32_t bits_ = 0;
  unsigned held_ = 0;  // characters in bits_, 0 to 3
};

}  // namespace qob::binhex
