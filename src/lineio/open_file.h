// How both exported faces and the library's own reader and writer open files, and the trace that
// [Debug] LogFileIO turns on.
#pragma once
#include <cstdint>
#include <string>

#include "lineio/file_object.h"
#include "platform/os/file.h"

namespace qob {

enum class OpenFailure { kNone, kPath, kSystem, kMemory };

struct OpenedFile {
  FileObject* object = nullptr;
  OpenFailure failure = OpenFailure::kNone;
  int error = 0;  // the system's number with kSystem
};

os::OpenMode ReadMode(os::Share share);
os::OpenMode WriteMode();
os::OpenMode CreateMode();

// An object of the file, or why there is none. kPath: the path is null or empty. Does not throw,
// does not log.
OpenedFile OpenObject(const char* path, const os::OpenMode& mode, std::int32_t buffered) noexcept;

// flags of fileopen and FileOpen: bit 30 or bit 0 select writing.
bool WantsWriting(std::uint32_t flags);

// One line at level 1 each when [Debug] LogFileIO is TRUE.
void TraceOpen(const char* path, os::Handle file);
void TraceCreate(const char* path, os::Handle file);
void TraceClose(os::Handle file);

}  // namespace qob
