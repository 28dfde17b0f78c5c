// Changing messages: choosing them, taking each one's lock, reading its records again, acting,
// letting go, and telling what became of it. What all changing commands share.
#ifndef TOOLS_QOB_QUEUE_CHANGE_H
#define TOOLS_QOB_QUEUE_CHANGE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <qob3xapi/mesgdb.h>

#include "../arguments.h"
#include "../failure.h"
#include "lock_holder.h"
#include "open_queue.h"
#include "platform/spool/message_record.h"

namespace cli::queue {

enum class Result {
  kDone,
  kUnchanged,  // it is so already
  kWould,      // would be done: nothing was
  kLocked,     // left alone: another has its lock
  kChanged,    // left alone: it is no longer as it was when it was chosen
  kGone,       // no such message, or not any more
  kRefused,    // left alone for what it is
  kFailed,
};

struct Outcome {
  Result result = Result::kDone;
  std::string detail;             // why, or what else is worth knowing; "" = nothing
  ExitCode code = ExitCode::kOk;  // of kRefused and kFailed
  LockHolder holder;              // of kLocked
};

inline Outcome Refused(std::string why) {
  return {Result::kRefused, std::move(why), ExitCode::kData, {}};
}
inline Outcome Failed(std::string why, ExitCode code = ExitCode::kIo) {
  return {Result::kFailed, std::move(why), code, {}};
}
// A status of the message database that no call should have given.
Outcome StoreFailed(qob::store::Status status);

// A message whose lock is held, as its records are now.
struct Target {
  const OpenQueue& queue;
  const Place& home;    // has its records
  const Place& holder;  // has its files
  std::uint32_t id;
  std::string base;  // path without an extension, as the library takes it
  MesgHandle* db;    // of the home
  qob::spool::MessageRecord record;
};

// A message that records are looked for, by the place whose database has them.
struct Candidate {
  std::uint32_t home = 0;
  std::uint32_t id = 0;
};

struct Action {
  const char* verb;  // "hold"
  const char* done;  // "held"
  std::function<Outcome(Target&)> act;
  // Where the first operand names a set of messages: those of it. The other operands narrow the
  // set, and may be missing.
  std::function<std::vector<Candidate>(const OpenQueue&)> among = {};
  bool always_asks = false;  // --yes is needed for a single message, too
};

// The whole command: operands, --yes, --dry-run, --json. prepare is called once the queue is open,
// before anything is chosen; it may throw Failure.
ExitCode RunChange(const Arguments& arguments, const Action& action,
                   const std::function<void(const OpenQueue&)>& prepare = {});

// "/var/spool/qob/0001A2B3" of "/var/spool/qob\0001A2B3".
std::string NativeBase(const std::string& base);

// One line in the site's log about one change: what, of which message, by whom.
void Audit(const std::string& verb, std::uint32_t id, const std::string& base,
           std::string_view sender, const std::string& detail);

// The same about a file or directory that belongs to no message.
void AuditPlace(const std::string& verb, const std::string& path, const std::string& detail);

// Collects what became of each message, tells it, and knows the command's exit code.
class Teller {
 public:
  Teller(const Arguments& arguments, const Action& action);

  void Tell(std::uint32_t id, const std::string& base, std::string_view sender,
            const Outcome& outcome);
  ExitCode code() const;

 private:
  void TellJson(std::uint32_t id, const std::string& base, std::string_view sender,
                const Outcome& outcome) const;
  void Count(const Outcome& outcome);

  const Action& action_;
  bool json_;
  ExitCode failure_ = ExitCode::kOk;  // of the first kRefused or kFailed
  bool busy_ = false;
  bool gone_ = false;
};

}  // namespace cli::queue

#endif
