// Base64 bodies back to bytes, piece by piece: the input may be cut anywhere.
//
// White space is skipped wherever it stands. "=" (padding), "-" (a boundary line) and NUL end the
// data; every other byte outside the alphabet makes it invalid. A group that is cut short gives the
// bytes it completes: "QUI" is "AB".
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

class Base64Decoder {
 public:
  enum class Status { kMore, kEnd, kInvalid };

  // Room that Feed needs for `size` bytes of input: it stores whole vectors.
  static constexpr std::size_t Room(std::size_t size) { return size / 4 * 3 + kSlack; }

  // Decodes into `out` and adds the number of bytes to *written. After kEnd and kInvalid further
  // input is ignored.
  Status Feed(std::string_view in, char* out, std::size_t* written);

 private:
  static constexpr std::size_t kSlack = 40;

  unsigned position_ = 0;       // of the next character in its group of four
  unsigned char previous_ = 0;  // value of the character before it
  Status status_ = Status::kMore;
};

// Whole groups at the front of `in`, line ends between groups included. Stops at anything else and
// before the end.
struct Base64Run {
  std::size_t read;
  std::size_t written;
};
using Base64Kernel = Base64Run (*)(std::string_view in, char* out);

Base64Run DecodeGroupsPortable(std::string_view in, char* out);
// Null where the processor does not have these instructions.
Base64Kernel Base64KernelSsse3();
Base64Kernel Base64KernelAvx2();
// The best of them.
Base64Kernel FastestBase64Kernel();
// For tests of each kernel: null restores the best one.
void UseBase64Kernel(Base64Kernel kernel);

}  // namespace qob
