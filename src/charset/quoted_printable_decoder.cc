// Quoted-printable decoding: kernels for what stands as it is, one byte at a time for everything
// irregular.
#include "charset/quoted_printable_decoder.h"

#include <atomic>

#include "charset/hex.h"

namespace qob {
namespace {

std::atomic<QuotedPrintableKernel> g_kernel{nullptr};

QuotedPrintableKernel Kernel() {
  QuotedPrintableKernel kernel = g_kernel.load(std::memory_order_relaxed);
  if (kernel == nullptr) {
    kernel = FastestQuotedPrintableKernel();
    g_kernel.store(kernel, std::memory_order_relaxed);
  }
  return kernel;
}

// At a "=" with two more bytes behind it: an escape of two digits is decoded, a soft line break
// dropped. False at anything else, with nothing moved.
bool CopyEscape(const char** from, char** to) {
  const unsigned high = HexValue((*from)[1]);
  const unsigned low = HexValue((*from)[2]);
  if ((high | low) < 16) {
    *(*to)++ = static_cast<char>(high << 4 | low);
  } else if ((*from)[1] != '\r' || (*from)[2] != '\n') {
    return false;
  }
  *from += 3;
  return true;
}

unsigned Nibble(unsigned char digit) {
  return kHexValues[digit] == kNotHex ? 0 : kHexValues[digit];
}

}  // namespace

QuotedPrintableRun CopyPlainPortable(std::string_view in, char* out) {
  const char* from = in.data();
  const char* const end = from + in.size();
  char* to = out;
  while (end - from > 3) {  // an escape, and a byte behind every line end
    if (*from == '=') {
      if (!CopyEscape(&from, &to)) break;
    } else if (*from == '\r' && from[1] == '\n') {
      *to++ = *from++;
      *to++ = *from++;
    } else if (*from == '\r' || *from == '\n') {
      break;
    } else {
      *to++ = *from++;
    }
  }
  return {static_cast<std::size_t>(from - in.data()), static_cast<std::size_t>(to - out)};
}

QuotedPrintableKernel FastestQuotedPrintableKernel() {
  if (const QuotedPrintableKernel kernel = QuotedPrintableKernelAvx2()) return kernel;
  if (const QuotedPrintableKernel kernel = QuotedPrintableKernelSse2()) return kernel;
  return &CopyPlainPortable;
}

void UseQuotedPrintableKernel(QuotedPrintableKernel kernel) {
  g_kernel.store(kernel, std::memory_order_relaxed);
}

char* QuotedPrintableDecoder::Step(unsigned char c, char* to) {
  switch (escape_) {
    case Escape::kSign:
      escape_ = c == '\r' ? Escape::kSoftBreak : Escape::kDigit;
      first_ = c;
      return to;
    case Escape::kDigit:
      escape_ = Escape::kNone;
      *to++ = static_cast<char>(Nibble(first_) << 4 | Nibble(c));
      return to;
    case Escape::kSoftBreak:
      escape_ = Escape::kNone;
      return to;
    case Escape::kNone:
      break;
  }
  if (line_end_held_) {
    line_end_held_ = false;
    *to++ = '\r';
    *to++ = '\n';
  }
  if (c == '=') {
    escape_ = Escape::kSign;
  } else if (c == '\n') {
    line_end_held_ = true;
  } else if (c != '\r') {
    *to++ = static_cast<char>(c);
  }
  return to;
}

std::size_t QuotedPrintableDecoder::Feed(std::string_view in, char* out) {
  const QuotedPrintableKernel kernel = Kernel();
  char* to = out;
  std::size_t at = 0;
  while (at < in.size()) {
    if (escape_ == Escape::kNone && !line_end_held_) {
      const QuotedPrintableRun run = kernel(in.substr(at), to);
      at += run.read;
      to += run.written;
      if (at == in.size()) break;
    }
    to = Step(static_cast<unsigned char>(in[at++]), to);
  }
  return static_cast<std::size_t>(to - out);
}

}  // namespace qob
