// What a check of the queue finds, told as it is found.
#ifndef TOOLS_QOB_QUEUE_CHECK_REPORT_H
#define TOOLS_QOB_QUEUE_CHECK_REPORT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "../arguments.h"
#include "../failure.h"
#include "lock_holder.h"

namespace cli::queue {

enum class Kind {
  kStaleLock,
  kHeldLock,        // of a message that is in use
  kOrphanFile,      // a message file that no record knows
  kMissingFile,     // a record without its file
  kLostRecipients,  // recipients without a message
  kInterruptedMove,
  kNoRecipients,  // a whole message that is for nobody
  kUnfinished,    // an envelope whose writing ended half-way
  kStrayReasons,  // reasons without a message beside them
  kSecondRecord,
  kStrayMark,  // on a channel without a message
  kStrayNote,
  kUnknownDirectory,  // the record names a directory that is not known here
  kStrangeRecord,     // its key is not made from an id
  kDamagedRecord,
  kDamagedDatabase,
  kMissingDatabase,
  kDamagedCounter,
  kLeftover,  // a file that was never finished
  kNoLocks,
  kVolatile,
  kModes,  // others may read or write
};

enum class Remedy {
  kNone,      // not by --repair
  kPossible,  // --repair would
  kDone,
  kFailed,
};

struct Finding {
  Kind kind = Kind::kStaleLock;
  std::string queue;                // the queue directory
  std::optional<std::uint32_t> id;  // of the message
  std::string path;                 // what it is about
  std::string text;                 // what is wrong
  Remedy remedy = Remedy::kNone;
  std::string detail;   // what was or would be done, or has to be done by hand
  bool certain = true;  // false: it could not be looked at under its lock
  LockHolder holder;
};

class CheckReport {
 public:
  explicit CheckReport(const Arguments& arguments) : json_(arguments.Has("--json")) {}

  void Tell(const Finding& finding);
  // Messages that no finding is about.
  void CountMessages(std::size_t count) { messages_ += count; }
  // The last line of the readable form.
  void TellSum() const;
  ExitCode code() const;

 private:
  void TellJson(const Finding& finding) const;

  bool json_;
  std::size_t messages_ = 0;
  std::size_t in_use_ = 0;
  std::size_t mended_ = 0;
  std::size_t standing_ = 0;
  std::size_t uncertain_ = 0;
};

}  // namespace cli::queue

#endif
