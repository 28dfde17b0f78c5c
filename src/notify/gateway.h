// The names under which the system writes mail of its own: its host, its postmaster, the sender of
// its bounces.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "frame/config.h"

namespace qob::notify {

struct Gateway {
  std::string name;  // "<GatewayHostName>.<GatewayDomain>"

  std::string Qualified(std::string_view local) const;
  std::string Postmaster() const { return Qualified("postmaster"); }
};
// The keys of "twmta.ini"; throws std::bad_alloc.
Gateway ReadGateway(const ConfigReader& config);

// [Options] BounceSender with the gateway's name behind it; "<>" and what has an "@" stay as they
// are.
std::string BounceSender(const ConfigReader& config, const Gateway& gateway);

struct Mailbox {
  std::string address;  // as the address parser gives it
  std::string local_part;
  std::string domain;
};
// The first address of a list; nothing when there is none.
std::optional<Mailbox> FirstAddress(std::string text);

// Two keys that differ in their first letter's case and mean different things.
inline constexpr char kInsteadOfSender[] = "BounceToPostmaster";
inline constexpr char kBesideSender[] = "bounceToPostmaster";

}  // namespace qob::notify
