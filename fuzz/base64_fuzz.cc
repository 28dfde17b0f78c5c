// Base64 bodies, cut where the first byte says, against the plain decoder.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "charset/base64_decoder.h"
#include "charset/body_models.h"
#include "support/exact_copy.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t step = data[0] == 0 ? size : data[0];
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  for (const qob::Base64Kernel kernel :
       {&qob::DecodeGroupsPortable, qob::Base64KernelSsse3(), qob::Base64KernelAvx2()}) {
    if (kernel == nullptr) continue;
    qob::UseBase64Kernel(kernel);
    qob::Base64Decoder decoder;
    qob::testing::ModelResult result;
    for (std::size_t at = 0; at < text.size(); at += step) {
      const qob::testing::ExactCopy piece(text.substr(at, step));
      const std::unique_ptr<char[]> out(new char[qob::Base64Decoder::Room(piece.size())]);
      std::size_t written = 0;
      const auto status = decoder.Feed(piece.view(), out.get(), &written);
      result.bytes.append(out.get(), written);
      result.result = status == qob::Base64Decoder::Status::kInvalid ? -1 : 1;
    }
    if (result != qob::testing::ModelBase64(text)) std::abort();
  }
  return 0;
}
