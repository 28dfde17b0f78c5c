#include "charset/base64_lines.h"

#include <array>
#include <cstring>

#include "charset/base64.h"

namespace qob {
namespace {

struct TwoChars {
  char at[2];
};
// Two characters for each value of twelve bits.
constexpr std::array<TwoChars, 4096> kPairs = [] {
  std::array<TwoChars, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {{kBase64Alphabet[i >> 6], kBase64Alphabet[i & 63]}};
  }
  return pairs;
}();

}  // namespace

void EncodeLinesPortable(const unsigned char* from, std::size_t lines, char* to) {
  for (; lines > 0; --lines) {
    for (const unsigned char* const end = from + kBase64LineBytes; from < end; from += 3, to += 4) {
      const unsigned group = static_cast<unsigned>(from[0] << 16 | from[1] << 8 | from[2]);
      std::memcpy(to, &kPairs[group >> 12], 2);
      std::memcpy(to + 2, &kPairs[group & 4095], 2);
    }
    *to++ = '\r';
    *to++ = '\n';
  }
}

Base64LineKernel FastestBase64Lines() {
  if (const Base64LineKernel kernel = Base64LinesAvx2()) return kernel;
  if (const Base64LineKernel kernel = Base64LinesSsse3()) return kernel;
  return &EncodeLinesPortable;
}

}  // namespace qob
