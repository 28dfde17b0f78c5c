// Filters of the queue's commands: any text is read or refused with a place inside it; what was
// read answers for every message, and its opposite answers the opposite.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "failure.h"
#include "queue/filter.h"

namespace {

using cli::queue::Filter;
using cli::queue::Message;
using cli::queue::Recipient;
using cli::queue::TextStore;

constexpr std::int64_t kNow = 1795257000;

void Require(bool holds) {
  if (!holds) std::abort();
}

std::optional<Filter> Read(const std::string& text) {
  try {
    return Filter(text, kNow);
  } catch (const cli::Failure& failure) {
    Require(failure.code() == cli::ExitCode::kUsage);
    Require(std::string_view(failure.what()).starts_with("filter"));
    Require(std::string_view(failure.what()).size() < 1000);
    return std::nullopt;
  }
}

// A full message, an empty one, and one of which little is known.
struct Samples {
  TextStore texts;
  std::array<Recipient, 2> recipients;
  std::array<Message, 3> messages;

  Samples() {
    recipients[0].address = texts.Keep("bob@one.example");
    recipients[1].address = texts.Keep("\"a@b\"@two.example");
    recipients[1].state = texts.Keep("delivered");
    Message& full = messages[0];
    full.sender = texts.Keep("Alice@example.org");
    full.status = texts.Keep(std::string(255, 'a') + "\x01\xff");
    full.state = texts.Keep("HELD");
    full.held = full.locked = full.files_known = full.delay_noticed = true;
    full.size = 4096;
    full.created = kNow - 7200;
    full.retry_at = kNow + 600;
    full.recipients = recipients;
    full.pending = 1;
    messages[1].files_known = true;
    messages[1].size = 0;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Samples samples;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::optional<Filter> filter = Read(text);
  if (!filter.has_value()) return 0;
  // One level deeper than what was read, which may be one too many.
  const std::optional<Filter> opposite = Read("not (" + text + ")");
  const bool empty = text.find_first_not_of(" \t\r\n") == std::string::npos;
  for (const Message& message : samples.messages) {
    const bool fits = filter->Fits(message);
    if (opposite.has_value() && !empty) Require(opposite->Fits(message) != fits);
  }
  return 0;
}
