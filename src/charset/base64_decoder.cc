// Base64 decoding: fast kernels over whole groups, one character at a time for everything
// irregular.
#include "charset/base64_decoder.h"

#include <atomic>

#include "charset/base64.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

std::atomic<Base64Kernel> g_kernel{nullptr};

Base64Kernel Kernel() {
  Base64Kernel kernel = g_kernel.load(std::memory_order_relaxed);
  if (kernel == nullptr) {
    kernel = FastestBase64Kernel();
    g_kernel.store(kernel, std::memory_order_relaxed);
  }
  return kernel;
}

bool EndsData(unsigned char c) { return c == '=' || c == '-' || c == '\0'; }

}  // namespace

Base64Run DecodeGroupsPortable(std::string_view in, char* out) {
  std::size_t at = 0;
  char* to = out;
  while (in.size() - at >= 4) {
    const std::uint32_t group = Base64Group(in.data() + at);
    if ((group & kInvalidBase64Group) == 0) {
      PutBase64Bytes(group, to);
      to += 3;
      at += 4;
    } else if (in[at] == '\r' && in[at + 1] == '\n') {
      at += 2;
    } else {
      break;
    }
  }
  return {at, static_cast<std::size_t>(to - out)};
}

Base64Kernel FastestBase64Kernel() {
  if (const Base64Kernel kernel = Base64KernelAvx2()) return kernel;
  if (const Base64Kernel kernel = Base64KernelSsse3()) return kernel;
  return &DecodeGroupsPortable;
}

void UseBase64Kernel(Base64Kernel kernel) { g_kernel.store(kernel, std::memory_order_relaxed); }

Base64Decoder::Status Base64Decoder::Feed(std::string_view in, char* out, std::size_t* written) {
  const Base64Kernel kernel = Kernel();
  char* to = out;
  std::size_t at = 0;
  while (status_ == Status::kMore && at < in.size()) {
    if (position_ == 0) {
      const Base64Run run = kernel(in.substr(at), to);
      to += run.written;
      at += run.read;
      if (at == in.size()) break;
    }
    const unsigned char c = static_cast<unsigned char>(in[at++]);
    const std::uint8_t value = kBase64Values[c];
    if (value == kNotBase64) {
      if (ascii::IsSpace(c)) continue;
      status_ = EndsData(c) ? Status::kEnd : Status::kInvalid;
      break;
    }
    switch (position_) {
      case 0:
        break;
      case 1:
        *to++ = static_cast<char>(previous_ << 2 | value >> 4);
        break;
      case 2:
        *to++ = static_cast<char>(previous_ << 4 | value >> 2);
        break;
      default:
        *to++ = static_cast<char>(previous_ << 6 | value);
    }
    previous_ = value;
    position_ = (position_ + 1) % 4;
  }
  *written += static_cast<std::size_t>(to - out);
  return status_;
}

}  // namespace qob
