// The algorithms of the file objects.
#include "lineio/file_object.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "frame/config.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "lineio/open_file.h"

namespace qob {
namespace {

constexpr std::size_t kLineBuffer = kLineLimit + 1;
static_assert(LineIndex::kStretch <= kLineLimit && LineIndex::kStretch % kCopyStep == 0);

// Nothing stands behind the cursor, and the block was the file's last.
bool AtEndOfFile(const QOB_FILE& file) {
  return file.count == 0 || (file.count < kIoBlock && file.cursor == BlockEnd(file));
}

// Reads the next block. On an error nothing is primed, so that a later call asks the system again.
bool NextBlock(FileObject& object, const char* failure_text) {
  QOB_FILE& file = object.face;
  object.lines.Forget();
  const os::Result<std::size_t> got = os::ReadFile(file.handle, file.ioBuffer, kIoBlock);
  if (!got) {
    file.cursor = nullptr;
    file.count = 0;
    Report(kFailure, "%s", failure_text);
    return false;
  }
  file.cursor = file.ioBuffer;
  file.count = static_cast<std::int32_t>(got.value);
  return true;
}

// Bytes of the block that belong to a piece which may still grow by `room` bytes; *line_feed tells
// whether they end it.
std::size_t PieceInBlock(const QOB_FILE& file, std::size_t room, bool* line_feed) {
  const std::size_t span = std::min(BytesLeft(file), room);
  const void* found = std::memchr(file.cursor, '\n', span);
  *line_feed = found != nullptr;
  return found == nullptr
             ? span
             : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - file.cursor) + 1;
}

enum class Piece { kWhole, kEndOfFile, kError };

// Assembles a piece in the line buffer from where the cursor stands, over as many blocks as it
// spans. A file that ends with a full block gives kEndOfFile with the bytes of its unfinished last
// piece counted in *length.
Piece AssemblePiece(FileObject& object, std::size_t* length) {
  QOB_FILE& file = object.face;
  *length = 0;
  for (;;) {
    if (BytesLeft(file) > 0) {
      bool line_feed = false;
      const std::size_t count = PieceInBlock(file, kLineLimit - *length, &line_feed);
      std::memcpy(file.lineBuffer + *length, file.cursor, count);
      Take(object, count);
      *length += count;
      if (line_feed) return Piece::kWhole;
    }
    // The block is refilled before the limit is looked at: a piece of 1024 bytes that ends both its
    // block and the file counts as unfinished.
    if (BytesLeft(file) == 0) {
      if (file.count < kIoBlock) return Piece::kWhole;
      if (!NextBlock(object, "getline: ReadFile failed.")) return Piece::kError;
      if (file.count == 0) return Piece::kEndOfFile;
    }
    if (*length == kLineLimit) return Piece::kWhole;
  }
}

// True when the object reads and has a block to read from; otherwise *result is what the call
// gives.
bool ReadyToRead(FileObject& object, const char* failure_text, std::int32_t end_result,
                 std::int32_t* result) {
  *result = -1;
  if (!IsReader(object)) {
    Report(kFailure, "%s", failure_text);
    return false;
  }
  if (object.face.cursor == nullptr && !NextBlock(object, failure_text)) return false;
  *result = end_result;
  return !AtEndOfFile(object.face);
}

void PrimeOutput(QOB_FILE& file) {
  if (file.cursor != nullptr) return;
  file.cursor = file.ioBuffer;
  file.count = kIoBlock;
}

// Stores text that is shorter than the free space.
void Collect(FileObject& object, std::string_view text) {
  QOB_FILE& file = object.face;
  if (!text.empty()) std::memcpy(file.cursor, text.data(), text.size());
  file.count -= static_cast<std::int32_t>(text.size());
  Take(object, text.size());
}

bool WriteBlock(FileObject& object) {
  return os::WriteAll(object.face.handle, object.face.ioBuffer, kIoBlock);
}

// Whole blocks of text in one call; the position counts those that arrived.
bool WriteBlocks(FileObject& object, std::string_view blocks) {
  const os::Result<std::size_t> written =
      os::WriteFile(object.face.handle, blocks.data(), blocks.size());
  const std::size_t arrived = written.value - written.value % kIoBlock;
  SetPosition(object, object.position + static_cast<std::int64_t>(arrived));
  return written && written.value == blocks.size();
}

// The full block is out: the logical position becomes the system's, which mends what WriteByte has
// counted twice. A file without positions (a pipe) goes on counting.
void AfterFlush(FileObject& object, std::size_t added) {
  QOB_FILE& file = object.face;
  file.cursor = file.ioBuffer;
  file.count = kIoBlock;
  const os::Result<std::int64_t> at = os::SeekFile(file.handle, 0, os::From::kCurrent);
  SetPosition(object, at ? at.value : object.position + static_cast<std::int64_t>(added));
  file.flushedPosition = object.face.position;
}

std::int32_t WriteFailed() {
  Report(kFailure, "putline: WriteFile failed.");
  return -1;
}

// Text that does not fit below the free space: fill the block, write it, write whole blocks
// directly, keep the rest.
std::int32_t WriteThrough(FileObject& object, std::string_view text) {
  QOB_FILE& file = object.face;
  const std::size_t head = static_cast<std::size_t>(file.count);
  std::memcpy(file.cursor, text.data(), head);
  if (!WriteBlock(object)) return WriteFailed();
  AfterFlush(object, head);
  text.remove_prefix(head);
  const std::size_t whole = text.size() - text.size() % kIoBlock;
  if (whole > 0 && !WriteBlocks(object, text.substr(0, whole))) return WriteFailed();
  Collect(object, text.substr(whole));
  return 1;
}

void FlushForClose(FileObject& object) {
  const QOB_FILE& file = object.face;
  if (file.buffered != 1 || IsReader(object)) return;
  if (file.cursor == nullptr || file.cursor == file.ioBuffer) return;
  const std::size_t pending = static_cast<std::size_t>(kIoBlock - file.count);
  if (!os::WriteAll(file.handle, file.ioBuffer, pending)) {
    Report(kFailure, "fileclose: WriteFile failed.");
  }
}

void FreeBuffers(QOB_FILE& file) {
  std::free(file.name);
  std::free(file.lineBuffer);
  std::free(file.ioBuffer);
}

}  // namespace

