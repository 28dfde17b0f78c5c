// offset  size  meaning
//      0     4  the last number handed out, little-endian
//
// The file is opened sharing nothing for each number. A missing one is put in place with its four
// bytes already in it, so that nobody ever reads it empty, and the loser of that race just goes on
// with the winner's file.
#include "platform/spool/counter.h"

#include <array>
#include <cstdio>

#include "platform/os/directory.h"
#include "platform/os/file.h"

namespace qob::spool {
namespace {

constexpr std::size_t kBytes = 4;
constexpr std::uint32_t kUniqueEnd = 0x7FFFFFFF;
constexpr std::uint32_t kTemporaryEnd = 99999999;
constexpr int kTemporaryWaitMs = 1000;
// A file that others keep removing is given up some day.
constexpr int kRounds = 1000;

constexpr char kUniqueName[] = "unique.$$$";
constexpr char kTemporaryName[] = "tmpcnt.$$$";

using Bytes = std::array<unsigned char, kBytes>;

std::uint32_t Decode(const Bytes& b) {
  return static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
         static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
}

Bytes Encode(std::uint32_t value) {
  return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}

// directory + '\' + name; empty when that is no path a directory setting can give.
class CounterPath {
 public:
  CounterPath(std::string_view directory, const char* name) {
    const int length = std::snprintf(text_, sizeof text_, "%.*s\\%s",
                                     static_cast<int>(directory.size()), directory.data(), name);
    if (directory.empty() || length >= static_cast<int>(sizeof text_)) text_[0] = '\0';
  }
  std::string_view view() const { return text_; }
  bool empty() const { return text_[0] == '\0'; }

 private:
  char text_[4096];
};

os::Result<os::Handle> OpenCounter(const CounterPath& path, int wait_ms) {
  os::OpenMode mode;
  mode.access = os::Access::kReadWrite;
  mode.share = os::Share::kNone;
  mode.wait_ms = wait_ms;
  mode.through_links = false;  // others may make files in this directory too
  return os::OpenFile(path.view(), mode);
}

int MakeCounter(const CounterPath& path) {
  return os::MakeFileWith(path.view(), std::string_view("\0\0\0\0", kBytes));
}

bool ReadCounter(os::Handle file, std::uint32_t* value) {
  Bytes bytes{};
  const os::Result<std::size_t> got = os::ReadFileAt(file, bytes.data(), kBytes, 0);
  if (!got || got.value != kBytes) return false;
  *value = Decode(bytes);
  return true;
}

bool WriteCounter(os::Handle file, std::uint32_t value) {
  const Bytes bytes = Encode(value);
  const os::Result<std::size_t> put = os::WriteFileAt(file, bytes.data(), kBytes, 0);
  return put && put.value == kBytes;
}

std::uint32_t Successor(std::uint32_t value, std::uint32_t end) {
  const std::uint32_t next = value + 1;
  return next >= end ? 0 : next;
}

}  // namespace

std::int32_t NextUnique(std::string_view directory) {
  const CounterPath path(directory, kUniqueName);
  if (path.empty()) return -1;
  for (int round = 0; round < kRounds; ++round) {
    const os::Result<os::Handle> opened = OpenCounter(path, os::kWaitForever);
    if (opened) {
      const os::FileHandle file(opened.value);
      std::uint32_t value = 0;
      if (!ReadCounter(file.get(), &value)) return -1;
      value = Successor(value, kUniqueEnd);
      return WriteCounter(file.get(), value) ? static_cast<std::int32_t>(value) : -1;
    }
    if (opened.error != os::kNotFound) return -1;
    const int made = MakeCounter(path);
    if (made == 0) return 0;
    if (made != os::kExists) return -1;
  }
  return -1;
}

std::int64_t NextTemporary(std::string_view directory) {
  const CounterPath path(directory, kTemporaryName);
  if (path.empty()) return -1;
  for (int round = 0; round < kRounds; ++round) {
    const os::Result<os::Handle> opened = OpenCounter(path, kTemporaryWaitMs);
    if (opened) {
      const os::FileHandle file(opened.value);
      std::uint32_t value = 0;
      if (!ReadCounter(file.get(), &value)) {
        os::RemoveFile(path.view());  // the next call starts a new one
        return -1;
      }
      value = Successor(value, kTemporaryEnd);
      return WriteCounter(file.get(), value) ? static_cast<std::int64_t>(value) : -1;
    }
    if (opened.error != os::kNotFound) return -1;
    if (const int made = MakeCounter(path); made != 0 && made != os::kExists) return -1;
  }
  return -1;
}

}  // namespace qob::spool
