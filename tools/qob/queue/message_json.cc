#include "message_json.h"

#include "ids.h"
#include "times.h"

namespace cli::queue {

void PutMoment(std::string_view name, std::string_view seconds_name, std::int64_t seconds,
               JsonWriter* line) {
  if (seconds == 0) {
    line->Null(name);
    line->Null(seconds_name);
    return;
  }
  line->Text(name, UtcText(seconds).view());
  line->Number(seconds_name, seconds);
}

void PutMessage(const OpenQueue& queue, const Message& message, JsonWriter* line) {
  line->Text("queue", queue.places()[message.home].path);
  line->Text("id", IdText(message.id));
  line->Text("directory", message.directory);
  line->Text("sender", message.sender);
  line->Text("envelope_id", message.envelope_id);
  line->Text("status", message.status);
  line->Text("state", message.state);
  line->Switch("held", message.held);
  if (message.files_known) {
    line->Switch("locked", message.locked);
  } else {
    line->Null("locked");
  }
  line->NumberIf("size", message.size != kUnknown, message.size);
  PutMoment("created", "created_seconds", message.created, line);
  PutMoment("changed", "changed_seconds", message.changed, line);
  PutMoment("retry", "retry_seconds", message.retry_at, line);
  line->Number("tries", message.tries);
  line->Number("part", message.part_number);
  line->Switch("delay_noticed", message.delay_noticed);
  line->Number("pending", static_cast<std::int64_t>(message.pending));
}

void PutRecipientStates(const Message& message, JsonWriter* line) {
  line->BeginList("recipients");
  for (const Recipient& recipient : message.recipients) {
    line->Begin();
    line->Text("address", recipient.address);
    line->Text("state", recipient.state);
    line->End();
  }
  line->EndList();
}

}  // namespace cli::queue
