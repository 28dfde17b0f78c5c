// What a profile needs of the system: where the file is, whether it changed, its bytes, and
// replacing it as a whole.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/posix/native_name.h"
#include "platform/os/result.h"

namespace qob::os {

// The place that a profile file's name leads to.
class ProfileName : public NativeName {
 public:
  explicit ProfileName(std::string_view file) : ProfileName(Directory(file), file) {}

 private:
  ProfileName(std::string_view directory, std::string_view file) : NativeName(directory, file) {}
  static std::string_view Directory(std::string_view file);
};

// Which file it is and in which state; all equal = not written in between, as far as the clock
// ticks.
struct FileState {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modified_ns = 0;
  std::int64_t changed_ns = 0;
  bool operator==(const FileState&) const = default;
};

// One system call.
Result<FileState> StateOf(const NativeName& name);

struct LoadedFile {
  std::string bytes;
  FileState state;     // as it was before the first byte was read
  bool still = false;  // unchanged for so long that a later write must show in the state
};
// Regular files up to `limit` bytes; another kind or size is EFBIG. Throws std::bad_alloc.
Result<LoadedFile> LoadFile(const NativeName& name, std::size_t limit);

// Holds the lock file beside a profile while its text is changed; links are resolved first.
class ProfileUpdate {
 public:
  ProfileUpdate() = default;
  ~ProfileUpdate();
  ProfileUpdate(const ProfileUpdate&) = delete;
  ProfileUpdate& operator=(const ProfileUpdate&) = delete;

  // 0 or the error. Waits for other writers.
  int Begin(const NativeName& name);
  // The present bytes; none when there is no file yet.
  Result<LoadedFile> Load(std::size_t limit) const;
  // 0 or the error: the new bytes are on stable storage under the name, with mode and owner of the
  // old file.
  int Replace(std::string_view bytes);

 private:
  int Resolve(const NativeName& name);

  char place_[PATH_MAX] = "";
  char lock_[PATH_MAX] = "";
  std::intptr_t locked_ = -1;
};

}  // namespace qob::os
