// The envelope of a committed entry, read back.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <qobplatform/mqapi.h>

#include "platform/mq/database.h"
#include "platform/mq/envelope_note.h"
#include "platform/mq/guard.h"

namespace {

using qob::mq::NotedRecipient;
using qob::mq::NotedSender;
using qob::mq::NoteReader;

// What a caller gets is the first part of this.
struct HeldEnvelope : stEnvelope {
  MQEnvFrom sender{};
  MQEnvFromNode sender_node{};
  std::vector<MQEnvRecip> recipient_records;
  std::vector<MQEnvRecipNode> recipient_nodes;
  std::unique_ptr<char[]> texts;
};

// Copies of texts one behind the other. A note has more room for each than it needs here.
class Texts {
 public:
  explicit Texts(char* room) : next_(room) {}
  char* Add(std::string_view text) {
    char* const copy = next_;
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    next_ += text.size() + 1;
    return copy;
  }

 private:
  char* next_;
};

void Fill(const NotedSender& from, Texts* texts, HeldEnvelope* envelope) {
  envelope->sender = {
      texts->Add(from.address),    texts->Add(from.envelope_id), from.ret, from.fourth,
      texts->Add(from.fifth_text), texts->Add(from.channel)};
  envelope->sender_node = {&envelope->sender, nullptr};
  envelope->senders = {&envelope->sender_node, &envelope->sender_node, 1};
}

void Fill(NoteReader* note, Texts* texts, HeldEnvelope* envelope) {
  auto& records = envelope->recipient_records;
  auto& nodes = envelope->recipient_nodes;
  records.reserve(note->recipients());
  nodes.reserve(note->recipients());
  NotedRecipient from;
  while (note->Next(&from)) {
    records.push_back({texts->Add(from.address), texts->Add(from.original), from.notify_flags,
                       texts->Add(from.fourth_text), texts->Add(from.fifth_text)});
    nodes.push_back({&records.back(), nullptr});
    if (nodes.size() > 1) nodes[nodes.size() - 2].next = &nodes.back();
  }
  envelope->recipients = {&nodes.front(), &nodes.back(), note->recipients()};
}

std::unique_ptr<HeldEnvelope> NewEnvelope(std::string_view bytes) {
  NoteReader note;
  if (!note.Open(bytes)) return nullptr;
  auto envelope = std::make_unique<HeldEnvelope>();
  envelope->texts = std::make_unique<char[]>(bytes.size());
  Texts texts(envelope->texts.get());
  Fill(note.sender(), &texts, envelope.get());
  Fill(&note, &texts, envelope.get());
  envelope->last = note.last();
  return envelope;
}

}  // namespace

extern "C" stEnvelope* GetMQEnvelope(uint32_t id) {
  return qob::mq::Guarded([&]() -> stEnvelope* {
    std::shared_ptr<qob::store::RecordFile> file;
    if (qob::mq::OpenDatabase(qob::mq::QueueDirectory(), &file) != qob::store::kOk) return nullptr;
    std::string note;
    if (file->GetNote(id, &note) != qob::store::kOk) return nullptr;
    // The message may have been removed without its channel being told.
    qob::spool::MessageRecord message;
    if (qob::mq::FindMessage(*file, id, &message) != qob::store::kOk) return nullptr;
    return NewEnvelope(note).release();
  });
}

extern "C" void FreeMQEnvelope(stEnvelope* envelope) {
  delete static_cast<HeldEnvelope*>(envelope);
}
