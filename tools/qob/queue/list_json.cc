#include "list_json.h"

#include "../output.h"
#include "message_json.h"

namespace cli::queue {
namespace {

constexpr const char* kSchema = "qob.queue-list/1";
constexpr std::size_t kBlockBytes = 64 * 1024;

}  // namespace

void PrintListJson(const OpenQueue& queue, std::span<Message* const> messages) {
  JsonWriter line;
  for (const Message* const message : messages) {
    line.BeginLine(kSchema);
    PutMessage(queue, *message, &line);
    PutRecipientStates(*message, &line);
    line.EndLine();
    if (line.text().size() < kBlockBytes) continue;
    Out().Write(line.text());
    line.Clear();
  }
  Out().Write(line.text());
}

}  // namespace cli::queue
