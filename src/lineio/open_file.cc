// Opening, and the trace of opens and closes.
#include "lineio/open_file.h"

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/report.h"

namespace qob {
namespace {

bool TraceIsOn() { return ConfigIs("Debug", "LogFileIO", "FALSE", 10, "TRUE"); }

}  // namespace

os::OpenMode ReadMode(os::Share share) {
  return {.access = os::Access::kRead, .share = share, .sequential = true};
}

os::OpenMode WriteMode() {
  return {.access = os::Access::kWrite, .share = os::Share::kRead, .sequential = true};
}

os::OpenMode CreateMode() {
  return {.access = os::Access::kWrite, .share = os::Share::kRead, .create = os::Create::kAlways};
}

OpenedFile OpenObject(const char* path, const os::OpenMode& mode, std::int32_t buffered) noexcept {
  if (path == nullptr || *path == '\0') return {.failure = OpenFailure::kPath};
  return Guarded(OpenedFile{.failure = OpenFailure::kMemory}, [&]() -> OpenedFile {
    const os::Result<os::Handle> opened = os::OpenFile(path, mode);
    if (!opened) return {.failure = OpenFailure::kSystem, .error = opened.error};
    os::FileHandle file(opened.value);
    const std::uint32_t access = mode.access == os::Access::kRead ? kReadAccess : kWriteAccess;
    FileObject* object = NewFileObject(file.get(), access, buffered, path);
    if (object == nullptr) return {.failure = OpenFailure::kMemory};
    file.Release();
    return {.object = object};
  });
}

bool WantsWriting(std::uint32_t flags) { return (flags & (kWriteAccess | 1U)) != 0; }

void TraceOpen(const char* path, os::Handle file) {
  if (TraceIsOn()) Report(kFailure, "fileopen: %s, FileHandle #%d", path, static_cast<int>(file));
}

void TraceCreate(const char* path, os::Handle file) {
  if (TraceIsOn()) Report(kFailure, "filecreate: %s, FileHandle #%d", path, static_cast<int>(file));
}

void TraceClose(os::Handle file) {
  if (TraceIsOn()) Report(kFailure, "fileclose: FileHandle #%d", static_cast<int>(file));
}

}  // namespace qob
