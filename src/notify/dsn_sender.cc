#include "notify/dsn_sender.h"

#include "platform/os/process.h"

namespace qob::notify {

std::optional<DsnSender> DsnSenderFromQueue(const char* queue_file, MesgHandle* database) {
  EnvFrom* const sender = GetEnvelopeFrom(queue_file, database);
  if (sender == nullptr) return std::nullopt;
  const std::int32_t created = GetMessageCreationTime(queue_file, database);
  return DsnSender(sender, created > 0 ? created : static_cast<std::int32_t>(os::Now()));
}

}  // namespace qob::notify
