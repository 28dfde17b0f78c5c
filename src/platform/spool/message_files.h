// What lies in a queue directory beside each id: read in one pass over its names, so that looking
// at many messages costs one look at each file and nothing for those that have none.
#pragma once
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "platform/os/file_status.h"
#include "platform/os/result.h"

namespace qob::spool {

class MessageFiles {
 public:
  // 0 or the error.
  int Open(std::string_view directory);
  // The directory was opened and read.
  bool good() const { return good_; }

  bool HasMessage(std::uint32_t id) const { return Has(id, kMessage); }
  bool IsLocked(std::uint32_t id) const { return Has(id, kLock); }
  bool HasReasons(std::uint32_t id) const { return Has(id, kReasons); }

  // Bytes of the message's file; nothing when there is none or it cannot be looked at.
  std::optional<std::int64_t> Size(std::uint32_t id) const;
  // Its lock, likewise.
  std::optional<os::FileStatus> Lock(std::uint32_t id) const;

 private:
  static constexpr std::uint8_t kMessage = 1;
  static constexpr std::uint8_t kLock = 2;
  static constexpr std::uint8_t kReasons = 4;

  bool Has(std::uint32_t id, std::uint8_t kind) const;
  std::optional<os::FileStatus> Look(std::uint32_t id, const char* extension) const;

  bool good_ = false;
  os::DirectoryView view_;
  std::unordered_map<std::uint32_t, std::uint8_t> seen_;
};

}  // namespace qob::spool
