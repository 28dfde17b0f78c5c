// One message of a checked queue, judged under its lock in every directory of the queue, on what
// its records and files are then; and mended there and then when that is asked for.
#ifndef TOOLS_QOB_QUEUE_CHECK_MESSAGE_H
#define TOOLS_QOB_QUEUE_CHECK_MESSAGE_H

#include <cstdint>
#include <string>
#include <vector>

#include "check_census.h"
#include "check_report.h"
#include "lock_holder.h"
#include "open_queue.h"
#include "record_access.h"

namespace cli::queue {

struct CheckMode {
  bool repair = false;
  bool locks = true;  // locks can be taken; without them nothing is certain
  // The site's own queue directory is among those checked: what no record knows is known by none.
  bool whole_system = true;
};

// All that belongs to one id.
struct MessageFacts {
  struct At {
    bool message_file = false;
    bool reasons = false;
    std::vector<StoredRecord> messages;  // of the database there
    std::vector<StoredRecord> recipients;
    bool mark = false;
    bool note = false;
  };
  std::vector<At> at;  // by place
};

class MessageCheck {
 public:
  MessageCheck(const OpenQueue& queue, const CheckMode& mode, CheckReport* report)
      : queue_(queue), mode_(mode), report_(*report) {}

  // Throws Failure when a database cannot be read.
  void Judge(std::uint32_t id);
  // A record whose bytes no longer are what was written.
  void JudgeDamaged(const Census::DamagedRecord& record);
  // What is left of the messages whose damaged records are gone.
  void JudgeRest();

 private:
  void Begin(std::uint32_t id);
  void End();
  // True when the message may be judged: nobody else has any of its locks.
  bool TakeLocks();
  bool TakeLock(std::size_t place);
  bool StillGuarded() const;

  void Read();
  void ReadDatabase(std::size_t place);

  void JudgeRecords();
  void JudgeRecordOf(std::size_t home);
  void JudgeMissing(std::size_t home, std::size_t holder);
  void JudgeForNobody(std::size_t holder);
  void JudgeUnfinished(std::size_t home);
  void JudgeLost(std::size_t home);
  void JudgeFiles();
  void JudgeOrphan(std::size_t place);
  void TellPerhaps(Finding finding);
  void JudgeReasons(std::size_t place);

  Finding Made(Kind kind, std::size_t place, const char* extension, std::string text) const;
  // Tells the finding, mended by mend() where that is asked for: "" or why not, and *detail what
  // was done. `plan` says what it would do.
  template <class Mend>
  bool Settle(Finding finding, const std::string& plan, Mend&& mend);
  std::string BaseAt(std::size_t place) const;

  // Each gives "" or why it failed.
  std::string Finish(std::size_t from, std::size_t to, const char* extension, std::string* detail);
  std::string PutAway(std::size_t place, const char* extension, const std::string& why,
                      std::string* detail);
  std::string SaveDamaged(const Census::DamagedRecord& record, std::string* detail);
  std::string SaveAndDelete(std::size_t home, const std::vector<const StoredRecord*>& records,
                            bool marks_too, const std::string& why, std::string* detail);

  const OpenQueue& queue_;
  const CheckMode mode_;
  CheckReport& report_;

  std::uint32_t id_ = 0;
  MessageFacts facts_;
  std::vector<MessageLock> locks_;
  struct Guard {
    std::size_t place;
    LockHolder holder;
  };
  std::vector<Guard> guards_;           // stale locks that stand: nobody else can take them
  std::vector<Finding> findings_;       // told at the end, when the guards still stand
  std::vector<char> claimed_;           // by place: its files belong to a record
  std::vector<std::uint32_t> damaged_;  // ids whose damaged records are gone
  std::vector<std::uint32_t> unread_;   // ids of which a damaged record stands
  bool elsewhere_ = false;              // a record names a directory that is not open
};

}  // namespace cli::queue

#endif
