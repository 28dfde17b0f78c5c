// A text with files, sent to a list of recipients.
#pragma once
#include <qob3xapi/util.h>

#include "notify/draft.h"

namespace qob::notify {

// Everything stays the caller's.
struct GeneratedMessage {
  const char* from;
  const char* channel;
  const ms* to;
  const char* subject;
  void* pass_through;
  const ms* text;         // null: no text part
  const ms* attachments;  // paths
};

// kDone once the message was built and handed to submission, whatever came of that. Throws
// std::bad_alloc, but not afterwards.
Step SendGenerated(const GeneratedMessage& message);

}  // namespace qob::notify
