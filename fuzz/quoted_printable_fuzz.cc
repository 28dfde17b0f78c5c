// Quoted-printable bodies, cut where the first byte says, against the plain decoder.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "charset/body_models.h"
#include "charset/quoted_printable_decoder.h"
#include "support/exact_copy.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t step = data[0] == 0 ? size : data[0];
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  for (const qob::QuotedPrintableKernel kernel :
       {&qob::CopyPlainPortable, qob::QuotedPrintableKernelSse2(),
        qob::QuotedPrintableKernelAvx2()}) {
    if (kernel == nullptr) continue;
    qob::UseQuotedPrintableKernel(kernel);
    qob::QuotedPrintableDecoder decoder;
    qob::testing::ModelResult result;
    for (std::size_t at = 0; at < text.size(); at += step) {
      const qob::testing::ExactCopy piece(text.substr(at, step));
      const std::unique_ptr<char[]> out(new char[qob::QuotedPrintableDecoder::Room(piece.size())]);
      result.bytes.append(out.get(), decoder.Feed(piece.view(), out.get()));
    }
    result.result = decoder.complete() ? 1 : 0;
    if (result != qob::testing::ModelQuotedPrintable(text)) std::abort();
  }
  return 0;
}
