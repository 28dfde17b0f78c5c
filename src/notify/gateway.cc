#include "notify/gateway.h"

#include <mutex>
#include <span>

#include "rfc822/address_list.h"
#include "rfc822/parser_locks.h"

namespace qob::notify {
namespace {

constexpr std::size_t kNameBytes = 128;
constexpr std::size_t kSenderBytes = 256;
constexpr char kPostmaster[] = "postmaster";

}  // namespace

std::string Gateway::Qualified(std::string_view local) const {
  std::string address(local);
  address += '@';
  address += name;
  return address;
}

Gateway ReadGateway(const ConfigReader& config) {
  return {config.Text("Connection", "GatewayHostName", "", kNameBytes) + '.' +
          config.Text("Connection", "GatewayDomain", "", kNameBytes)};
}

std::string BounceSender(const ConfigReader& config, const Gateway& gateway) {
  std::string sender = config.Text("Options", "BounceSender", kPostmaster, kSenderBytes);
  if (sender.empty()) sender = kPostmaster;
  const bool whole = sender == "<>" || sender.find('@') != std::string::npos;
  return whole ? sender : gateway.Qualified(sender);
}

std::optional<Mailbox> FirstAddress(std::string text) {
  const std::scoped_lock hold(AddressParserLock());
  AddressList list(std::span<char>(text.data(), text.size()));
  ParsedAddress first;
  if (!list.Next(&first)) return std::nullopt;
  return Mailbox{std::string(first.address), std::string(first.local_part),
                 std::string(first.domain)};
}

}  // namespace qob::notify