FileObject* NewFileObject(os::Handle file, std::uint32_t access, std::int32_t buffered,
                          const char* path) {
  FileObject* object = HeapRecord<FileObject>();
  if (object == nullptr) return nullptr;
  QOB_FILE& face = object->face;
  face.name = HeapCopy(path);
  face.lineBuffer = static_cast<char*>(std::calloc(1, kLineBuffer));
  face.ioBuffer = static_cast<std::uint8_t*>(std::calloc(1, kIoBlock + kCopyStep));
  if (face.name == nullptr || face.lineBuffer == nullptr || face.ioBuffer == nullptr) {
    FreeBuffers(face);
    std::free(object);
    return nullptr;
  }
  face.handle = static_cast<std::int32_t>(file);
  face.access = access;
  face.buffered = buffered;
  return object;
}

void DiscardFileObject(FileObject* object) {
  const os::Handle file = object->face.handle;
  FreeBuffers(object->face);
  object->face.handle = -1;
  std::free(object);
  os::CloseFile(file);
}

void CloseFileObject(FileObject* object) {
  FlushForClose(*object);
  TraceClose(object->face.handle);
  DiscardFileObject(object);
}

std::int32_t ReadLineSlowly(FileObject& object, char** line) {
  QOB_FILE& file = object.face;
  std::int32_t result = 0;
  if (!ReadyToRead(object, "ReadFile failed.", 0, &result)) return result;
  object.lines.MoveTo(file.cursor, BytesLeft(file));
  std::size_t length = object.lines.Take(file.cursor);
  if (length > 0) return GiveLine(object, length, line);
  const Piece piece = AssemblePiece(object, &length);
  if (piece != Piece::kWhole) return piece == Piece::kError ? -1 : 0;
  file.lineBuffer[length] = '\0';
  *line = file.lineBuffer;
  return 1;
}

