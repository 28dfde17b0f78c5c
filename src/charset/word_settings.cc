// Keys: [Options] EnableRFC1522Encoding, RFC1522codingMethod, Force1522Decoding; [Gateway]
// LocalCharSet.
#include "charset/word_settings.h"

#include "frame/config.h"

namespace qob {
namespace {

constexpr std::size_t kSwitchSize = 32;
constexpr std::size_t kNameSize = 64;

std::string LocalCharset() { return ConfigText("Gateway", "LocalCharSet", "US-ASCII", kNameSize); }

}  // namespace

EncodingSettings ReadEncodingSettings() {
  EncodingSettings settings;
  settings.enabled = !ConfigIs("Options", "EnableRFC1522Encoding", "YES", kSwitchSize, "NO");
  settings.base64 = !ConfigIs("Options", "RFC1522codingMethod", "Quoted-printable", kNameSize,
                              "Quoted-printable");
  settings.charset = LocalCharset();
  return settings;
}

DecodingSettings ReadDecodingSettings() {
  return {LocalCharset(), ConfigIs("Options", "Force1522Decoding", "NO", kSwitchSize, "YES")};
}

}  // namespace qob
