// [Gateway] InstallationId as start-up read it. Without that key the text is made from what tells
// this machine's queue from others: numbers of messages come from a counter in the temporary
// directory and begin again when that is emptied, as many machines do at each start, so the run of
// the machine belongs to it.
#include "queue/installation.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "platform/os/file_status.h"
#include "platform/os/process.h"
#include "platform/spool/site.h"

namespace qob {
namespace {

constexpr std::string_view kUnknown = "unknown";
constexpr std::string_view kDomainOfUse = "qob3xapi Message-ID";

// What an atom of an address may be made of, dots between.
bool MayStand(char c) {
  constexpr std::string_view kMarks = ".!#$%&'*+-/=?^_`{|}~";
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
         kMarks.find(c) != std::string_view::npos;
}

// The number cannot be turned back into the machine's id, which is not for strangers.
std::string MachineText() {
  std::uint64_t number = 0xcbf29ce484222325;  // FNV-1a
  const auto add = [&number](std::string_view text) {
    for (char c : text) number = (number ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    number = (number ^ 0xff) * 0x100000001b3;  // no byte of a text
  };
  add(kDomainOfUse);
  for (const std::string& text : {os::MachineId(), os::BootId(), os::HostName()}) add(text);
  add(spool::TheSite().queue_dir);
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return digits.data();
}

}  // namespace

std::string InstallationId() {
  const std::string_view given = spool::TheSite().installation;
  if (given == spool::kMachineInstallation) {
    static const std::string machine = MachineText();
    return machine;
  }
  std::string text;
  for (char c : given) {
    if (MayStand(c)) text += c;
  }
  return text.empty() ? std::string(kUnknown) : text;
}

}  // namespace qob