std::int32_t ReadPiece(FileObject& object, std::string_view* text) {
  QOB_FILE& file = object.face;
  std::int32_t result = 0;
  if (!ReadyToRead(object, "ReadFile failed.", 0, &result)) return result;
  bool line_feed = false;
  std::size_t length = PieceInBlock(file, kLineLimit, &line_feed);
  if (line_feed) {
    *text = {reinterpret_cast<const char*>(file.cursor), length};
    Take(object, length);
    return 1;
  }
  const Piece piece = AssemblePiece(object, &length);
  if (piece == Piece::kError) return -1;
  *text = {file.lineBuffer, length};
  return length > 0 ? 1 : 0;
}

std::int32_t ReadByte(FileObject& object) {
  constexpr const char* kFailureText = "inch: ReadFile failed.";
  QOB_FILE& file = object.face;
  std::int32_t result = 0;
  if (!ReadyToRead(object, kFailureText, -1, &result)) return result;
  if (BytesLeft(file) == 0) {
    if (!NextBlock(object, kFailureText) || file.count == 0) return -1;
  }
  const std::int32_t byte = *file.cursor;
  Take(object, 1);
  return byte;
}

void StepBack(FileObject& object) {
  QOB_FILE& file = object.face;
  if (!IsReader(object) || object.position == 0) return;
  SetPosition(object, object.position - 1);
  if (file.cursor != nullptr && file.cursor > file.ioBuffer) {
    --file.cursor;
    return;
  }
  // Without a block `count` is 0: the byte before the system's position is the one wanted.
  os::SeekFile(file.handle, -(std::int64_t{file.count} + 1), os::From::kCurrent);
  file.cursor = nullptr;
  file.count = 0;
}

std::int32_t WriteText(FileObject& object, std::string_view text) {
  if (IsReader(object)) return -1;
  QOB_FILE& file = object.face;
  if (file.buffered == 0) {
    if (!os::WriteAll(file.handle, text.data(), text.size())) return -1;
    SetPosition(object, object.position + static_cast<std::int64_t>(text.size()));
    return 1;
  }
  PrimeOutput(file);
  if (text.size() >= static_cast<std::size_t>(file.count)) return WriteThrough(object, text);
  Collect(object, text);
  return 1;
}

std::int32_t WriteByte(FileObject& object, std::int32_t character) {
  const char byte = static_cast<char>(static_cast<unsigned char>(character & 0xFF));
  if (IsReader(object)) return -1;
  QOB_FILE& file = object.face;
  if (file.buffered == 0) return WriteText(object, {&byte, 1});
  PrimeOutput(file);
  if (file.count <= 0) {
    if (!WriteBlock(object)) {
      Report(kFailure, "outch: WriteFile failed.");
      return -1;
    }
    file.cursor = file.ioBuffer;
    file.count = kIoBlock;
    // The block's bytes were counted when they were stored and are counted again here. Callers have
    // always been shown this value; WriteText's next flush corrects it.
    SetPosition(object, object.position + kIoBlock);
  }
  Collect(object, {&byte, 1});
  return 1;
}

std::int32_t SeekTo(FileObject& object, std::int32_t position) {
  os::Result<std::int64_t> at;
  if (position >= 0) at = os::SeekFile(object.face.handle, position, os::From::kStart);
  if (position < 0 || !at) {
    Report(kFailure, "setfpos: Internal file I/O error");
    return -1;
  }
  object.face.cursor = nullptr;
  if (IsReader(object)) object.face.count = 0;
  SetPosition(object, at.value);
  return static_cast<std::int32_t>(at.value);
}

std::int32_t PositionOf(const FileObject& object) {
  if (object.position > std::numeric_limits<std::int32_t>::max()) return -1;
  return static_cast<std::int32_t>(object.position);
}

}  // namespace qob
