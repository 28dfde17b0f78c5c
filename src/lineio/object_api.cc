// The object face: the caller holds the object, nothing is registered, no lock is taken.
#include <qob3xapi/lineio.h>

#include "frame/report.h"
#include "lineio/file_object.h"
#include "lineio/open_file.h"

using qob::kFailure;
using qob::ObjectOf;
using qob::OpenedFile;
using qob::OpenFailure;
using qob::Report;

extern "C" {

QOBAPI QOB_FILE* FileOpen(const char* path, uint32_t flags, int32_t buffered) {
  const OpenedFile opened = qob::OpenObject(
      path, qob::WantsWriting(flags) ? qob::WriteMode() : qob::ReadMode(qob::os::Share::kRead),
      buffered);
  if (opened.failure == OpenFailure::kSystem) Report(kFailure, "CreateFile failed.");
  if (opened.failure == OpenFailure::kMemory) {
    Report(kFailure, "Unable to allocate new file objcet.");
  }
  if (opened.object == nullptr) return nullptr;
  qob::TraceOpen(path, opened.object->face.handle);
  return &opened.object->face;
}

QOBAPI QOB_FILE* FileCreate(const char* path, uint32_t, int32_t buffered) {
  const OpenedFile opened = qob::OpenObject(path, qob::CreateMode(), buffered);
  if (opened.object == nullptr) return nullptr;
  qob::TraceCreate(path, opened.object->face.handle);
  return &opened.object->face;
}

QOBAPI int32_t FileClose(QOB_FILE* file) {
  if (file != nullptr) qob::CloseFileObject(ObjectOf(file));
  return 1;
}

QOBAPI int32_t GetLine(QOB_FILE* file, char** linePointer) {
  if (file == nullptr || linePointer == nullptr) return -1;
  return qob::ReadLine(*ObjectOf(file), linePointer);
}

QOBAPI int32_t PutLine(QOB_FILE* file, const char* text) {
  if (file == nullptr || text == nullptr) return -1;
  return qob::WriteText(*ObjectOf(file), text);
}

QOBAPI int32_t InCh(QOB_FILE* file) {
  return file == nullptr ? -1 : qob::ReadByte(*ObjectOf(file));
}

QOBAPI void UninCh(QOB_FILE* file) {
  if (file != nullptr) qob::StepBack(*ObjectOf(file));
}

QOBAPI int32_t OutCh(QOB_FILE* file, int32_t character) {
  return file == nullptr ? -1 : qob::WriteByte(*ObjectOf(file), character);
}

QOBAPI int32_t GetFilePos(QOB_FILE* file) {
  return file == nullptr ? -1 : qob::PositionOf(*ObjectOf(file));
}

QOBAPI int32_t SetFilePos(QOB_FILE* file, int32_t position) {
  return file == nullptr ? -1 : qob::SeekTo(*ObjectOf(file), position);
}

}  // extern "C"
