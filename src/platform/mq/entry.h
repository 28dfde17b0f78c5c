// An entry on its way into the queue: its number, its lock, and what shall be written for it.
//
//   made        .lck
//   file        .lck .msg       the caller's work
//   committed   .lck .msg and the records
//   ended       .msg and the records; or nothing at all
//
// Nothing is written into the database before the commit.
#pragma once
#include <cstdint>
#include <forward_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/mq/entry_records.h"
#include "platform/store/record_file.h"

namespace qob::mq {

class Entry {
 public:
  // A fresh number with its lock, in the queue directory the process is bound to; null when that
  // fails, with nothing left behind. Throws std::bad_alloc, likewise.
  static std::unique_ptr<Entry> Create();

  // False in a child of the process that made it. What others hold is theirs: nothing but memory
  // goes with an entry that is destroyed.
  bool IsOurs() const;

  // The entry's own text for that extension.
  const char* PathName(std::string_view extension);
  void AddChannel(std::string_view name);
  void SetEnvelope(std::string note) { note_ = std::move(note); }
  const std::string& note() const { return note_; }

  // True: it is in the queue. False: it is not, and file and lock are gone; or nobody can tell, and
  // they stay. Reports what an operator must know.
  bool Commit();
  // True when neither its file nor its lock is left.
  bool Discard();

 private:
  Entry() = default;
  bool TakeNumber();
  bool IsComplete() const;
  bool FlushFiles() const;
  bool Erase(const EntryRecords& records);
  void Unlock() const;

  std::uint32_t process_ = 0;
  std::uint32_t id_ = 0;
  std::string directory_;
  std::string base_;          // "<directory>\<number>"
  std::string message_file_;  // composed before the lock is taken: removing needs no memory
  std::string lock_file_;
  std::shared_ptr<store::RecordFile> file_;
  std::vector<std::string> channels_;
  std::string note_;
  std::forward_list<std::pair<std::string, std::string>> names_;  // extension, path
};

}  // namespace qob::mq
