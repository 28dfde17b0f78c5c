// Keys: [Options] EnableRFC1522Encoding, RFC1522codingMethod, Force1522Decoding; [Gateway]
// LocalCharSet.
#include "charset/word_settings.h"

#include "frame/config.h"

namespace qob {
namespace {

constexpr std::size_t kSwitchSize = 32;
constexpr std::size_t kNameSize = 64;

std::string LocalCharset(const ConfigReader& config) {
  return config.Text("Gateway", "LocalCharSet", "US-ASCII", kNameSize);
}

}  // namespace

EncodingSettings ReadEncodingSettings() {
  const ConfigReader config;
  EncodingSettings settings;
  settings.enabled = !config.Is("Options", "EnableRFC1522Encoding", "YES", kSwitchSize, "NO");
  settings.base64 = !config.Is("Options", "RFC1522codingMethod", "Quoted-printable", kNameSize,
                               "Quoted-printable");
  settings.charset = LocalCharset(config);
  return settings;
}

DecodingSettings ReadDecodingSettings() {
  const ConfigReader config;
  return {LocalCharset(config),
          config.Is("Options", "Force1522Decoding", "NO", kSwitchSize, "YES")};
}

}  // namespace qob
