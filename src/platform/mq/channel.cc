// Channels: a mark in the message database for every entry that waits on one, in the order of
// commit. The envelope as it was put is kept as a note for as long as the entry has a mark.
#include <memory>
#include <string>

#include <qobplatform/mqapi.h>

#include "platform/mq/database.h"
#include "platform/mq/guard.h"
#include "platform/mq/report.h"

struct MQChannel {
  std::string name;
  std::shared_ptr<qob::store::RecordFile> file;
  std::int64_t place = 0;  // the order of the mark that the walk stands on
};

namespace {

using qob::store::RecordFile;
using qob::store::Status;
using qob::store::Transaction;

// The last mark of an entry takes its note along.
Status RemoveFromChannel(RecordFile& file, const std::string& name, uint32_t id) {
  Transaction together(file);
  Status status = together.begun();
  if (status == qob::store::kOk) status = file.RemoveMark(name, id);
  bool marked = true;
  if (status == qob::store::kOk) status = file.HasMark(id, &marked);
  if (status == qob::store::kOk && !marked) {
    status = file.RemoveNote(id);
    if (status == qob::store::kNotFound) status = qob::store::kOk;
  }
  return status == qob::store::kOk ? together.Commit() : status;
}

// A message that people keep back is nobody's work until they release it.
bool IsHeld(const qob::spool::MessageRecord& message) {
  return qob::spool::FieldText(message.stateText) == qob::spool::kHeld;
}

// The first mark behind the place whose message stands and is not held; the place moves there.
Status Walk(MQChannel& channel, std::uint32_t* id) {
  qob::store::Mark mark;
  qob::spool::MessageRecord message;
  std::int64_t place = channel.place;
  for (;;) {
    Status status = channel.file->NextMark(channel.name, place, &mark);
    if (status != qob::store::kOk) return status;
    place = mark.order;
    status = qob::mq::FindMessage(*channel.file, mark.id, &message);
    if (status == qob::store::kNotFound) continue;
    if (status != qob::store::kOk) return status;
    if (IsHeld(message)) continue;
    channel.place = place;
    *id = mark.id;
    return status;
  }
}

std::int32_t Walked(const char* call, MQChannel* channel, std::uint32_t* id) {
  return qob::mq::Guarded([&] {
    const Status status = Walk(*channel, id);
    if (status != qob::store::kOk && status != qob::store::kEndOfFile) {
      qob::mq::TellStoreFailure(call, channel->name, status);
    }
    return status == qob::store::kOk;
  });
}

}  // namespace

extern "C" MQChannel* OpenMQChannel(const char* channelName) {
  if (channelName == nullptr || *channelName == '\0') return nullptr;
  return qob::mq::Guarded([&]() -> MQChannel* {
    auto channel = std::make_unique<MQChannel>();
    channel->name = channelName;
    const Status status = qob::mq::OpenDatabase(qob::mq::QueueDirectory(), &channel->file);
    return status == qob::store::kOk ? channel.release() : nullptr;
  });
}

extern "C" int32_t RemoveMQQID(MQChannel* channel, uint32_t id) {
  if (channel == nullptr) return 0;
  return qob::mq::Guarded(
      [&] { return RemoveFromChannel(*channel->file, channel->name, id) == qob::store::kOk; });
}

extern "C" int32_t CloseMQChannel(MQChannel* channel) {
  if (channel == nullptr) return 0;
  delete channel;
  return 1;
}

extern "C" int32_t GetFirstMQEntry(MQChannel* channel, uint32_t* id) {
  if (channel == nullptr || id == nullptr) return 0;
  channel->place = 0;
  return Walked("GetFirstMQEntry", channel, id);
}

extern "C" int32_t GetNextMQEntry(MQChannel* channel, uint32_t* id) {
  if (channel == nullptr || id == nullptr) return 0;
  return Walked("GetNextMQEntry", channel, id);
}
