// A message of another program on its way into the queue: whatever it is, it comes out with a
// header, with CR LF, without Bcc, its text whole; and once more it comes out the same.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "config_keys.h"
#include "failure.h"
#include "mail/ready_message.h"

namespace {

using cli::mail::Input;
using cli::mail::ReadyMessage;
using cli::mail::Spool;

void Check(bool condition) {
  if (!condition) std::abort();
}

std::string TextOf(Spool* spool) {
  std::string text(static_cast<std::size_t>(spool->traits().size_bytes), '\0');
  Check(pread(spool->file().descriptor(), text.data(), text.size(), 0) ==
        static_cast<ssize_t>(text.size()));
  return text;
}

std::string Through(const std::string& text) {
  ReadyMessage message(Input::OfText(text));
  message.RemoveBcc();
  if (!message.HasField("from")) message.AddField("From: ann@example.org");
  Check(message.HasField("From") && !message.HasField("bcc"));
  Spool spool(false);
  message.WriteTo(&spool, false);
  return TextOf(&spool);
}

// Fields by name and continuation, as a plain reader sees them; where the header ends.
std::size_t CheckHeader(const std::string& text) {
  bool from = false;
  for (std::size_t at = 0;;) {
    const std::size_t end = text.find("\r\n", at);
    Check(end != std::string::npos);
    if (end == at) {
      Check(from);
      return end + 2;
    }
    const std::string line = text.substr(at, end - at);
    Check(line.find('\n') == std::string::npos);
    at = end + 2;
    if (line[0] == ' ' || line[0] == '\t') continue;
    const std::size_t colon = line.find(':');
    Check(colon != std::string::npos && colon > 0);
    std::string name = line.substr(0, colon);
    while (!name.empty() && (name.back() == ' ' || name.back() == '\t')) name.pop_back();
    Check(!cli::EqualFold(name, "bcc") && !cli::EqualFold(name, "resent-bcc"));
    from = from || cli::EqualFold(name, "from");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  try {
    const auto recipients = ReadyMessage(Input::OfText(text)).Recipients();
    for (const std::string& address : recipients) {
      Check(!address.empty() && address[0] != '-');
      Check(address.find_first_of(std::string("\r\n\0", 3)) == std::string::npos);
    }
  } catch (const cli::Failure&) {
    // An address that is none: the command ends there.
  }
  const std::string sent = Through(text);
  const std::size_t body = CheckHeader(sent);
  Check(sent.find('\n') != 0);
  // Without the line ends the body is the end of what came in.
  std::string left;
  for (std::size_t i = body; i < sent.size(); ++i) {
    if (sent[i] == '\n') Check(sent[i - 1] == '\r');
    if (sent[i] != '\r' && sent[i] != '\n') left += sent[i];
  }
  std::string given;
  for (const char c : text) {
    if (c != '\r' && c != '\n') given += c;
  }
  Check(given.ends_with(left));
  Check(Through(sent) == sent);
  return 0;
}
