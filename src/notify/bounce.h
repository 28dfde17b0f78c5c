// A queued message goes back to its sender, or to the postmaster.
#pragma once
#include <cstdint>

#include <qob3xapi/envelope.h>
#include <qob3xapi/util.h>

#include "notify/draft.h"

namespace qob::notify {

enum class Outcome : std::int32_t {
  kFailed = -1,
  kReturned = 0,
  kToPostmaster = 1,
  kDiscarded = 2
};

// Everything stays the caller's.
struct BounceOrder {
  const char* queue_file;  // without extension
  const ms* reasons;       // without line ends
  void* pass_through;
  MesgHandle* database;  // null: that of the configured queue directory
};
enum class Content { kMessage, kHeader };

// `given` is the sender record when the caller has it. Failures are logged; throws std::bad_alloc,
// but never after anything was submitted.
Outcome BounceToSender(const BounceOrder& order, const EnvFrom* given, Content content);

// kDone when it was submitted. *addressed tells for a bad_alloc whether the address was made.
Step BounceToPostmaster(const BounceOrder& order, bool* addressed);

}  // namespace qob::notify
