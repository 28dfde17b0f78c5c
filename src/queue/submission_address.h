// Sender and recipients of a submission, brought to the form that the envelope keeps.
#pragma once
#include <functional>
#include <string>
#include <string_view>

namespace qob {

struct SenderAddress {
  std::string text;  // "local@domain"; the local part alone; the text itself when it is no address
  std::string domain;  // empty when it has none
};
// Throws std::bad_alloc.
SenderAddress ReadSender(std::string_view text);

// Calls take(address) for each recipient that a text names: one, as a rule; each address of a list
// and each member of a group, so that nobody is left out. An address without a domain gets
// "@<home>"; a text that is no address is taken as it is. Throws std::bad_alloc.
void ForEachRecipient(std::string_view text, std::string_view home,
                      const std::function<void(std::string&& address)>& take);

}  // namespace qob
