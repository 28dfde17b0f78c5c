// Who a file belongs to and by which numbers it is known.
#pragma once
#include <cstdint>
#include <string_view>

namespace qob::os {

// `path` gets the group and permissions of the file `like`; both by name, nothing is opened, no
// link followed. 0 or the error.
int MatchOwnership(std::string_view path, std::string_view like);

// While it lives, what ShiftedFileStatus() tells this thread about a file's device is moved by
// `shift`. For a library that keeps what it knows of open files under device and inode: a child of
// a fork makes it forget what its parent knew.
class DeviceShift {
 public:
  explicit DeviceShift(std::uint64_t shift);
  ~DeviceShift();
  DeviceShift(const DeviceShift&) = delete;
  DeviceShift& operator=(const DeviceShift&) = delete;
};

using AnyFunction = void (*)();
// Stands in for the system's own "fstat", of the same type.
AnyFunction ShiftedFileStatus();

}  // namespace qob::os
