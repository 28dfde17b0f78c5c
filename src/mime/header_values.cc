#include "mime/header_values.h"

#include <mutex>

#include "charset/japanese_text.h"
#include "charset/word_settings.h"
#include "frame/config.h"
#include "rfc822/parser_locks.h"

namespace qob {
namespace {

constexpr std::size_t kNameBytes = 128;
constexpr std::size_t kRelayBytes = 256;
constexpr std::size_t kSwitchBytes = 16;

std::string QualifiedInside(std::string_view address, const spool::QualifySettings& settings) {
  const std::size_t open = address.rfind('<');
  const std::size_t close = address.rfind('>');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    return spool::QualifyRecipient(address, settings);
  }
  const std::string_view inside = address.substr(open + 1, close - open - 1);
  if (inside.empty()) return std::string(address);
  return std::string(address.substr(0, open + 1)) + spool::QualifyRecipient(inside, settings) +
         std::string(address.substr(close));
}

}  // namespace

BuildSettings ReadBuildSettings() {
  const ConfigReader config;
  BuildSettings settings;
  settings.encoding = ReadEncodingSettings();
  settings.convert_jis =
      config.Is("Gateway", "LocalCharSet", "US-ASCII", kNameBytes, "ISO-2022-JP") &&
      config.Is("Options", "DisableJISinHeaders", "NO", kNameBytes, "NO");
  // A host name is always put in front of the domain here.
  settings.qualify.recipient_hosts =
      !config.Is("Options", "QualifyRecipientHosts", "YES", kSwitchBytes, "NO");
  settings.qualify.host = config.Text("Connection", "GatewayHostName", "", kNameBytes);
  settings.qualify.domain = config.Text("Connection", "GatewayDomain", "", kNameBytes);
  settings.qualify.relay = config.Text("Routing", "PrimaryRelayHostName", "", kRelayBytes);
  return settings;
}

std::string EncodedHeader(std::string_view text, const EncodingSettings& settings) {
  const std::scoped_lock hold(AddressParserLock());
  return EncodeHeaderValue(text, settings);
}

std::string HeaderAddress(std::string_view address, Addressee who, const BuildSettings& settings) {
  std::string text = who == Addressee::kRecipient ? QualifiedInside(address, settings.qualify)
                                                  : std::string(address);
  if (settings.convert_jis) {
    if (const HeapText jis = JisTextOf(text)) text = jis.get();
  }
  return EncodedHeader(text, settings.encoding);
}

std::optional<std::string> HeaderParameter(std::string_view parameter,
                                           const EncodingSettings& settings) {
  const std::size_t equals = parameter.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  std::string_view value = parameter.substr(equals + 1);
  if (value.starts_with('"')) {
    value.remove_prefix(1);
    // The closing quote, or whatever stands in its place.
    if (!value.empty()) value.remove_suffix(1);
  }
  std::string escaped;
  for (const char c : value) {
    if (c == '"' || c == '\\' || c == '\r' || c == '\n') escaped += '\\';
    escaped += c;
  }
  return std::string(parameter.substr(0, equals)) + "=\"" + EncodedHeader(escaped, settings) + "\"";
}

}  // namespace qob
