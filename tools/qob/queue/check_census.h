// Everything that stands in the directories and databases of a queue, by id: enough to tell which
// messages are whole beyond doubt and which must be looked at under their lock.
#ifndef TOOLS_QOB_QUEUE_CHECK_CENSUS_H
#define TOOLS_QOB_QUEUE_CHECK_CENSUS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "open_queue.h"
#include "platform/spool/queue_files.h"

namespace cli::queue {

class Census {
 public:
  struct StrangeRecord {
    std::size_t place = 0;
    std::int64_t number = 0;
    std::string key;
  };
  struct DamagedRecord {
    std::size_t place = 0;
    std::int64_t number = 0;
    std::int64_t version = 0;
    std::optional<std::uint32_t> id;  // by its key, which stands in an index
    std::string stored;               // its bytes on disk
  };
  // Files of one directory that others than the owner may read or write.
  struct LooseFiles {
    std::size_t count = 0;
    std::string first;
  };
  struct OtherFile {
    std::string name;
    qob::os::FileStatus status;
  };

  // group_reads: members of a group may read what lies in the queue.
  Census(const OpenQueue& queue, bool group_reads) : queue_(queue), group_reads_(group_reads) {}

  // Throws Failure when a directory cannot be listed.
  void ListFiles();
  // Throws Failure when a database that is open cannot be read; kNotOurFile is given back.
  qob::store::Status ReadRecords(std::size_t place);

  // Ids that are not whole for certain, ascending; those of damaged records are not among them.
  std::vector<std::uint32_t> Doubtful() const;
  std::size_t message_count() const;
  // Of all ids met; 0 when there was none.
  std::uint32_t highest() const { return highest_; }
  bool has_message_files() const { return has_message_files_; }

  const std::vector<StrangeRecord>& strange() const { return strange_; }
  const std::vector<DamagedRecord>& damaged() const { return damaged_; }
  // By place: locks of other names than ids, and unfinished files.
  const std::vector<OtherFile>& locks(std::size_t place) const { return locks_[place]; }
  const std::vector<OtherFile>& leftovers(std::size_t place) const { return leftovers_[place]; }
  const LooseFiles& loose(std::size_t place) const { return loose_[place]; }

 private:
  static constexpr std::int32_t kNowhere = -1;

  struct Trace {
    std::int32_t file = kNowhere;     // the place that has its message file
    std::int32_t reasons = kNowhere;  // likewise
    std::int32_t holder = kNowhere;   // the place that its record names
    bool has_record = false;
    bool has_recipients = false;
    bool doubtful = false;  // a lock, two of anything, a name that leads nowhere
  };

  void TakeFile(std::size_t place, const qob::spool::QueueFile& file,
                const qob::os::FileStatus& status);
  void TakeRecord(std::size_t place, std::int64_t number, const void* record);
  Trace& Of(std::uint32_t id);
  static void Put(std::int32_t* where, std::size_t place, bool* doubtful);

  const OpenQueue& queue_;
  bool group_reads_;
  std::unordered_map<std::uint32_t, Trace> traces_;
  std::vector<StrangeRecord> strange_;
  std::vector<DamagedRecord> damaged_;
  std::vector<std::vector<OtherFile>> locks_;
  std::vector<std::vector<OtherFile>> leftovers_;
  std::vector<LooseFiles> loose_;
  std::uint32_t highest_ = 0;
  bool has_message_files_ = false;
};

}  // namespace cli::queue

#endif
