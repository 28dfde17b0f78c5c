// Files with access and share modes that hold between processes.
//
// A share mode is kept with open-file-description locks on two bytes far behind any data (A =
// 0x7FFFFFFFFFFFFF00, B = A+1):
//
//   opener                       A           B
//   read, shares read and write  read lock   -
//   read, shares read            read lock   read lock
//   write, shares read           read lock   write lock
//   any write, shares nothing    write lock  -
//
// so writers exclude each other, a reader that shares reading only excludes and is excluded by a
// writer, and an opener that shares nothing excludes everybody, also inside one process. A refused
// open fails with kSharingViolation and changes nothing on disk. No handle is ever 0, 1 or 2.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/os/result.h"

namespace qob::os {

using Handle = std::intptr_t;
inline constexpr Handle kNoHandle = -1;

enum class Access { kRead, kWrite, kReadWrite };
enum class Share { kReadWrite, kRead, kNone };
enum class Create { kOpenExisting, kAlways, kNew };

extern const int kSharingViolation;  // EBUSY on POSIX
extern const int kNotFound;          // ENOENT
extern const int kExists;            // EEXIST

inline constexpr int kWaitForever = -1;

struct OpenMode {
  Access access = Access::kRead;
  Share share = Share::kReadWrite;
  Create create = Create::kOpenExisting;
  bool sequential = false;
  int wait_ms = 0;  // how long a sharing refusal is waited for: 0 not at all, kWaitForever
  bool through_links = true;  // an existing file may be reached through a symbolic link
};

// path in library form. Directories are refused; special files get no share locks. New files have
// mode 0600 and are never made through a symbolic link. Combinations that the table above does not
// show fail with EINVAL.
Result<Handle> OpenFile(std::string_view path, const OpenMode& mode);
// 0 or the error.
int CloseFile(Handle file);
// Reads until `size` bytes or the end of the file: a short count means the end.
Result<std::size_t> ReadFile(Handle file, void* to, std::size_t size);
// Writes all; a short write is tried once more for the rest and is then reported by its count.
Result<std::size_t> WriteFile(Handle file, const void* from, std::size_t size);
// The same at an offset of the file; its position stays.
Result<std::size_t> ReadFileAt(Handle file, void* to, std::size_t size, std::int64_t offset);
Result<std::size_t> WriteFileAt(Handle file, const void* from, std::size_t size,
                                std::int64_t offset);
// True when all of `size` bytes were written.
bool WriteAll(Handle file, const void* from, std::size_t size);

enum class From { kStart, kCurrent, kEnd };
// The new absolute position.
Result<std::int64_t> SeekFile(Handle file, std::int64_t offset, From from);
Result<std::int64_t> FileSize(Handle file);
// 0 or the error. What lies behind that size is gone.
int CutFile(Handle file, std::int64_t size);
// 0 or the error. Data and size are on stable storage afterwards.
int FlushFile(Handle file);

// Closes what it holds.
class FileHandle {
 public:
  FileHandle() = default;
  explicit FileHandle(Handle file) : file_(file) {}
  FileHandle(FileHandle&& other) noexcept : file_(std::exchange(other.file_, kNoHandle)) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      file_ = std::exchange(other.file_, kNoHandle);
    }
    return *this;
  }
  ~FileHandle() { Reset(); }

  Handle get() const { return file_; }
  explicit operator bool() const { return file_ != kNoHandle; }
  Handle Release() { return std::exchange(file_, kNoHandle); }
  void Reset() {
    if (file_ != kNoHandle) CloseFile(std::exchange(file_, kNoHandle));
  }

 private:
  Handle file_ = kNoHandle;
};

}  // namespace qob::os
