// The exported calls of an entry: pointers looked at, nothing thrown.
#include <cstring>
#include <memory>
#include <string>

#include <qobplatform/mqapi.h>

#include "platform/mq/entry.h"
#include "platform/mq/envelope_note.h"
#include "platform/mq/guard.h"

struct MQContext {
  std::unique_ptr<qob::mq::Entry> entry;
};

namespace {

using qob::mq::Guarded;

bool Serves(const MQContext* context) { return context != nullptr && context->entry->IsOurs(); }

// Ends the entry with `end`, which needs no memory.
int32_t Ended(MQContext* context, bool (qob::mq::Entry::*end)()) {
  const std::unique_ptr<MQContext> owned(context);
  if (!Serves(context)) return 0;
  return Guarded([&] { return (*context->entry.*end)(); }) ? 1 : 0;
}

}  // namespace

extern "C" MQContext* CreateMQEntry(void) {
  return Guarded([]() -> MQContext* {
    // Made before the entry: nothing may fail while it holds a lock.
    auto context = std::make_unique<MQContext>();
    context->entry = qob::mq::Entry::Create();
    return context->entry != nullptr ? context.release() : nullptr;
  });
}

extern "C" const char* GetMQPathName(MQContext* entry, const char* extension) {
  if (entry == nullptr) return nullptr;
  return Guarded([&] { return entry->entry->PathName(extension == nullptr ? "" : extension); });
}

extern "C" int32_t InsertMQChannel(MQContext* entry, const char* channel, int32_t) {
  if (!Serves(entry) || channel == nullptr || *channel == '\0') return 0;
  return Guarded([&] {
    entry->entry->AddChannel(channel);
    return true;
  });
}

extern "C" int32_t PutMQEnvelope(MQContext* entry, const stEnvelope* envelope) {
  if (!Serves(entry) || envelope == nullptr) return 0;
  return Guarded([&] {
    std::string note;
    if (!qob::mq::WriteNote(*envelope, &note)) return false;
    entry->entry->SetEnvelope(std::move(note));
    return true;
  });
}

extern "C" int32_t CloseMQEntry(MQContext* entry) { return Ended(entry, &qob::mq::Entry::Commit); }

extern "C" int32_t DiscardMQEntry(MQContext* entry) {
  return Ended(entry, &qob::mq::Entry::Discard);
}
