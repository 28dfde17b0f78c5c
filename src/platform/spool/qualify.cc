#include "platform/spool/qualify.h"

namespace qob::spool {
namespace {

enum class Host { kNone, kShort, kWhole };

Host HostOf(std::string_view address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string_view::npos) return Host::kNone;
  const std::string_view host = address.substr(at + 1);
  const bool whole = host.starts_with('[') || host.find('.') != std::string_view::npos;
  return whole ? Host::kWhole : Host::kShort;
}

std::string Joined(std::string_view address, char sign, std::string_view host) {
  std::string whole(address);
  whole += sign;
  whole += host;
  return whole;
}

std::string AtOurHost(std::string_view address, const QualifySettings& settings) {
  if (!settings.use_hostname) return Joined(address, '@', settings.domain);
  return Joined(Joined(address, '@', settings.host), '.', settings.domain);
}

}  // namespace

std::string QualifySender(std::string_view address, const QualifySettings& settings,
                          bool kept_bare) {
  if (address == "<>") return std::string(address);
  switch (HostOf(address)) {
    case Host::kWhole:
      break;
    case Host::kShort:
      if (settings.sender_hosts) return Joined(address, '.', settings.domain);
      break;
    case Host::kNone:
      if (settings.addresses || !kept_bare) return AtOurHost(address, settings);
      break;
  }
  return std::string(address);
}

std::string QualifyRecipient(std::string_view address, const QualifySettings& settings) {
  switch (HostOf(address)) {
    case Host::kWhole:
      break;
    case Host::kShort:
      if (settings.recipient_hosts) return Joined(address, '.', settings.domain);
      break;
    case Host::kNone:
      if (!settings.addresses) break;
      if (!settings.relay.empty()) return Joined(address, '@', settings.relay);
      return AtOurHost(address, settings);
  }
  return std::string(address);
}

}  // namespace qob::spool
