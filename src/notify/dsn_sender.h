// The sender of a queued message as a status notification takes it. The envelope store's record and
// this one differ in their fifth field: neither is ever taken for the other.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>

#include <qob3xapi/dsn.h>
#include <qob3xapi/envelope.h>

namespace qob::notify {

class DsnSender {
 public:
  DsnSender(EnvFrom* sender, std::int32_t arrival_time)
      : sender_(sender),
        record_{sender->address, sender->envelopeId, sender->firstOption, sender->secondOption,
                arrival_time} {}
  // Good as long as this lives.
  const DsnEnvFrom& record() const { return record_; }

 private:
  struct Release {
    void operator()(EnvFrom* record) const { FreeEnvFrom(record); }
  };
  std::unique_ptr<EnvFrom, Release> sender_;
  DsnEnvFrom record_;
};

// Sender, options and the time the message came in; nothing when the queue does not know it.
std::optional<DsnSender> DsnSenderFromQueue(const char* queue_file, MesgHandle* database);

}  // namespace qob::notify
