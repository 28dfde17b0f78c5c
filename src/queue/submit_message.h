// Submission: a message file or a finished entry becomes a message of the queue.
#pragma once
#include <cstdint>
#include <span>
#include <string_view>

#include <qob3xapi/submit.h>
#include <qobplatform/mqapi.h>

namespace qob {

struct Submission {
  std::string_view sender;
  std::string_view envelope_id;
  std::int32_t ret = 0;
  std::string_view sender_extra;
  const char* channel = nullptr;
  std::span<const MimeRecipient> recipients;
  std::string_view date;               // empty: the time now
  const char* message_file = nullptr;  // only read
  bool return_receipt = false;
  bool no_mime_version = false;
};

// The queue path as heap text when the message is in the queue; null when it is not, and then
// nothing of it is left there. Throws std::bad_alloc.
char* SubmitFile(const Submission& submission);

// A new entry; null, which is logged, when the queue gives none.
MQContext* NewQueueEntry();
// Envelope, channel and commit for an entry whose message file stands. The entry is consumed except
// when memory is exhausted, which is logged.
bool SubmitEntry(MQContext* entry, const EnvFrom* sender, const EnvRecipNode* recipients,
                 const char* channel);

}  // namespace qob
