// A relation's files, as this process has them open. They stay open for a while after the last of
// its objects has ended, for a look-up commonly makes an object of its own: then opening is a look
// at the two names. Of a file that was touched, replaced or removed since it was opened nothing is
// used again.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/os/file_status.h"
#include "platform/store/record_file.h"
#include "platform/tessera/index_file.h"
#include "platform/tessera/relation_lock.h"

namespace qob::tessera {

// As many relations are kept open at most.
inline constexpr std::size_t kMostKept = 8;

class OpenRelation {
 public:
  // kNotOpen when there is no record file, kBufferTooShort when it has length zero: only those may
  // a seed take the place of. Throws std::bad_alloc.
  static store::Status Open(std::string_view directory, std::string_view name,
                            std::shared_ptr<OpenRelation>* relation);
  // kFileExists when either file stands. Throws std::bad_alloc.
  static store::Status Create(std::string_view directory, std::string_view name,
                              const store::FileDescription& description);
  // Nothing stays open but what objects use at this moment.
  static void CloseKept();

  store::RecordFile& file() { return *file_; }
  RelationLock& lock() { return *lock_; }
  // The index file is still the one under its name: the lock that all others take, too.
  bool HasCurrentLock() const;
  // The same files opened anew, the index file made again; null when the record file is no longer
  // the one under its name. Throws std::bad_alloc.
  store::Status Again(std::shared_ptr<OpenRelation>* again) const;

 private:
  class Kept;
  // A file as it was when it was looked at.
  struct Seen {
    os::FileStatus status;
    bool shows_changes = false;  // any that comes later
  };

  OpenRelation(std::string_view directory, std::string_view name);
  static store::Status Look(const std::string& path, Seen* seen);
  static bool IsUntouched(const Seen& before, const Seen& now);
  // Kept and all as it was.
  bool IsGood(const Seen& data) const;
  store::Status LookAtRecords(Seen* seen) const;
  store::Status OpenFiles();
  store::Status OpenRecords();
  store::Status OpenIndex();
  store::Status TakeIndex(const IndexBytes& expected);

  const std::string directory_;
  const std::string name_;
  const std::string data_path_;
  const std::string index_path_;
  Seen data_;
  Seen index_;
  std::shared_ptr<store::RecordFile> file_;
  std::shared_ptr<RelationLock> lock_;
};

}  // namespace qob::tessera
