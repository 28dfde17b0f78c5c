// What lies in a queue directory beside each id: read in one pass over its names, so that looking
// at many messages costs one look at each file and nothing for locks.
#pragma once
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/os/file_status.h"
#include "platform/os/result.h"

namespace qob::spool {

class MessageFiles {
 public:
  // 0 or the error.
  int Open(std::string_view directory);
  // The directory was opened and read.
  bool good() const { return good_; }
  // Sizes of all message files at once; those of later calls of Size come from here.
  void LookAtAll();

  bool IsLocked(std::uint32_t id) const { return Has(id, kLock); }
  // Bytes of the message's file; nothing when there is none or it cannot be looked at. A file that
  // came after Open is found too.
  std::optional<std::int64_t> Size(std::uint32_t id) const;

 private:
  static constexpr std::uint8_t kMessage = 1;
  static constexpr std::uint8_t kLock = 2;

  struct Entry {
    std::uint32_t id = 0;
    std::uint8_t kinds = 0;
    std::int64_t size = kNotLooked;
  };
  static constexpr std::int64_t kNotLooked = -1;

  void Add(const char* name);
  const Entry* Find(std::uint32_t id) const;
  bool Has(std::uint32_t id, std::uint8_t kind) const;
  std::optional<std::int64_t> LookAtSize(std::uint32_t id) const;

  bool good_ = false;
  os::DirectoryView view_;
  std::vector<Entry> entries_;  // by id, each once
};

}  // namespace qob::spool
