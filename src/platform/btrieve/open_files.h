// The files that position blocks of this process stand for. A block names a slot and the slot's
// generation; closing ends the generation, so that every copy of the block finds nothing. A child
// process begins with an empty table: what it inherited is neither used nor closed there.
#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/store/record_file.h"

namespace qob::btrieve {

inline constexpr std::size_t kMaxOpen = 1024;

class OpenFiles {
 public:
  struct Key {
    std::uint32_t slot = 0;
    std::uint64_t generation = 0;
  };

  // The table of this process; made at the first call. Throws std::bad_alloc.
  static OpenFiles& Of(std::uint32_t process);
  // Null when this process has none yet.
  static OpenFiles* Existing(std::uint32_t process);

  // kTooManyOpen; throws std::bad_alloc. The table is then as it was.
  store::Status Add(std::shared_ptr<store::RecordFile> file, Key* key);
  // Null when that generation of the slot has ended.
  std::shared_ptr<store::RecordFile> Get(const Key& key);
  // The same and ends the generation; the file is closed when the last of its users lets it go.
  std::shared_ptr<store::RecordFile> Remove(const Key& key);

  OpenFiles(const OpenFiles&) = delete;
  OpenFiles& operator=(const OpenFiles&) = delete;

 private:
  struct Slot {
    std::uint64_t generation = 0;
    std::shared_ptr<store::RecordFile> file;
  };

  OpenFiles(std::uint32_t process, OpenFiles* inherited)
      : process_(process), inherited_(inherited) {}
  Slot* Find(const Key& key);

  const std::uint32_t process_;
  [[maybe_unused]] OpenFiles* const inherited_;  // the parent's, kept for ever
  std::mutex mutex_;
  std::vector<Slot> slots_;
};

}  // namespace qob::btrieve
