// Addresses as people type them: "ann@example.org", "Ann Example <ann@example.org>", lists of them.
#ifndef TOOLS_QOB_MAIL_MAILBOX_H
#define TOOLS_QOB_MAIL_MAILBOX_H

#include <string>
#include <string_view>
#include <vector>

#include "header_words.h"

namespace cli::mail {

struct Mailbox {
  std::string name;     // UTF-8, without quotes; "" when there is none
  std::string address;  // local@domain, or a local part alone
};

// Mailboxes divided by commas; empty items are passed over. Of a group its members are taken.
// Throws Failure(kData); `what` stands in front of its line.
std::vector<Mailbox> ParseMailboxes(const std::string& what, std::string_view text);

// The addresses of a header field that stands in a message already, unfolded; names may be in any
// character set.
std::vector<std::string> AddressesOfField(const std::string& what, std::string_view value);

// An address alone: a local part, or one with a domain or an address literal. No quotes around or
// brackets. Throws Failure(kData).
void RequireAddress(const std::string& what, std::string_view address);

// As a header field has it.
std::string HeaderForm(const Mailbox& mailbox, const WordCharset& charset);

}  // namespace cli::mail

#endif
