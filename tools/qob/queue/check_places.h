// What is checked of a queue beside its messages: directories, databases, the counter, files that
// belong to no message.
#ifndef TOOLS_QOB_QUEUE_CHECK_PLACES_H
#define TOOLS_QOB_QUEUE_CHECK_PLACES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "check_census.h"
#include "check_message.h"
#include "check_report.h"
#include "open_queue.h"

namespace cli::queue {

class PlacesCheck {
 public:
  PlacesCheck(const OpenQueue& queue, const std::vector<qob::store::Status>& statuses,
              const CheckMode& mode, CheckReport* report)
      : queue_(queue), statuses_(statuses), mode_(mode), report_(*report) {}

  // File systems, locks, permissions of the directories.
  void JudgeDirectories();
  // True when every database is whole but for the damaged records of the census, so that messages
  // can be judged.
  bool JudgeDatabases(const Census& census);
  void JudgeStrangeRecords(const Census& census);
  // Locks of other names than ids, files never finished, permissions of files.
  void JudgeFiles(const Census& census);
  // numbers_known: the highest number is that of all messages.
  void JudgeCounter(bool numbers_known, std::uint32_t highest);

 private:
  std::string DatabaseAt(std::size_t place) const;
  bool JudgeDatabase(std::size_t place, const Census& census);
  void JudgeOtherLock(std::size_t place, const std::string& name);
  void JudgeLeftover(std::size_t place, const std::string& name);
  std::string Salvage(std::size_t place) const;
  Finding Made(Kind kind, std::size_t place, std::string path, std::string text) const;
  template <class Mend>
  void Settle(Finding finding, const std::string& plan, Mend&& mend);

  const OpenQueue& queue_;
  const std::vector<qob::store::Status>& statuses_;
  const CheckMode mode_;
  CheckReport& report_;
};

}  // namespace cli::queue

#endif
