// Channels: a mark in the message database for every entry that waits on one. The envelope as it
// was put is kept as a note for as long as the entry has a mark.
#include <memory>
#include <new>
#include <string>

#include <qobplatform/mqapi.h>

#include "platform/mq/database.h"

struct MQChannel {
  std::string name;
  std::shared_ptr<qob::store::RecordFile> file;
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

}  // namespace

extern "C" MQChannel* OpenMQChannel(const char* channelName) {
  if (channelName == nullptr || *channelName == '\0') return nullptr;
  try {
    auto channel = std::make_unique<MQChannel>();
    channel->name = channelName;
    if (qob::mq::OpenDatabase(&channel->file) != qob::store::kOk) return nullptr;
    return channel.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

extern "C" int32_t RemoveMQQID(MQChannel* channel, uint32_t id) {
  if (channel == nullptr) return 0;
  try {
    return RemoveFromChannel(*channel->file, channel->name, id) == qob::store::kOk ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

extern "C" int32_t CloseMQChannel(MQChannel* channel) {
  if (channel == nullptr) return 0;
  delete channel;
  return 1;
}
