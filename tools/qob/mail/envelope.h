// The envelope of a message: who sends it, who gets it, and what is to be reported.
#ifndef TOOLS_QOB_MAIL_ENVELOPE_H
#define TOOLS_QOB_MAIL_ENVELOPE_H

#include <cstdint>
#include <string>
#include <vector>

#include "../arguments.h"

namespace cli::mail {

// Bits of a recipient's notify flags.
enum Notify : std::int32_t {
  kNotifySuccess = 1,
  kNotifyFailure = 2,
  kNotifyDelay = 4,
  kNotifyNever = 8
};

struct Recipient {
  std::string address;
  std::string original;  // "rfc822;ann@example.org"; "" when not given
};

struct Envelope {
  std::string sender;  // "<>" for none; "" when not given
  std::string full_name;
  std::string envelope_id;
  std::int32_t return_option = 0;  // 1 headers, 2 the full message
  std::int32_t notify = 0;
  std::vector<Recipient> recipients;
  std::vector<std::string> originals;  // in the order of the recipients
  bool receipt = false;
};

// What the options and operands tell. Throws Failure.
Envelope ReadEnvelope(const Arguments& arguments);

// "success,failure", "delay", "never". Throws Failure(kUsage).
std::int32_t ParseNotify(const std::string& text);

// One more recipient, unless he is among them already.
void AddRecipient(const std::string& address, Envelope* envelope);
// Gives the recipients their original ones. Throws Failure when there are more of these.
void AssignOriginals(Envelope* envelope);

}  // namespace cli::mail

#endif
