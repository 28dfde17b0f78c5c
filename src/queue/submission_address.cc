#include "queue/submission_address.h"

#include <mutex>

#include "rfc822/address_list.h"
#include "rfc822/parser_locks.h"

namespace qob {
namespace {

std::string Joined(std::string_view local_part, std::string_view domain) {
  std::string address;
  address.reserve(local_part.size() + 1 + domain.size());
  return address.append(local_part).append(1, '@').append(domain);
}

// The members of a normalised "phrase: address, address;"; empty when the address is no group. The
// phrase may be quoted.
std::string_view GroupMembers(std::string_view address) {
  if (!address.ends_with(';')) return {};
  bool quoted = false;
  for (std::size_t at = 0; at < address.size(); ++at) {
    quoted ^= address[at] == '"';
    if (address[at] == ':' && !quoted) return address.substr(at + 1, address.size() - at - 2);
  }
  return {};
}

// True when the text names anybody. It may be changed.
bool TakeEach(std::string text, std::string_view home, bool may_be_group,
              const std::function<void(std::string&&)>& take) {
  AddressList list(text);
  ParsedAddress address;
  bool any = false;
  while (list.Next(&address)) {
    any = true;
    const std::string_view members =
        may_be_group ? GroupMembers(address.address) : std::string_view();
    if (!members.empty()) {
      TakeEach(std::string(members), home, false, take);
    } else {
      take(Joined(address.local_part, address.domain.empty() ? home : address.domain));
    }
  }
  return any;
}

}  // namespace

SenderAddress ReadSender(std::string_view text) {
  const std::scoped_lock hold(AddressParserLock());
  std::string copy(text);  // the parser writes into its text
  AddressList list(copy);
  ParsedAddress address;
  if (!list.Next(&address)) return {std::string(text), {}};
  if (address.domain.empty()) return {std::string(address.local_part), {}};
  return {Joined(address.local_part, address.domain), std::string(address.domain)};
}

void ForEachRecipient(std::string_view text, std::string_view home,
                      const std::function<void(std::string&& address)>& take) {
  const std::scoped_lock hold(AddressParserLock());
  if (!TakeEach(std::string(text), home, true, take)) take(std::string(text));
}

}  // namespace qob
