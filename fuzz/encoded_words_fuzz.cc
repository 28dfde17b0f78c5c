// Header values encoded in every way and decoded again. Encoded text has no 8-bit byte left,
// decoded text is never longer.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "charset/header_encoder.h"
#include "charset/word_decoder.h"
#include "charset/word_encoder.h"
#include "support/exact_copy.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

void Decode(std::string_view text, const qob::DecodingSettings& settings) {
  const qob::testing::ExactCopy in(text);
  qob::testing::ExactCopy out{std::string(text.size(), '?')};
  const std::size_t size = qob::DecodeWords(in.view(), settings, out.data());
  Check(size <= text.size());
  if (text.find("=?") == text.npos) Check(std::string_view(out.data(), size) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view whole(reinterpret_cast<const char*>(data) + 1, size - 1);
  qob::EncodingSettings settings;
  settings.base64 = (data[0] & 1) != 0;
  settings.tight_comments = (data[0] & 2) != 0;
  settings.charset = std::string(data[0] >> 2, 'c');
  const qob::testing::ExactCopy copy(whole);
  for (const std::string& encoded : {qob::EncodeHeaderText(copy.view(), settings),
                                     qob::EncodeHeaderValue(copy.view(), settings)}) {
    Check(!qob::HasEightBit(encoded));
    Decode(encoded, {"", true});
  }
  Decode(whole, {"", true});
  Decode(whole, {"ISO-8859-1", false});
  std::string_view charset;
  if (qob::FirstCharset(copy.view(), &charset)) Check(charset.size() < whole.size());
  return 0;
}
