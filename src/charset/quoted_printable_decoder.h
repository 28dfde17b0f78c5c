// Quoted-printable bodies back to bytes, piece by piece: the input may be cut anywhere.
//
// Line ends come out as CR LF: a CR is dropped, an LF is held back until a byte follows, so the
// line end that closes the body (it belongs to the boundary behind it) is never written. "=" CR
// drops the byte behind it too. "=" and any two other bytes are an escape, a byte that is no
// hexadecimal digit counting 0, also "=" LF.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

class QuotedPrintableDecoder {
 public:
  // Room that Feed needs for `size` bytes of input: each may be a lone LF, and it stores whole
  // vectors.
  static constexpr std::size_t Room(std::size_t size) { return 2 * size + kSlack; }

  // Decodes into `out`; returns the number of bytes written there.
  std::size_t Feed(std::string_view in, char* out);
  // The input so far does not end inside an escape.
  bool complete() const { return escape_ == Escape::kNone; }

 private:
  static constexpr std::size_t kSlack = 40;
  enum class Escape { kNone, kSign, kDigit, kSoftBreak };

  char* Step(unsigned char c, char* to);

  Escape escape_ = Escape::kNone;
  unsigned char first_ = 0;  // the byte behind the "="
  bool line_end_held_ = false;
};

// Copies from the front of `in` what stands as it is, line ends and well-formed escapes included;
// stops at anything else and before the last bytes of `in`.
struct QuotedPrintableRun {
  std::size_t read;
  std::size_t written;
};
using QuotedPrintableKernel = QuotedPrintableRun (*)(std::string_view in, char* out);

QuotedPrintableRun CopyPlainPortable(std::string_view in, char* out);
// Null where the processor does not have these instructions.
QuotedPrintableKernel QuotedPrintableKernelSse2();
QuotedPrintableKernel QuotedPrintableKernelAvx2();
// The best of them.
QuotedPrintableKernel FastestQuotedPrintableKernel();
// For tests of each kernel: null restores the best one.
void UseQuotedPrintableKernel(QuotedPrintableKernel kernel);

}  // namespace qob
