#include "list_json.h"

#include <string>

#include "../output.h"
#include "message_json.h"

namespace cli::queue {
namespace {

constexpr const char* kSchema = "qob.queue-list/1";
constexpr std::size_t kBlockBytes = 32 * 1024;

}  // namespace

void PrintListJson(const OpenQueue& queue, std::span<Message* const> messages) {
  std::string block;
  block.reserve(2 * kBlockBytes);
  JsonWriter line(&block);
  for (const Message* const message : messages) {
    line.BeginLine(kSchema);
    PutMessage(queue, *message, &line);
    line.BeginList("recipients");
    for (const Recipient& recipient : message->recipients) {
      line.Begin();
      line.Text("address", recipient.address);
      line.Text("state", recipient.state);
      line.End();
    }
    line.EndList();
    line.EndLine();
    if (block.size() < kBlockBytes) continue;
    Out().Write(block);
    block.clear();
  }
  Out().Write(block);
}

}  // namespace cli::queue
