// How a sender or recipient without a whole host part gets one.
#pragma once
#include <string>
#include <string_view>

#include "platform/os/ascii.h"

namespace qob::spool {

inline constexpr char kPlaceholderDomain[] = "domain.invalid";

struct QualifySettings {
  bool use_hostname = true;       // [Options] useHostname is YES
  bool sender_hosts = true;       // [Options] qualifySenderHosts is not NO
  bool recipient_hosts = true;    // [Options] qualifyRecipientHosts is not NO
  bool addresses = true;          // [Options] qualifyAddress is not NO
  std::string host = "twgate";    // [Connection] GatewayHostName
  std::string domain = kPlaceholderDomain;  // [Connection] GatewayDomain
  std::string relay;              // [Routing] PrimaryRelayHostName
};

// text(section, key, fallback, buffer size) gives a setting of "twmta.ini" as a std::string.
template <class Text>
QualifySettings ReadQualifySettings(Text&& text) {
  const auto is = [&](const char* key, std::string_view word) {
    return ascii::EqualFold(text("Options", key, "YES", 16), word);
  };
  QualifySettings settings;
  settings.use_hostname = is("useHostname", "YES");
  settings.sender_hosts = !is("qualifySenderHosts", "NO");
  settings.recipient_hosts = !is("qualifyRecipientHosts", "NO");
  settings.addresses = !is("qualifyAddress", "NO");
  settings.host = text("Connection", "GatewayHostName", "twgate", 128);
  settings.domain = text("Connection", "GatewayDomain", kPlaceholderDomain, 128);
  settings.relay = text("Routing", "PrimaryRelayHostName", "", 256);
  return settings;
}

// The "@" that counts is the last one; a domain that begins with "[" is whole. kept_bare: an address
// without "@" stays so when [Options] qualifyAddress is NO.
std::string QualifySender(std::string_view address, const QualifySettings& settings,
                          bool kept_bare);
std::string QualifyRecipient(std::string_view address, const QualifySettings& settings);

}  // namespace qob::spool
