// The handle face: files named by number, found in the process's pool.
#include <qob3xapi/lineio.h>

#include "frame/report.h"
#include "lineio/file_object.h"
#include "lineio/handle_pool.h"
#include "lineio/open_file.h"

namespace {

using qob::FileObject;
using qob::FindInPool;
using qob::kFailure;
using qob::OpenedFile;
using qob::OpenFailure;
using qob::Report;

// Registers what was opened; -1 and everything released when that fails.
int32_t Register(FileObject* object) {
  const int32_t handle = object->face.handle;
  if (qob::AddToPool(object)) return handle;
  qob::DiscardFileObject(object);
  return -1;
}

}  // namespace

extern "C" {

QOBAPI int32_t InitLineIO(void) { return qob::StartHandlePool() ? 0 : -1; }
QOBAPI void TerminateLineIO(void) { qob::EndHandlePool(); }

QOBAPI int32_t fileopen(const char* path, uint32_t flags, int32_t buffered) {
  const OpenedFile opened = qob::OpenObject(
      path, qob::WantsWriting(flags) ? qob::WriteMode() : qob::ReadMode(qob::os::Share::kReadWrite),
      buffered);
  if (opened.failure == OpenFailure::kSystem) {
    Report(kFailure, "CreateFile failed: %s, error %d", path, opened.error);
  }
  if (opened.object == nullptr) return -1;
  const int32_t handle = Register(opened.object);
  if (handle != -1) qob::TraceOpen(path, handle);
  return handle;
}

QOBAPI int32_t filecreate(const char* path, uint32_t, int32_t buffered) {
  const OpenedFile opened = qob::OpenObject(path, qob::CreateMode(), buffered);
  if (opened.failure == OpenFailure::kSystem) Report(kFailure, "open failed");
  if (opened.failure == OpenFailure::kMemory) {
    Report(kFailure, "Unable to allocate QOB_FILE object");
  }
  if (opened.object == nullptr) return -1;
  const int32_t handle = Register(opened.object);
  if (handle == -1) {
    Report(kFailure, "Unable to insert QOB_FILE object to memory pool");
  } else {
    qob::TraceCreate(path, handle);
  }
  return handle;
}

QOBAPI int32_t fileclose(int32_t handle) {
  FileObject* object = nullptr;
  switch (qob::TakeFromPool(handle, &object)) {
    case qob::PoolAnswer::kNoPool:
      return -1;
    case qob::PoolAnswer::kNoSlots:
      return 1;
    case qob::PoolAnswer::kUnknown:
      return 0;
    case qob::PoolAnswer::kTaken:
      break;
  }
  qob::CloseFileObject(object);
  return 1;
}

QOBAPI int32_t QOB_getline(int32_t handle, char** linePointer) {
  FileObject* object = FindInPool(handle);
  if (object == nullptr || linePointer == nullptr) return -1;
  return qob::ReadLine(*object, linePointer);
}

QOBAPI int32_t putline(int32_t handle, const char* text) {
  FileObject* object = FindInPool(handle);
  if (object == nullptr || text == nullptr) return -1;
  return qob::WriteText(*object, text);
}

QOBAPI int32_t inch(int32_t handle) {
  FileObject* object = FindInPool(handle);
  return object == nullptr ? -1 : qob::ReadByte(*object);
}

QOBAPI void uninch(int32_t, int32_t handle) {
  FileObject* object = FindInPool(handle);
  if (object != nullptr) qob::StepBack(*object);
}

QOBAPI int32_t outch(int32_t character, int32_t handle) {
  FileObject* object = FindInPool(handle);
  return object == nullptr ? -1 : qob::WriteByte(*object, character);
}

QOBAPI int32_t setfpos(int32_t handle, int32_t position) {
  FileObject* object = FindInPool(handle);
  return object == nullptr ? -1 : qob::SeekTo(*object, position);
}

QOBAPI int32_t getfpos(int32_t handle) {
  const FileObject* object = FindInPool(handle);
  return object == nullptr ? -1 : qob::PositionOf(*object);
}

}  // extern "C"
